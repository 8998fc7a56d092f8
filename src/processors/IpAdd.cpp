#include "processors/IpAdd.h"

#include <algorithm>

#include "sdk/Exception.h"
#include "processors/ProcessorSupport.h"

namespace Add {

namespace {

template <typename T1, typename T2, typename TOut, int32_t nMode>
void AddSamples(const ClImage& in1, const ClImage& in2, ClImage& out, const TwoToOne::StOverlap& overlap)
{
    using TCompute = TwoToOne::ComputeType<T1, T2, TOut>;
    const TCompute low = static_cast<TCompute>(DoubleToSample<TOut>(std::min(out.Min(), out.Max())));
    const TCompute high = static_cast<TCompute>(DoubleToSample<TOut>(std::max(out.Min(), out.Max())));
    TwoToOne::ForEachOverlapPair(
        SamplesOf<T1>(in1), SamplesOf<T2>(in2), SamplesOf<TOut>(out), overlap, [low, high](T1 a, T2 b) {
            TCompute sum = static_cast<TCompute>(a) + static_cast<TCompute>(b);
            if constexpr (nMode == kModeEnlarge)
                return ConvertSample<TOut>(sum);
            if constexpr (nMode == kModeScale) {
                if constexpr (std::is_floating_point<TCompute>::value)
                    sum = sum / 2;
                else
                    sum >>= 1;
            }
            return ConvertSample<TOut>(std::min(std::max(sum, low), high));
        });
}

}  // namespace

bool AddDirect(const ClImage& in1, const ClImage& in2, ClImage& out, const TwoToOne::StOverlap& overlap,
               int32_t nMode)
{
    if (nMode != kModeCut && nMode != kModeScale && nMode != kModeEnlarge)
        // A mode that sums nothing: the output keeps what the preparation left.
        return true;
    bool bKnown = TwoToOne::VisitSampleTypes3(in1.DataType(), in2.DataType(), out.DataType(), [](auto, auto, auto) {});
    if (!bKnown)
        return false;
    if (overlap.nPlanes1 != overlap.nPlanes2)
        throw ClException("unequal plane count is not supported.", ZRT_ERROR_INVALID_PARAMETER, true, KR9_SITE);
    return TwoToOne::VisitSampleTypes3(in1.DataType(), in2.DataType(), out.DataType(), [&](auto tag1, auto tag2,
                                                                                           auto tagOut) {
        using T1 = typename decltype(tag1)::Type;
        using T2 = typename decltype(tag2)::Type;
        using TOut = typename decltype(tagOut)::Type;
        if (nMode == kModeCut)
            AddSamples<T1, T2, TOut, kModeCut>(in1, in2, out, overlap);
        else if (nMode == kModeScale)
            AddSamples<T1, T2, TOut, kModeScale>(in1, in2, out, overlap);
        else
            AddSamples<T1, T2, TOut, kModeEnlarge>(in1, in2, out, overlap);
    });
}

double AddPixel(double a, double b, const ClImage& out, int32_t nMode)
{
    double dResult = 0.0;
    if (nMode == kModeCut)
        dResult = a + b;
    else if (nMode == kModeScale)
        dResult = (a + b) * 0.5;
    else
        return 0.0;
    // The limits are the output's range as its sample type holds them.
    double dLow = std::min(out.Min(), out.Max());
    double dHigh = std::max(out.Min(), out.Max());
    VisitSampleType(out.DataType(), [&](auto tag) {
        using TOut = typename decltype(tag)::Type;
        dLow = static_cast<double>(DoubleToSample<TOut>(dLow));
        dHigh = static_cast<double>(DoubleToSample<TOut>(dHigh));
    });
    return std::min(std::max(dResult, dLow), dHigh);
}

}  // namespace Add

// ---- ClIpAdd --------------------------------------------------------------------------

template class TpParameterEnumPointer<ClIpAdd::EProcessingMode, ClParameter>;

ClIpAdd::ClIpAdd()
{
    m_eMode = ModeScale;
}

ClProcessorBase* ClIpAdd::CreateInstance() const
{
    return NewProcessorInstance<ClIpAdd>();
}

void ClIpAdd::SetDefaultParameters()
{
    ClIp2to1Base::SetDefaultParameters();
    m_eMode = ModeScale;
}

void ClIpAdd::DescribeParameters(ClParameterInterface& list)
{
    static const char* const apszModeNames[] = {"ModeCut", "ModeScale", "ModeEnlarge"};
    ClIp2to1Base::DescribeParameters(list);
    list.AddEnum(&m_eMode, "Mode", "In: Addition Mode", ClParameterInterface::eDirectionIn, apszModeNames, 3);
}

void ClIpAdd::RegisterParameters(ClParameterContainer& container)
{
    ClIp2to1Base::RegisterParameters(container);
    auto* pMode = container.CreateParameter<TpParameterEnumPointer<EProcessingMode>>("Mode");
    pMode->Bind(&m_eMode, kParameterIn);
    pMode->AddEntry(ModeCut, "ModeCut");
    pMode->AddEntry(ModeScale, "ModeScale");
    pMode->AddEntry(ModeEnlarge, "ModeEnlarge");
}

int32_t ClIpAdd::Calculate(const ClImage& in1, const ClImage& in2, ClImage& out, int32_t nWidth, int32_t nHeight,
                           int32_t nPlanes1, int32_t nPlanes2, int32_t nIn1Start, int32_t nIn1Stride,
                           int32_t nIn2Start, int32_t nIn2Stride, int32_t nOutStart, int32_t nOutStride)
{
    const TwoToOne::StOverlap overlap = MakeOverlap(nWidth, nHeight, nPlanes1, nPlanes2, nIn1Start, nIn1Stride,
                                                    nIn2Start, nIn2Stride, nOutStart, nOutStride);
    if (TwoToOne::TablePathApplies(in1, in2, overlap)) {
        const bool bKnown = TwoToOne::RunTablePathOnDiagonals(
            in1, in2, out, overlap, TwoToOne::EPairShape::eSum,
            [&](double a, double b) { return CalculatePixel(in1, in2, out, a, b); });
        return bKnown ? 0 : ZRT_ERROR_INTERNAL;
    }
    return Add::AddDirect(in1, in2, out, overlap, m_eMode) ? 0 : ZRT_ERROR_INTERNAL;
}

double ClIpAdd::CalculatePixel(const ClImage& /*in1*/, const ClImage& /*in2*/, const ClImage& out, double a, double b)
{
    return Add::AddPixel(a, b, out, m_eMode);
}
