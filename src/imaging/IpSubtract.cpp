#include "imaging/IpSubtract.h"

#include <algorithm>

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
