#include "processors/Ip2to1Base.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "processors/ProcessorSupport.h"

namespace TwoToOne {

namespace {

int32_t ClampTo32Bit(int64_t nValue)
{
    return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(nValue, std::numeric_limits<int32_t>::min()),
                                                  std::numeric_limits<int32_t>::max()));
}

// Copies source into target at (nX, nY), converting every sample. Equal plane
// counts copy sample by sample; a 1-plane source goes into all three planes
// of a 3-plane target; other combinations copy nothing. Parts outside the
// target are left out.
template <typename TSource, typename TTarget>
void CopyConverted(const ClImage& source, ClImage& target, int64_t nX, int64_t nY)
{
    const int32_t nSourcePlanes = source.Planes();
    const int32_t nTargetPlanes = target.Planes();
    const bool bEqualPlanes = nSourcePlanes == nTargetPlanes;
    if (!(bEqualPlanes || (nSourcePlanes == 1 && nTargetPlanes == 3)) || source.Data() == nullptr ||
        target.Data() == nullptr)
        return;
    const int64_t nWidth = std::min<int64_t>(source.Width(), target.Width() - nX);
    const int64_t nHeight = std::min<int64_t>(source.Height(), target.Height() - nY);
    const TSource* pSource = SamplesOf<TSource>(source);
    TTarget* pTarget = SamplesOf<TTarget>(target);
    for (int64_t y = 0; y < nHeight; ++y) {
        const TSource* pIn = pSource + y * source.SampleStride();
        TTarget* pOut = pTarget + (nY + y) * target.SampleStride() + nX * nTargetPlanes;
        if (bEqualPlanes) {
            for (int64_t i = 0; i < nWidth * nSourcePlanes; ++i)
                pOut[i] = ConvertSample<TTarget>(pIn[i]);
        } else {
            for (int64_t x = 0; x < nWidth; ++x)
                pOut[3 * x] = pOut[3 * x + 1] = pOut[3 * x + 2] = ConvertSample<TTarget>(pIn[x]);
        }
    }
}

template <typename TTarget>
void FillPlanes(ClImage& target, double dFillColor, const double (&adFillColors)[4])
{
    if (target.Data() == nullptr)
        return;
    const int32_t nPlanes = target.Planes();
    TTarget aValues[4] = {};
    for (int32_t p = 0; p < 4; ++p)
        aValues[p] = DoubleToSample<TTarget>(nPlanes == 1 ? dFillColor : adFillColors[p]);
    for (int32_t y = 0; y < target.Height(); ++y) {
        TTarget* pRow = SamplesOf<TTarget>(target) + int64_t(y) * target.SampleStride();
        for (int64_t x = 0; x < target.Width(); ++x)
            for (int32_t p = 0; p < nPlanes; ++p)
                // Planes beyond the fourth have no fill color of their own.
                pRow[x * nPlanes + p] = p < 4 ? aValues[p] : TTarget();
    }
}

}  // namespace

bool PrepareOverlap(const ClImage& in1, const ClImage& in2, ClImage& target, int32_t nOffsetX, int32_t nOffsetY,
                    double dFillColor, const double (&adFillColors)[4], StOverlap& overlap)
{
    const int64_t nAbsX = std::llabs(int64_t(nOffsetX));
    const int64_t nAbsY = std::llabs(int64_t(nOffsetY));
    const int64_t nOutWidth = nOffsetX < 0 ? std::max<int64_t>(in1.Width() + nAbsX, in2.Width())
                                           : std::max<int64_t>(in1.Width(), in2.Width() + nAbsX);
    const int64_t nOutHeight = nOffsetY < 0 ? std::max<int64_t>(in1.Height() + nAbsY, in2.Height())
                                            : std::max<int64_t>(in1.Height(), in2.Height() + nAbsY);
    target.Create(target.DataType(), ClampTo32Bit(nOutWidth), ClampTo32Bit(nOutHeight), in1.Planes(), in1.AuxX(),
                  in1.AuxY(), true);

    overlap = StOverlap();
    overlap.nWidth = ClampTo32Bit(std::min(in1.Width(), in2.Width()) - nAbsX);
    overlap.nHeight = ClampTo32Bit(std::min(in1.Height(), in2.Height()) - nAbsY);
    overlap.nPlanes1 = in1.Planes();
    overlap.nPlanes2 = in2.Planes();
    overlap.nIn1Stride = in1.SampleStride();
    overlap.nIn2Stride = in2.SampleStride();
    overlap.nOutStride = target.SampleStride();
    if (in1.Width() == in2.Width() && in1.Height() == in2.Height() && nOffsetX == 0 && nOffsetY == 0)
        return true;

    // Input 1 lies at the origin unless input 2 reaches further out on that
    // side; input 2 lies at the origin plus the positive offsets.
    const int64_t nX1 = nOffsetX < 0 ? nAbsX : 0;
    const int64_t nY1 = nOffsetY < 0 ? nAbsY : 0;
    const int64_t nX2 = nOffsetX > 0 ? nAbsX : 0;
    const int64_t nY2 = nOffsetY > 0 ? nAbsY : 0;
    bool bKnown = false;
    const bool bTargetKnown = VisitSampleType(target.DataType(), [&](auto targetTag) {
        using TTarget = typename decltype(targetTag)::Type;
        FillPlanes<TTarget>(target, dFillColor, adFillColors);
        bKnown = VisitSampleType(in1.DataType(), [&](auto tag) {
            CopyConverted<typename decltype(tag)::Type, TTarget>(in1, target, nX1, nY1);
        });
        bKnown = VisitSampleType(in2.DataType(), [&](auto tag) {
            CopyConverted<typename decltype(tag)::Type, TTarget>(in2, target, nX2, nY2);
        }) && bKnown;
    });

    if (overlap.nWidth > 0 && overlap.nHeight > 0) {
        overlap.nOutStart = ClampTo32Bit(nAbsY * overlap.nOutStride + nAbsX * target.Planes());
        if (nOffsetX < 0)
            overlap.nIn2Start += ClampTo32Bit(nAbsX * overlap.nPlanes2);
        if (nOffsetY < 0)
            overlap.nIn2Start += ClampTo32Bit(nAbsY * overlap.nIn2Stride);
        if (nOffsetX > 0)
            overlap.nIn1Start += ClampTo32Bit(nAbsX * overlap.nPlanes1);
        if (nOffsetY > 0)
            overlap.nIn1Start += ClampTo32Bit(nAbsY * overlap.nIn1Stride);
    }
    return bTargetKnown && bKnown;
}

bool TablePathApplies(const ClImage& in1, const ClImage& in2, const StOverlap& overlap)
{
    return in2.DataType() == ClImage::uint8 && ClImage::SampleBytes(in1.DataType()) == 1 &&
           overlap.nWidth > 0 && overlap.nHeight > 0 && int64_t(overlap.nWidth) * overlap.nHeight > kTableThreshold;
}

bool ApplySaturatedLine(const uint8_t (&aLine)[511], bool bDifference, const ClImage& in1, const ClImage& in2,
                        ClImage& out, const StOverlap& overlap)
{
    if (overlap.nPlanes1 != overlap.nPlanes2)
        return false;
    for (int32_t k = 0; k < 511; ++k)
        if (aLine[k] != (bDifference ? std::max(0, k - 255) : std::min(255, k)))
            return false;
    const int64_t nSamples = int64_t(overlap.nWidth) * overlap.nPlanes1;
    for (int32_t y = 0; y < overlap.nHeight; ++y) {
        const uint8_t* pRow1 = SamplesOf<uint8_t>(in1) + overlap.nIn1Start + int64_t(y) * overlap.nIn1Stride;
        const uint8_t* pRow2 = SamplesOf<uint8_t>(in2) + overlap.nIn2Start + int64_t(y) * overlap.nIn2Stride;
        uint8_t* pOutRow = SamplesOf<uint8_t>(out) + overlap.nOutStart + int64_t(y) * overlap.nOutStride;
        if (bDifference)
            FastPaths::SubtractSaturated(pRow1, pRow2, pOutRow, nSamples);
        else
            FastPaths::AddSaturated(pRow1, pRow2, pOutRow, nSamples);
    }
    return true;
}

int32_t TableLowest(const ClImage& image)
{
    return ClImage::IsSignedType(image.DataType()) ? -128 : 0;
}

bool RunPixelPath(const ClImage& in1, const ClImage& in2, ClImage& out, const StOverlap& overlap,
                  const std::function<double(double, double)>& pairOperation)
{
    const bool bEqualPlanes = overlap.nPlanes1 == overlap.nPlanes2;
    const bool bThreeWithOne = overlap.nPlanes1 == 3 && overlap.nPlanes2 == 1;
    auto known = [](ClImage::EDataType eType) { return VisitSampleType(eType, [](auto) {}); };
    if (!known(in1.DataType()) || !known(in2.DataType()) || !known(out.DataType()))
        return false;
    if (!(bEqualPlanes || bThreeWithOne) || overlap.nWidth <= 0 || overlap.nHeight <= 0)
        return true;

    // One row at a time as doubles, so that the per-pixel work is one
    // instance for all triples of sample types.
    const size_t nSamples1 = size_t(overlap.nWidth) * size_t(overlap.nPlanes1);
    const size_t nSamples2 = size_t(overlap.nWidth) * size_t(overlap.nPlanes2);
    std::vector<double> aRow1 = AllocateWorkBuffer<double>(nSamples1);
    std::vector<double> aRow2 = AllocateWorkBuffer<double>(nSamples2);
    for (int32_t y = 0; y < overlap.nHeight; ++y) {
        VisitSampleType(in1.DataType(), [&](auto tag) {
            const auto* pRow = SamplesOf<typename decltype(tag)::Type>(in1) + overlap.nIn1Start +
                               int64_t(y) * overlap.nIn1Stride;
            for (size_t i = 0; i < nSamples1; ++i)
                aRow1[i] = static_cast<double>(pRow[i]);
        });
        VisitSampleType(in2.DataType(), [&](auto tag) {
            const auto* pRow = SamplesOf<typename decltype(tag)::Type>(in2) + overlap.nIn2Start +
                               int64_t(y) * overlap.nIn2Stride;
            for (size_t i = 0; i < nSamples2; ++i)
                aRow2[i] = static_cast<double>(pRow[i]);
        });
        for (size_t i = 0; i < nSamples1; ++i)
            aRow1[i] = pairOperation(aRow1[i], aRow2[bEqualPlanes ? i : i / 3]);
        VisitSampleType(out.DataType(), [&](auto tag) {
            using TOut = typename decltype(tag)::Type;
            TOut* pRow = SamplesOf<TOut>(out) + overlap.nOutStart + int64_t(y) * overlap.nOutStride;
            for (size_t i = 0; i < nSamples1; ++i)
                pRow[i] = DoubleToSample<TOut>(aRow1[i]);
        });
    }
    return true;
}

}  // namespace TwoToOne

// ---- ClIp2to1Base -----------------------------------------------------------------

ClIp2to1Base::ClIp2to1Base()
{
    SetDefaultParameters();
}

void ClIp2to1Base::SetDefaultParameters()
{
    m_eOutImageType = ClImage::default_;
    m_bSizeMustBeEqual = true;
    m_dFillColor = 0.0;
    m_nOffsetX = 0;
    m_nOffsetY = 0;
}

bool ClIp2to1Base::CanProcess()
{
    return m_pInImage1 != nullptr && m_pInImage2 != nullptr && m_pOutImage != nullptr &&
           m_pInImage1->Data() != nullptr && m_pInImage2->Data() != nullptr;
}

void ClIp2to1Base::DescribeParameters(ClParameterInterface& list)
{
    static const char* const apszTypeNames[] = {"unsigned char", "signed char", "unsigned short",
                                                "signed short",  "unsigned int", "signed int",
                                                "float",         "double",       "default"};
    static const uint32_t auiTypeValues[] = {ClImage::uint8, ClImage::int8,    ClImage::uint16,
                                             ClImage::int16, ClImage::uint32,  ClImage::int32,
                                             ClImage::float32, ClImage::double64, ClImage::default_};
    list.AddImage(&m_pInImage1, "InImage1", "In1: Original Image", ClParameterInterface::eDirectionIn, 1.0, 1.0);
    list.AddImage(&m_pInImage2, "InImage2", "In2: 2nd Original Image", ClParameterInterface::eDirectionIn, 1.0, 1.0);
    list.AddImage(&m_pOutImage, "OutImage", "Out: Output Image", ClParameterInterface::eDirectionOut, 1.0, 1.0);
    list.AddUInt8(&m_eOutImageType, "OutImageType", "In: OutImage Datatype", ClParameterInterface::eDirectionIn, 0.0,
                  255.0)
        ->SetEnumEntries(apszTypeNames, auiTypeValues, 9);
    list.AddBool(&m_bSizeMustBeEqual, "SizeMustBeEqual", "Bool: Size must be equal",
                 ClParameterInterface::eDirectionIn);
    list.AddDouble(&m_dFillColor, "FillColor", "Double: Fillcolor for Offset-Images",
                   ClParameterInterface::eDirectionIn, 0.0, 255.0);
    list.AddInt32(&m_nOffsetX, "OffsetX", "Long: Offset of Image2 to Image1 in x-direction",
                  ClParameterInterface::eDirectionIn, 1.0, -1.0);
    list.AddInt32(&m_nOffsetY, "OffsetY", "Long: Offset of Image2 to Image1 in y-direction",
                  ClParameterInterface::eDirectionIn, 1.0, -1.0);
}

void ClIp2to1Base::RegisterParameters(ClParameterContainer& container)
{
    const struct
    {
        const char* pszName;
        ClImage** ppImage;
        uint8_t nFlags;
    } aImages[] = {{"pInImage1", &m_pInImage1, kParameterIn},
                   {"pInImage2", &m_pInImage2, kParameterIn},
                   {"pOutImage", &m_pOutImage, kParameterOut}};
    for (const auto& image : aImages)
        RegisterImageParameter(container, image.pszName, image.ppImage, image.nFlags);
    auto* pType = container.CreateParameter<TpParameterEnumPointer<unsigned char>>("OutImageType");
    pType->Bind(&m_eOutImageType, kParameterIn);
    AddDataTypeEntries(*pType);
    auto* pEqual = container.CreateParameter<TpParameterEnumPointer<bool>>("SizeMustBeEqual");
    pEqual->Bind(&m_bSizeMustBeEqual, kParameterIn);
    pEqual->AddEntry(true, "true");
    pEqual->AddEntry(false, "false");
    auto* pFill = container.CreateParameter<TpParameterNumeric<double>>("FillColor");
    pFill->Bind(&m_dFillColor, kParameterIn);
    pFill->SetRange(0.0, 255.0);
    container.CreateParameter<TpParameterNumeric<int>>("OffsetX")->Bind(&m_nOffsetX, kParameterIn);
    container.CreateParameter<TpParameterNumeric<int>>("OffsetY")->Bind(&m_nOffsetY, kParameterIn);
}

void ClIp2to1Base::SetFillColors(int32_t nPlane, double dFillColor)
{
    if (nPlane >= 0 && nPlane < 4)
        m_adFillColors[nPlane] = dFillColor;
}

int32_t ClIp2to1Base::Prepare()
{
    if (!CanProcess())
        return ZRT_ERROR_PARAM_IS_MISSING;
    const bool bSizesDiffer = m_pInImage1->Width() != m_pInImage2->Width() ||
                              m_pInImage1->Height() != m_pInImage2->Height();
    if (m_bSizeMustBeEqual && (bSizesDiffer || m_nOffsetX != 0 || m_nOffsetY != 0))
        return ZRT_ERROR_INVALID_PARAMETER;
    return 0;
}

int32_t ClIp2to1Base::Process()
{
    if (!CanProcess())
        return ZRT_ERROR_PARAM_IS_MISSING;
    const ClImage& in1 = *m_pInImage1;
    const ClImage& in2 = *m_pInImage2;
    // An output that is also an input is written aside and swapped in at the end.
    ClImage separate;
    ClImage& target = (m_pOutImage == m_pInImage1 || m_pOutImage == m_pInImage2) ? separate : *m_pOutImage;
    const auto eOutType = m_eOutImageType == ClImage::default_ ? in1.DataType()
                                                                : static_cast<ClImage::EDataType>(m_eOutImageType);
    target.CreateLikeAs(in1, eOutType);

    TwoToOne::StOverlap overlap;
    if (!TwoToOne::PrepareOverlap(in1, in2, target, m_nOffsetX, m_nOffsetY, m_dFillColor, m_adFillColors, overlap))
        return ZRT_ERROR_INTERNAL;
    m_nOverlapWidth = overlap.nWidth;
    m_nOverlapHeight = overlap.nHeight;
    m_nOutStart = overlap.nOutStart;
    m_nIn1Start = overlap.nIn1Start;
    m_nIn2Start = overlap.nIn2Start;
    const int32_t nStatus = Calculate(in1, in2, target, overlap.nWidth, overlap.nHeight, overlap.nPlanes1,
                                      overlap.nPlanes2, overlap.nIn1Start, overlap.nIn1Stride, overlap.nIn2Start,
                                      overlap.nIn2Stride, overlap.nOutStart, overlap.nOutStride);
    m_pOutImage->Swap(target);
    return nStatus;
}

TwoToOne::StOverlap ClIp2to1Base::MakeOverlap(int32_t nWidth, int32_t nHeight, int32_t nPlanes1, int32_t nPlanes2,
                                              int32_t nIn1Start, int32_t nIn1Stride, int32_t nIn2Start,
                                              int32_t nIn2Stride, int32_t nOutStart, int32_t nOutStride)
{
    TwoToOne::StOverlap overlap;
    overlap.nWidth = nWidth;
    overlap.nHeight = nHeight;
    overlap.nPlanes1 = nPlanes1;
    overlap.nPlanes2 = nPlanes2;
    overlap.nIn1Start = nIn1Start;
    overlap.nIn1Stride = nIn1Stride;
    overlap.nIn2Start = nIn2Start;
    overlap.nIn2Stride = nIn2Stride;
    overlap.nOutStart = nOutStart;
    overlap.nOutStride = nOutStride;
    return overlap;
}

int32_t ClIp2to1Base::Calculate(const ClImage& in1, const ClImage& in2, ClImage& out, int32_t nWidth,
                                int32_t nHeight, int32_t nPlanes1, int32_t nPlanes2, int32_t nIn1Start,
                                int32_t nIn1Stride, int32_t nIn2Start, int32_t nIn2Stride, int32_t nOutStart,
                                int32_t nOutStride)
{
    const TwoToOne::StOverlap overlap = MakeOverlap(nWidth, nHeight, nPlanes1, nPlanes2, nIn1Start, nIn1Stride,
                                                    nIn2Start, nIn2Stride, nOutStart, nOutStride);
    const auto pixel = [&](double a, double b) { return CalculatePixel(in1, in2, out, a, b); };
    bool bKnown = false;
    if (m_bUseTable && in1.DataType() == ClImage::uint8 && in2.DataType() == ClImage::uint8)
        bKnown = TwoToOne::RunTablePath(in1, in2, out, overlap, pixel);
    else
        bKnown = TwoToOne::RunPixelPath(in1, in2, out, overlap, pixel);
    return bKnown ? 0 : ZRT_ERROR_INTERNAL;
}

double ClIp2to1Base::CalculatePixel(const ClImage& /*in1*/, const ClImage& /*in2*/, const ClImage& /*out*/,
                                    double /*a*/, double /*b*/)
{
    return 0.0;
}

int32_t ClIp2to1Base::Run(ClImage* pInImage1, ClImage* pInImage2, ClImage* pOutImage,
                          ClImage::EDataType eOutImageType)
{
    m_pInImage1 = pInImage1;
    m_pInImage2 = pInImage2;
    m_pOutImage = pOutImage;
    m_eOutImageType = static_cast<unsigned char>(eOutImageType);
    return Run();
}
