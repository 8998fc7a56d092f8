// Local variance: the two-pass running sums against direct window sums.
#include <algorithm>
#include <cstdint>
#include <tuple>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "common/ReferenceFilters.h"
#include "processors/IpFilterVariance.h"
#include "imaging/SampleDispatch.h"

namespace {

TEST(IpFilterVariance, EightBitVarianceIsBitExactToDirectDoubleSumsForEveryWidth)
{
    // Sums of 8-bit samples are exact in double: equal to the bit; one pixel gives 0 / 0.
    const TpTestPlane<uint8_t> in = RandomPlane<uint8_t>(37, 29, 41);
    for (int32_t nHalf = 0; nHalf <= 30; ++nHalf) {
        TpTestPlane<double> fast = RandomPlane<double>(37, 29, 1), generic = fast;
        FilterVariance::Variance8ToDouble(in.Data(), in.nStride, fast.Data(), fast.nStride, in.nWidth, in.nHeight,
                                          nHalf);
        FilterVariance::Variance<uint8_t, double>(in.Data(), in.nStride, generic.Data(), generic.nStride, in.nWidth,
                                                  in.nHeight, nHalf);
        const auto expected = [&](int32_t x, int32_t y) { return WindowVariance(in, x, y, nHalf); };
        ASSERT_TRUE(EveryPixelIs(fast, expected)) << "half " << nHalf;
        ASSERT_TRUE(EveryPixelIs(generic, expected)) << "half " << nHalf;
    }
}

TEST(IpFilterVariance, OtherTypePairsFollowTheSameWindows)
{
    const TpTestPlane<int16_t> in = RandomPlane<int16_t>(19, 13, 7);
    TpTestPlane<float> asFloat = RandomPlane<float>(19, 13, 8);
    FilterVariance::Variance<int16_t, float>(in.Data(), in.nStride, asFloat.Data(), asFloat.nStride, in.nWidth,
                                             in.nHeight, 2);
    EXPECT_TRUE(EveryPixelIs(asFloat, [&](int32_t x, int32_t y) { return WindowVariance(in, x, y, 2); }, 1e-3));

    // Integer outputs sum and divide in their own width; small samples stay
    // exact, and one-pixel windows give 0 instead of dividing by zero.
    TpTestPlane<uint8_t> small = RandomPlane<uint8_t>(11, 9, 3);
    for (uint8_t& sample : small.aSamples)
        sample %= 8;
    TpTestPlane<int32_t> asInt = RandomPlane<int32_t>(11, 9, 4);
    FilterVariance::Variance<uint8_t, int32_t>(small.Data(), small.nStride, asInt.Data(), asInt.nStride, 11, 9, 1);
    EXPECT_TRUE(EveryPixelIs(asInt,
                             [&](int32_t x, int32_t y) { return WindowVariance<uint8_t, int32_t>(small, x, y, 1); }));
    FilterVariance::Variance<uint8_t, int32_t>(small.Data(), small.nStride, asInt.Data(), asInt.nStride, 11, 9, 0);
    EXPECT_TRUE(EveryPixelIs(asInt, [](int32_t, int32_t) { return 0; }));

    // A constant image has no variance, in the corners (n = (h + 1)^2) as well.
    std::fill(small.aSamples.begin(), small.aSamples.end(), uint8_t(77));
    TpTestPlane<double> flatVariance = RandomPlane<double>(11, 9, 5);
    FilterVariance::Variance8ToDouble(small.Data(), small.nStride, flatVariance.Data(), flatVariance.nStride, 11, 9, 3);
    EXPECT_TRUE(EveryPixelIs(flatVariance, [](int32_t, int32_t) { return 0; }));
}

TEST(IpFilterVariance, ProcessorShapesTheOutputAndRefusesColourImages)
{
    ClImage in, out(3, 3);
    in.Create(ClImage::uint8, 12, 10, 1, 5, 6, true);
    TpTestPlane<uint8_t> plane{12, 10, in.Stride(), {}};
    for (int32_t i = 0; i < 120; ++i)
        in.Data()[(i / 12) * in.Stride() + i % 12] = uint8_t(i * 7);
    plane.aSamples.assign(in.Data(), in.Data() + in.Stride() * 10);
    ClIpFilterVariance variance;
    variance.SetFilterWidth(5);
    ASSERT_EQ(variance.Run(&in, &out), 0);
    EXPECT_EQ(std::make_tuple(out.DataType(), out.Width(), out.AuxY()), std::make_tuple(ClImage::double64, 12, 6));
    EXPECT_EQ(SamplesOf<double>(out)[4 * out.SampleStride() + 7], WindowVariance(plane, 7, 4, 2));

    // The input as its own output, and an output type of its own.
    variance.SetOutImageType(ClImage::float32);
    ASSERT_EQ(variance.Run(&in, &in), 0);
    EXPECT_EQ(in.DataType(), ClImage::float32);
    variance.SetOutImageType(ClImage::default_);
    EXPECT_EQ(variance.Run(&in, &out), ZRT_ERROR_FORMAT_NOTSUPPORTED);

    ClImage colour;
    colour.Create(ClImage::uint8, 4, 4, 3, 0, 0, true);
    variance.SetInImage(&colour);
    EXPECT_FALSE(variance.CanProcess());
    EXPECT_EQ(CodeOf([&] { variance.Run(&colour, &out); }, "Input image has too many planes."),
              ZRT_ERROR_INVALID_PARAMETER);
}

}  // namespace
