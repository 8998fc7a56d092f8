// Sliding minimum: the block-minimum kernels against direct window scans.
#include <algorithm>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "common/ReferenceFilters.h"
#include "processors/IpFilterMin.h"
#include "imaging/SampleDispatch.h"

namespace {

template <typename T>
void CheckMinimaOfAllWidths()
{
    // Random samples, and a rising ramp, on which the minimum leaves every
    // window at every step.
    TpTestPlane<T> random = RandomPlane<T>(37, 29, 23), ramp = random;
    for (int32_t i = 0; i < ramp.nStride * ramp.nHeight; ++i)
        ramp.aSamples[size_t(i)] = static_cast<T>(i % ramp.nStride + i / ramp.nStride);
    for (const TpTestPlane<T>* pIn : {&random, &ramp})
        for (int32_t nHalf = 0; nHalf <= 30; ++nHalf) {
            const TpTestPlane<T>& in = *pIn;
            TpTestPlane<T> out = EmptyPlaneLike(in);
            FilterMin::MinX(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHalf);
            ASSERT_TRUE(EveryPixelIs(out, [&](int32_t x, int32_t y) { return WindowMinimum(in, x, y, nHalf, 0); }))
                << "X, half " << nHalf;
            // In place: the column pass reads each column before writing it.
            FilterMin::MinY(out.Data(), out.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHalf);
            ASSERT_TRUE(
                EveryPixelIs(out, [&](int32_t x, int32_t y) { return WindowMinimum(in, x, y, nHalf, nHalf); }))
                << "XY, half " << nHalf;
        }
}

TEST(IpFilterMin, MinimaMatchDirectScansForEveryTypeAndWidth)
{
    ForEachSampleType([](auto sample) { CheckMinimaOfAllWidths<decltype(sample)>(); });

    // Windows wider than the image take the whole line.
    TpTestPlane<int16_t> in = RandomPlane<int16_t>(5, 3, 4), out = EmptyPlaneLike(in);
    const int32_t nHuge = std::numeric_limits<int32_t>::max() / 2;
    FilterMin::MinX(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHuge);
    EXPECT_TRUE(EveryPixelIs(out, [&](int32_t x, int32_t y) { return WindowMinimum(in, x, y, in.nWidth, 0); }));
}

TEST(IpFilterMin, ProcessorWantsAnOddWidthAndBothImages)
{
    ClImage in, out;
    in.Create(ClImage::uint16, 9, 7, 1, 0, 0, true);
    for (int32_t i = 0; i < 9 * 7; ++i)
        SamplesOf<uint16_t>(in)[(i / 9) * in.SampleStride() + i % 9] = uint16_t(1000 - i);
    ClIpFilterMin minimum;
    ASSERT_EQ(minimum.Run(&in, &out, 3, ClIpFilterBase::eModeXY), 0);
    // The rising minimum towards the bottom right: the window's corner below and to the right.
    EXPECT_EQ(SamplesOf<uint16_t>(out)[2 * out.SampleStride() + 3], 1000 - (3 * 9 + 4));
    EXPECT_EQ(SamplesOf<uint16_t>(out)[6 * out.SampleStride() + 8], 1000 - 62);

    EXPECT_EQ(CodeOf([&] { minimum.Run(&in, &out, 4, ClIpFilterBase::eModeXY); }, "Filter width has to be odd."),
              ZRT_ERROR_INVALID_PARAMETER);
    // Width 1 copies before the test.
    EXPECT_EQ(minimum.Run(&in, &out, 1, ClIpFilterBase::eModeXY), 0);
    EXPECT_EQ(CodeOf([&] { minimum.Run(&in, nullptr, 3, ClIpFilterBase::eModeX); }), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(minimum.Run(&in, &out, 3, ClIpFilterBase::eModeDirected), ZRT_ERROR_FORMAT_NOTSUPPORTED);
}

}  // namespace
