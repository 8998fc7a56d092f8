#include "processors/IpFilterVariance.h"

#include "sdk/Exception.h"
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
    // formula runs over the whole row. All three loops run on several pixels
    // at a time.
    std::vector<uint32_t> aColumnSums = AllocateWorkBuffer<uint32_t>(size_t(nWidth), 0);
    std::vector<uint32_t> aColumnSquares = AllocateWorkBuffer<uint32_t>(size_t(nWidth), 0);
    std::vector<uint32_t> aPrefix = AllocateWorkBuffer<uint32_t>(size_t(nWidth) + 1);
    std::vector<uint32_t> aPrefixSquares = AllocateWorkBuffer<uint32_t>(size_t(nWidth) + 1);
    std::vector<uint32_t> aSums = AllocateWorkBuffer<uint32_t>(size_t(nWidth));
    std::vector<uint32_t> aSquares = AllocateWorkBuffer<uint32_t>(size_t(nWidth));
    std::vector<int32_t> aColumns = AllocateWorkBuffer<int32_t>(size_t(nWidth));
    uint32_t* pColumnSums = aColumnSums.data();
    uint32_t* pColumnSquares = aColumnSquares.data();
    for (int32_t x = 0; x < nWidth; ++x)
        aColumns[x] = CutWindowCount(x, nWidth, nHalf);

    auto addRow = [&](int64_t nRow) {
        const uint8_t* pRow = pIn + nRow * nInStride;
        for (int32_t x = 0; x < nWidth; ++x) {
            const uint32_t nValue = pRow[x];
            pColumnSums[x] += nValue;
            pColumnSquares[x] += nValue * nValue;
        }
    };
    auto subtractRow = [&](int64_t nRow) {
        const uint8_t* pRow = pIn + nRow * nInStride;
        for (int32_t x = 0; x < nWidth; ++x) {
            const uint32_t nValue = pRow[x];
            pColumnSums[x] -= nValue;
            pColumnSquares[x] -= nValue * nValue;
        }
    };
    const int64_t nFirstY = std::min<int64_t>(nHalf, nHeight - 1);
    for (int64_t r = 0; r <= nFirstY; ++r)
        addRow(r);
    for (int32_t y = 0; y < nHeight; ++y) {
        WindowSumsByPrefix2(pColumnSums, pColumnSquares, aPrefix.data(), aPrefixSquares.data(), aSums.data(),
                            aSquares.data(), nWidth, nHalf);
        const double dRows = CutWindowCount(y, nHeight, nHalf);
        double* pOutRow = pOut + int64_t(y) * nOutStride;
        const uint32_t* pSums = aSums.data();
        const uint32_t* pSquares = aSquares.data();
        const int32_t* pColumns = aColumns.data();
        for (int32_t x = 0; x < nWidth; ++x) {
            // The window sums are below 2^31; n = columns * rows is exact.
            const double dSum = static_cast<int32_t>(pSums[x]);
            const double dSquares = static_cast<int32_t>(pSquares[x]);
            const double dCount = pColumns[x] * dRows;
            pOutRow[x] = (dSquares - dSum * dSum / dCount) / (dCount - 1.0);
        }
        const int64_t nEntering = int64_t(y) + nHalf + 1;
        if (nEntering < nHeight)
            addRow(nEntering);
        const int64_t nLeaving = int64_t(y) - nHalf;
        if (nLeaving >= 0)
            subtractRow(nLeaving);
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
        if (eInType == ClImage::uint8 && eOutType == ClImage::double64 && 2 * nHalf + 1 <= FilterVariance::kLargestIntegerWindow) {
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
