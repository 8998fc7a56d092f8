#include "processors/IpSubtract.h"

#include <algorithm>

#include "processors/ProcessorSupport.h"

namespace Subtract {

namespace {

template <typename T1, typename T2, typename TOut>
void SubtractSamples(const ClImage& in1, const ClImage& in2, ClImage& out, const TwoToOne::StOverlap& overlap,
                     TOut lowLimit, TOut highLimit)
{
    using TCompute = TwoToOne::ComputeType<T1, T2, TOut>;
    const TCompute low = static_cast<TCompute>(lowLimit);
    const TCompute high = static_cast<TCompute>(highLimit);
    TwoToOne::ForEachOverlapPair(SamplesOf<T1>(in1), SamplesOf<T2>(in2), SamplesOf<TOut>(out), overlap,
                                 [=](T1 a, T2 b) {
                                     const TCompute difference = static_cast<TCompute>(a) - static_cast<TCompute>(b);
                                     // Negative goes to the low limit even where that limit is negative itself.
                                     if (difference < 0 || difference < low)
                                         return lowLimit;
                                     if (difference > high)
                                         return highLimit;
                                     return ConvertSample<TOut>(difference);
                                 });
}

}  // namespace

bool SubtractDirect(const ClImage& in1, const ClImage& in2, ClImage& out, const TwoToOne::StOverlap& overlap,
                    int32_t nDataRange, double dLowerBound, double dUpperBound)
{
    return TwoToOne::VisitSampleTypes3(in1.DataType(), in2.DataType(), out.DataType(), [&](auto tag1, auto tag2,
                                                                                           auto tagOut) {
        using T1 = typename decltype(tag1)::Type;
        using T2 = typename decltype(tag2)::Type;
        using TOut = typename decltype(tagOut)::Type;
        TOut low;
        TOut high;
        if (nDataRange == kInputDependent) {
            high = DoubleToSample<TOut>(in1.Max() - in2.Min());
            low = DoubleToSample<TOut>(in1.Min() - in2.Max());
        } else if (nDataRange == kUserDependent) {
            high = DoubleToSample<TOut>(dUpperBound);
            low = DoubleToSample<TOut>(dLowerBound);
            out.SetValueRange(static_cast<double>(low), static_cast<double>(high));
        } else {
            low = DoubleToSample<TOut>(std::min(out.Min(), out.Max()));
            high = DoubleToSample<TOut>(std::max(out.Min(), out.Max()));
        }
        SubtractSamples<T1, T2, TOut>(in1, in2, out, overlap, low, high);
    });
}

double SubtractPixel(double a, double b, const ClImage& out)
{
    double dDifference = a - b;
    if (dDifference < out.Min())
        dDifference = out.Min();
    if (dDifference > out.Max())
        dDifference = out.Max();
    return dDifference;
}

}  // namespace Subtract

// ---- ClIpSubtract ---------------------------------------------------------------------

template class TpParameterEnumPointer<ClIpSubtract::EDataRangeType, ClParameter>;

ClProcessorBase* ClIpSubtract::CreateInstance() const
{
    return NewProcessorInstance<ClIpSubtract>();
}

void ClIpSubtract::RegisterParameters(ClParameterContainer& container)
{
    ClIp2to1Base::RegisterParameters(container);
    container.CreateParameter<TpParameterNumeric<double>>("LowerBound")->Bind(&m_dLowerBound, kParameterIn);
    container.CreateParameter<TpParameterNumeric<double>>("UpperBound")->Bind(&m_dUpperBound, kParameterIn);
    auto* pRange = container.CreateParameter<TpParameterEnumPointer<EDataRangeType>>("Data Output Range");
    pRange->Bind(&m_eDataRange, kParameterIn);
    pRange->AddEntry(DataDependent, "DataDependent");
    pRange->AddEntry(InputDependent, "InputDependent");
    pRange->AddEntry(UserDependent, "UserDependent");
}

int32_t ClIpSubtract::Calculate(const ClImage& in1, const ClImage& in2, ClImage& out, int32_t nWidth,
                                int32_t nHeight, int32_t nPlanes1, int32_t nPlanes2, int32_t nIn1Start,
                                int32_t nIn1Stride, int32_t nIn2Start, int32_t nIn2Stride, int32_t nOutStart,
                                int32_t nOutStride)
{
    const TwoToOne::StOverlap overlap = MakeOverlap(nWidth, nHeight, nPlanes1, nPlanes2, nIn1Start, nIn1Stride,
                                                    nIn2Start, nIn2Stride, nOutStart, nOutStride);
    if (TwoToOne::TablePathApplies(in1, in2, overlap)) {
        const bool bKnown = TwoToOne::RunTablePathOnDiagonals(
            in1, in2, out, overlap, TwoToOne::EPairShape::eDifference,
            [&](double a, double b) { return CalculatePixel(in1, in2, out, a, b); });
        return bKnown ? 0 : ZRT_ERROR_INTERNAL;
    }
    return Subtract::SubtractDirect(in1, in2, out, overlap, m_eDataRange, m_dLowerBound, m_dUpperBound)
               ? 0
               : ZRT_ERROR_INTERNAL;
}

double ClIpSubtract::CalculatePixel(const ClImage& /*in1*/, const ClImage& /*in2*/, const ClImage& out, double a,
                                    double b)
{
    return Subtract::SubtractPixel(a, b, out);
}
