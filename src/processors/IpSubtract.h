// ClIpSubtract: the difference of two images, limited to a range that comes
// from the output type, from the inputs' ranges, or from the caller.
#pragma once

#include <cstdint>

#include "processors/Ip2to1Base.h"

namespace Subtract {

// Where the limits of the difference come from, as ClIpSubtract numbers it.
constexpr int32_t kDataDependent = 0;
constexpr int32_t kInputDependent = 1;
constexpr int32_t kUserDependent = 2;

// The per-type members: a - b over the overlap, one template instance per
// triple of sample types. A difference that is negative or below the low
// limit gives the low limit, one above the high limit the high limit.
// The limits, by nDataRange: the output's range; input 1's range less input
// 2's (high: max1 - min2, low: min1 - max2); or dLowerBound and dUpperBound,
// which then also become the output's range. Each limit is truncated to the
// output's sample type, keeping its low bits: for a uint8 output the
// input-dependent low limit -255 is 1. Returns false for a type outside the
// eight; plane counts other than equal or 3 with 1 write nothing.
bool SubtractDirect(const ClImage& in1, const ClImage& in2, ClImage& out, const TwoToOne::StOverlap& overlap,
                    int32_t nDataRange, double dLowerBound, double dUpperBound);

// One pair as doubles, the way the table is built: a - b limited to the
// output's range, whatever the data range setting says. A function of a - b
// alone, which lets the table be built from its 511 diagonals.
double SubtractPixel(double a, double b, const ClImage& out);

}  // namespace Subtract

class ClIpSubtract : public ClIp2to1Base
{
public:
    enum EDataRangeType : int32_t
    {
        DataDependent = Subtract::kDataDependent,
        InputDependent = Subtract::kInputDependent,
        UserDependent = Subtract::kUserDependent
    };

    ClIpSubtract() = default;

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpSubtract"; }
    void RegisterParameters(ClParameterContainer& container) override;

    // The per-type members, or above 90000 overlap pixels of 8-bit inputs
    // the table over CalculatePixel, which limits to the output's range
    // whatever the data range says.
    int32_t Calculate(const ClImage& in1, const ClImage& in2, ClImage& out, int32_t nWidth, int32_t nHeight,
                      int32_t nPlanes1, int32_t nPlanes2, int32_t nIn1Start, int32_t nIn1Stride, int32_t nIn2Start,
                      int32_t nIn2Stride, int32_t nOutStart, int32_t nOutStride) override;
    // Final, so that the table of 65536 pairs is built without a virtual call per pair.
    double CalculatePixel(const ClImage& in1, const ClImage& in2, const ClImage& out, double a, double b) final;

    void SetDataRange(EDataRangeType eDataRange) { m_eDataRange = eDataRange; }
    void SetBounds(double dLowerBound, double dUpperBound)
    {
        m_dLowerBound = dLowerBound;
        m_dUpperBound = dUpperBound;
    }

protected:
    double m_dLowerBound = 0.0;
    double m_dUpperBound = 0.0;
    EDataRangeType m_eDataRange = DataDependent;
};
