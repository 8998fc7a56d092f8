// ClIpAdd: the sum of two images, cut to the output's range, halved, or
// wrapping in a wider output type.
#pragma once

#include <cstdint>

#include "processors/Ip2to1Base.h"

namespace Add {

// The modes, as ClIpAdd numbers them.
constexpr int32_t kModeCut = 0;
constexpr int32_t kModeScale = 1;
constexpr int32_t kModeEnlarge = 2;

// The per-type members: a + b over the overlap, one template instance per
// triple of sample types and mode. Cut and Scale limit to the output's range
// (Scale halves first, integers by a right shift); Enlarge wraps at the
// output type's width. Returns false for a type outside the eight, and raises
// ZRT_ERROR_INVALID_PARAMETER for unequal plane counts.
bool AddDirect(const ClImage& in1, const ClImage& in2, ClImage& out, const TwoToOne::StOverlap& overlap,
               int32_t nMode);

// One pair as doubles, the way the table is built: Cut and Scale as above,
// any other mode (Enlarge among them) 0.0. A function of a + b alone, which
// lets the table be built from its 511 diagonals.
double AddPixel(double a, double b, const ClImage& out, int32_t nMode);

}  // namespace Add

class ClIpAdd : public ClIp2to1Base
{
public:
    enum EProcessingMode : int32_t
    {
        ModeCut = Add::kModeCut,
        ModeScale = Add::kModeScale,
        ModeEnlarge = Add::kModeEnlarge
    };

    ClIpAdd();

    ClProcessorBase* CreateInstance() const override;
    const char* GetClassName() const override { return "ClIpAdd"; }
    void DescribeParameters(ClParameterInterface& list) override;
    void RegisterParameters(ClParameterContainer& container) override;
    void SetDefaultParameters() override;

    // The per-type members, or above 90000 overlap pixels of 8-bit inputs
    // the table over CalculatePixel, which knows no Enlarge and writes 0
    // there, where the members add.
    int32_t Calculate(const ClImage& in1, const ClImage& in2, ClImage& out, int32_t nWidth, int32_t nHeight,
                      int32_t nPlanes1, int32_t nPlanes2, int32_t nIn1Start, int32_t nIn1Stride, int32_t nIn2Start,
                      int32_t nIn2Stride, int32_t nOutStart, int32_t nOutStride) override;
    // Final, so that the table of 65536 pairs is built without a virtual call per pair.
    double CalculatePixel(const ClImage& in1, const ClImage& in2, const ClImage& out, double a, double b) final;

    void SetMode(EProcessingMode eMode) { m_eMode = eMode; }

protected:
    EProcessingMode m_eMode = ModeScale;
};
