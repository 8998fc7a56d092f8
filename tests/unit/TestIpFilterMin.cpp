// Sliding minimum: the block-minimum kernels against direct window scans.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "Exception.h"
#include "RandomSamples.h"
#include "imaging/IpFilterMin.h"
#include "imaging/SampleDispatch.h"

namespace {

template <typename T>
T DirectWindowMinimum(const TpTestPlane<T>& in, int32_t x, int32_t y, int32_t nHalfX, int32_t nHalfY)
{
    T minimum = in.At(x, y);
    for (int32_t v = std::max(0, y - nHalfY); v <= std::min(in.nHeight - 1, y + nHalfY); ++v)
        for (int32_t u = std::max(0, x - nHalfX); u <= std::min(in.nWidth - 1, x + nHalfX); ++u)
            minimum = std::min(minimum, in.At(u, v));
    return minimum;
}

template <typename T>
void CheckMinimaOfAllWidths()
{
    // Random samples, and a rising ramp, on which the minimum leaves every
    // window at every step.
    TpTestPlane<T> random = RandomPlane<T>(37, 29, 23);
    TpTestPlane<T> ramp = random;
    for (int32_t y = 0; y < ramp.nHeight; ++y)
        for (int32_t x = 0; x < ramp.nWidth; ++x)
            ramp.At(x, y) = static_cast<T>(x + y);
    for (const TpTestPlane<T>* pIn : {&random, &ramp})
        for (int32_t nWidth = 1; nWidth <= 61; nWidth += 2) {
            const int32_t nHalf = nWidth / 2;
            const TpTestPlane<T>& in = *pIn;
            TpTestPlane<T> out = EmptyPlaneLike(in);
            FilterMin::MinX(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHalf);
            TpTestPlane<T> both = out;
            // In place: the column pass reads each column before writing it.
            FilterMin::MinY(both.Data(), both.nStride, both.Data(), both.nStride, in.nWidth, in.nHeight, nHalf);
            for (int32_t y = 0; y < in.nHeight; ++y)
                for (int32_t x = 0; x < in.nWidth; ++x) {
                    ASSERT_EQ(out.At(x, y), DirectWindowMinimum(in, x, y, nHalf, 0)) << x << "," << y << " w" << nWidth;
                    ASSERT_EQ(both.At(x, y), DirectWindowMinimum(in, x, y, nHalf, nHalf))
                        << x << "," << y << " w" << nWidth;
                }
        }
}

TEST(IpFilterMin, MinimaMatchDirectScansForEveryTypeAndWidth)
{
    CheckMinimaOfAllWidths<uint8_t>();
    CheckMinimaOfAllWidths<int8_t>();
    CheckMinimaOfAllWidths<uint16_t>();
    CheckMinimaOfAllWidths<int16_t>();
    CheckMinimaOfAllWidths<uint32_t>();
    CheckMinimaOfAllWidths<int32_t>();
    CheckMinimaOfAllWidths<float>();
    CheckMinimaOfAllWidths<double>();
}

TEST(IpFilterMin, WindowsWiderThanTheImageTakeTheWholeLine)
{
    TpTestPlane<int16_t> in = RandomPlane<int16_t>(5, 3, 4);
    TpTestPlane<int16_t> out = EmptyPlaneLike(in);
    FilterMin::MinX(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight,
                    std::numeric_limits<int32_t>::max() / 2);
    for (int32_t y = 0; y < in.nHeight; ++y)
        for (int32_t x = 0; x < in.nWidth; ++x)
            ASSERT_EQ(out.At(x, y), *std::min_element(&in.At(0, y), &in.At(0, y) + in.nWidth));
}

TEST(IpFilterMin, ProcessorWantsAnOddWidthAndBothImages)
{
    ClImage in;
    in.Create(ClImage::uint16, 9, 7, 1, 0, 0, true);
    for (int32_t i = 0; i < 9 * 7; ++i)
        SamplesOf<uint16_t>(in)[(i / 9) * in.SampleStride() + i % 9] = uint16_t(1000 - i);
    ClImage out;
    ClIpFilterMin minimum;
    ASSERT_EQ(minimum.Run(&in, &out, 3, ClIpFilterBase::eModeXY), 0);
    // The rising minimum towards the bottom right: the window's corner below and to the right.
    EXPECT_EQ(SamplesOf<uint16_t>(out)[2 * out.SampleStride() + 3], 1000 - (3 * 9 + 4));
    EXPECT_EQ(SamplesOf<uint16_t>(out)[6 * out.SampleStride() + 8], 1000 - 62);

    try {
        minimum.Run(&in, &out, 4, ClIpFilterBase::eModeXY);
        ADD_FAILURE() << "even width accepted";
    } catch (const ClException& ex) {
        EXPECT_EQ(ex.GetCode(), ZRT_ERROR_INVALID_PARAMETER);
        EXPECT_NE(std::string(ex.GetText()).find("Filter width has to be odd."), std::string::npos);
    }
    // Width 1 copies before the test.
    EXPECT_EQ(minimum.Run(&in, &out, 1, ClIpFilterBase::eModeXY), 0);
    try {
        minimum.Run(&in, nullptr, 3, ClIpFilterBase::eModeX);
        ADD_FAILURE() << "no output accepted";
    } catch (const ClException& ex) {
        EXPECT_EQ(ex.GetCode(), ZRT_ERROR_BAD_POINTER);
    }
    EXPECT_EQ(minimum.Run(&in, &out, 3, ClIpFilterBase::eModeDirected), ZRT_ERROR_FORMAT_NOTSUPPORTED);
}

}  // namespace
