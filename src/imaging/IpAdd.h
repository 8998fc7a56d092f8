// ClIpAdd: the sum of two images, cut to the output's range, halved, or
// wrapping in a wider output type.
#pragma once

#include <cstdint>

#include "imaging/Ip2to1Base.h"

namespace Add {

// The modes, as ClIpAdd numbers them.
constexpr int32_t kModeCut = 0;
constexpr int32_t kModeScale = 1;
constexpr int32_t kModeEnlarge = 2;

// The per-type members: a + b over the overlap, one template instance per
// triple of sample types and mode. Cut and Scale limit to the output's range
// (Scale halves first, integers by a right shift); Enlarge wraps at the
// output type's width. Returns false for a type outside the eight, and raises
// -44 for unequal plane counts.
bool AddDirect(const ClImage& in1, const ClImage& in2, ClImage& out, const TwoToOne::StOverlap& overlap,
               int32_t nMode);

// One pair as doubles, the way the table is built: Cut and Scale as above,
// any other mode (Enlarge among them) 0.0.
double AddPixel(double a, double b, const ClImage& out, int32_t nMode);

}  // namespace Add
