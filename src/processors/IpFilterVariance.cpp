#include "processors/IpFilterVariance.h"

#include "sdk/Exception.h"
#include "processors/FastPaths.h"
#include "processors/ProcessorSupport.h"
#include "imaging/SampleDispatch.h"

namespace FilterVariance {

void Variance8ToDouble(const uint8_t* pIn, int32_t nInStride, double* pOut, int32_t nOutStride, int32_t nWidth,
                       int32_t nHeight, int32_t nHalf)
{
    if (nWidth <= 0 || nHeight <= 0 || nHalf < 0)
        return;
    // Column sums of the window's rows slide down the image; per output row
    // the window sums along the row come from prefix differences, and the
    // formula runs over the whole row, several pixels at a time.
    const size_t nPadded = size_t(nWidth) + 2 * size_t(nHalf) + 1;
    std::vector<uint32_t> aColumnSums = AllocateWorkBuffer<uint32_t>(size_t(nWidth), 0);
    std::vector<uint32_t> aColumnSquares = AllocateWorkBuffer<uint32_t>(size_t(nWidth), 0);
    std::vector<uint32_t> aSumPrefix = AllocateWorkBuffer<uint32_t>(nPadded);
    std::vector<uint32_t> aSquarePrefix = AllocateWorkBuffer<uint32_t>(nPadded);
    std::vector<double> aColumns = AllocateWorkBuffer<double>(size_t(nWidth));
    uint32_t* pColumnSums = aColumnSums.data();
    uint32_t* pColumnSquares = aColumnSquares.data();
    for (int32_t x = 0; x < nWidth; ++x)
        aColumns[x] = CutWindowCount(x, nWidth, nHalf);

    // Adds the row nEntering and takes the row nLeaving out; a row outside
    // the image reads as zeros.
    const std::vector<uint8_t> aNoRow = AllocateWorkBuffer<uint8_t>(size_t(nWidth), 0);
    auto slide = [&](int64_t nEntering, int64_t nLeaving) {
        const uint8_t* pEntering = nEntering < nHeight ? pIn + nEntering * nInStride : aNoRow.data();
        const uint8_t* pLeaving = nLeaving >= 0 ? pIn + nLeaving * nInStride : aNoRow.data();
        FastPaths::SlideSumsAndSquares(pEntering, pLeaving, pColumnSums, pColumnSquares, nWidth);
    };
    const int64_t nFirstY = std::min<int64_t>(nHalf, nHeight - 1);
    for (int64_t r = 0; r <= nFirstY; ++r)
        slide(r, -1);
    for (int32_t y = 0; y < nHeight; ++y) {
        FastPaths::PaddedPrefixSums(pColumnSums, aSumPrefix.data(), nWidth, nHalf);
        FastPaths::PaddedPrefixSums(pColumnSquares, aSquarePrefix.data(), nWidth, nHalf);
        FastPaths::VarianceRow(aSumPrefix.data(), aSquarePrefix.data(), 2 * nHalf + 1, aColumns.data(),
                               CutWindowCount(y, nHeight, nHalf), pOut + int64_t(y) * nOutStride, nWidth);
        const int64_t nEntering = int64_t(y) + nHalf + 1;
        const int64_t nLeaving = int64_t(y) - nHalf;
        if (nEntering < nHeight || nLeaving >= 0)
            slide(nEntering, nLeaving);
    }
}

}  // namespace FilterVariance

// ---- ClIpFilterVariance ---------------------------------------------------------------

ClIpFilterVariance::ClIpFilterVariance()
{
    static const ClImage::EDataType aeTypes[] = {ClImage::uint8,  ClImage::int8,  ClImage::uint16,  ClImage::int16,
                                                 ClImage::uint32, ClImage::int32, ClImage::float32, ClImage::double64};
    AddSupportedTypes(aeTypes, sizeof(aeTypes) / sizeof(aeTypes[0]));
    SetDefaultParameters();
}

ClProcessorBase* ClIpFilterVariance::CreateInstance() const
{
    return NewProcessorInstance<ClIpFilterVariance>();
}

void ClIpFilterVariance::SetDefaultParameters()
{
    m_nFilterWidth = 11;
    m_eOutImageType = ClImage::double64;
}

void ClIpFilterVariance::RegisterParameters(ClParameterContainer& container)
{
    ClIp1to1Base::RegisterParameters(container);
    container.CreateParameter<TpParameterNumeric<int>>("nInFilterWidth")->Bind(&m_nFilterWidth, kParameterIn);
    auto* pType = container.CreateParameter<TpParameterEnumPointer<unsigned char>>("OutImageType");
    pType->Bind(&m_eOutImageType, kParameterIn);
    AddDataTypeEntries(*pType);
}

void ClIpFilterVariance::CheckInputType()
{
    ClIp1to1Base::CheckInputType();
    if (m_pInImage->Planes() > 1)
        throw ClException("Input image has too many planes.", ZRT_ERROR_INVALID_PARAMETER, true, KR9_SITE);
    if (m_pOutImage == nullptr)
        throw ClException("Output image not assigned", ZRT_ERROR_BAD_POINTER, true, KR9_SITE);
}

int32_t ClIpFilterVariance::Process()
{
    if (m_pInImage == nullptr || m_pOutImage == nullptr)
        return ZRT_ERROR_PARAM_IS_MISSING;
    const ClImage::EDataType eInType = m_pInImage->DataType();
    const auto eOutType = static_cast<ClImage::EDataType>(m_eOutImageType);
    const auto known = [](ClImage::EDataType eType) { return VisitSampleType(eType, [](auto) {}); };
    if (!known(eInType) || !known(eOutType))
        return ZRT_ERROR_FORMAT_NOTSUPPORTED;
    const int32_t nHalf = m_nFilterWidth / 2;
    if (nHalf < 0)
        return ZRT_ERROR_PARAM_OUT_OF_RANGE;

    // The input as its own output is read from the image it was.
    ClImage separate;
    ClImage& out = (m_pOutImage == m_pInImage) ? separate : *m_pOutImage;
    const ClImage& in = *m_pInImage;
    out.Create(eOutType, in.Width(), in.Height(), 1, in.AuxX(), in.AuxY(), true);
    if (in.Data() != nullptr && out.Data() != nullptr) {
        if (FastPaths::Enabled() && eInType == ClImage::uint8 && eOutType == ClImage::double64 &&
            2 * nHalf + 1 <= FilterVariance::kLargestIntegerWindow) {
            FilterVariance::Variance8ToDouble(in.Data(), in.SampleStride(), SamplesOf<double>(out), out.SampleStride(), in.Width(),
                              in.Height(), nHalf);
        } else {
            VisitSampleType(eInType, [&](auto inTag) {
                VisitSampleType(eOutType, [&](auto outTag) {
                    using TIn = typename decltype(inTag)::Type;
                    using TOut = typename decltype(outTag)::Type;
                    FilterVariance::Variance<TIn, TOut>(SamplesOf<TIn>(in), in.SampleStride(),
                                                        SamplesOf<TOut>(out), out.SampleStride(), in.Width(),
                                                        in.Height(), nHalf);
                });
            });
        }
    }
    if (&out == &separate)
        m_pOutImage->Swap(separate);
    return 0;
}
