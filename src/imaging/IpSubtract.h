// ClIpSubtract: the difference of two images, limited to a range that comes
// from the output type, from the inputs' ranges, or from the caller.
#pragma once

#include <cstdint>

#include "imaging/Ip2to1Base.h"

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
// output's range, whatever the data range setting says.
double SubtractPixel(double a, double b, const ClImage& out);

}  // namespace Subtract
