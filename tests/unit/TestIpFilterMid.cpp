// Box mean: the running-sum kernels against window sums by direct loops.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "common/ReferenceFilters.h"
#include "processors/IpFilterMid.h"
#include "imaging/SampleDispatch.h"

namespace {

template <typename T, typename TSum = FilterMid::MeanSum<T>>
void CheckLineMeansOfAllWidths()
{
    const TpTestPlane<T> in = RandomPlane<T>(37, 29, 17);
    const long double dTolerance = std::is_floating_point<T>::value ? 1e-6 : 0;
    for (int32_t nHalf = 0; nHalf <= 30; ++nHalf) {
        TpTestPlane<T> out = EmptyPlaneLike(in);
        FilterMid::MeanX<T, TSum>(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHalf);
        ASSERT_TRUE(EveryPixelIs(out, [&](int32_t x, int32_t y) { return WindowMean(in, x, y, nHalf, 0); },
                                 dTolerance)) << "X, half " << nHalf;
        FilterMid::MeanY<T, TSum>(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHalf);
        ASSERT_TRUE(EveryPixelIs(out, [&](int32_t x, int32_t y) { return WindowMean(in, x, y, 0, nHalf); },
                                 dTolerance)) << "Y, half " << nHalf;
    }
}

TEST(IpFilterMid, LineMeansMatchDirectWindowSumsForEveryTypeAndWidth)
{
    ForEachSampleType([](auto sample) { CheckLineMeansOfAllWidths<decltype(sample)>(); });
    CheckLineMeansOfAllWidths<uint16_t, uint32_t>();  // the 32-bit sum of small 16-bit windows
}

TEST(IpFilterMid, SquareMeanOf8BitImagesTruncatesTheWindowMean)
{
    for (const auto& size : {std::pair<int32_t, int32_t>{37, 29}, {61, 61}, {1, 9}, {64, 3}}) {
        const TpTestPlane<uint8_t> in = RandomPlane<uint8_t>(size.first, size.second, 5 + size.first);
        for (int32_t nHalf = 0; nHalf <= 30; nHalf += (size.first == 37 ? 1 : 3)) {
            TpTestPlane<uint8_t> out = EmptyPlaneLike(in);
            FilterMid::MeanXY8(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHalf);
            ASSERT_TRUE(EveryPixelIs(out, [&](int32_t x, int32_t y) { return WindowMean(in, x, y, nHalf, nHalf); }))
                << size.first << "x" << size.second << ", half " << nHalf;
        }
    }
}

TEST(IpFilterMid, ThreeByThreeMeanRoundsThroughReciprocals)
{
    const TpTestPlane<uint8_t> in = RandomPlane<uint8_t>(23, 17, 99);
    TpTestPlane<uint8_t> out = EmptyPlaneLike(in);
    FilterMid::Mean3x3Rounded8(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight);
    EXPECT_TRUE(EveryPixelIs(out, [&](int32_t x, int32_t y) {
        int64_t nSum = 0;
        const int32_t nCount = VisitWindow(in, x, y, 1, 1, [&](uint8_t sample) { nSum += sample; });
        // Corners divide by 4, edges by 6 and the inside by 9, the last two as multiplications.
        return nCount == 4 ? (nSum + 2) >> 2 : nCount == 6 ? ((nSum + 3) * 682) >> 12 : ((nSum + 4) * 455) >> 12;
    }));
}

TEST(IpFilterMid, FractionPathSplitsTheMeanIntoWholeAndSixteenthsOfAPixel)
{
    const TpTestPlane<uint8_t> in = RandomPlane<uint8_t>(31, 21, 3);
    for (int32_t nHalf : {1, 4, 12}) {
        TpTestPlane<uint8_t> out = EmptyPlaneLike(in), fraction = EmptyPlaneLike(in);
        FilterMid::MeanXYWithFraction8(in.Data(), in.nStride, out.Data(), out.nStride, fraction.Data(),
                                       fraction.nStride, in.nWidth, in.nHeight, nHalf);
        const auto mean = [&](int32_t x, int32_t y) {
            int64_t nSum = 0;
            const int32_t nCount = VisitWindow(in, x, y, nHalf, nHalf, [&](uint8_t sample) { nSum += sample; });
            return double(nSum) / nCount;
        };
        EXPECT_TRUE(EveryPixelIs(out, [&](int32_t x, int32_t y) { return int32_t(mean(x, y)); }));
        EXPECT_TRUE(EveryPixelIs(fraction, [&](int32_t x, int32_t y) {
            return int32_t((mean(x, y) - int32_t(mean(x, y))) * 256.0);
        }));
    }
}

TEST(IpFilterMid, DirectedMeanFollowsTheFieldAndShortensNearBorders)
{
    const int32_t nWidth = 15, nHeight = 11;
    const TpTestPlane<uint8_t> in = RandomPlane<uint8_t>(nWidth, nHeight, 8);
    const TpTestPlane<int8_t> dx = RandomPlane<int8_t>(nWidth, nHeight, 9),
        dy = RandomPlane<int8_t>(nWidth, nHeight, 10);
    for (bool bOrtho : {false, true}) {
        TpTestPlane<uint8_t> out = EmptyPlaneLike(in);
        FilterMid::MeanDirected8(in.Data(), in.nStride, out.Data(), out.nStride, dx.Data(), dx.nStride, dy.Data(),
                                 dy.nStride, nWidth, nHeight, 3, bOrtho);
        EXPECT_TRUE(EveryPixelIs(out, [&](int32_t x, int32_t y) {
            // Steps of twice the field in 1/256 pixel from the pixel's centre, as far as the border allows.
            const int32_t nReach = std::min({3, x, nWidth - 1 - x, y, nHeight - 1 - y});
            const int32_t nStepX = bOrtho ? 2 * dy.At(x, y) : 2 * dx.At(x, y);
            const int32_t nStepY = bOrtho ? 2 * dx.At(x, y) : -2 * dy.At(x, y);
            int32_t nSum = 0;
            for (int32_t i = -nReach; i <= nReach; ++i)
                nSum += in.At((x * 256 + 128 + i * nStepX) / 256, (y * 256 + 128 + i * nStepY) / 256);
            return nSum / (2 * nReach + 1);
        })) << "ortho " << bOrtho;
    }
}

// An image holding the samples of a test plane, and the plane of an image.
template <typename T>
void ImageOf(const TpTestPlane<T>& plane, ClImage& image)
{
    image.Create(SampleTypeOf<T>(), plane.nWidth, plane.nHeight, 1, 0, 0, true);
    for (int32_t y = 0; y < plane.nHeight; ++y)
        std::copy_n(&plane.At(0, y), plane.nWidth, SamplesOf<T>(image) + y * image.SampleStride());
}

template <typename T>
bool SameSamples(const ClImage& image, const TpTestPlane<T>& plane)
{
    return EveryPixelIs(plane, [&](int32_t x, int32_t y) { return SamplesOf<T>(image)[y * image.SampleStride() + x]; });
}

TEST(IpFilterMid, ProcessorAdaptsTheWidthAndRoutesByTypeAndMode)
{
    // Width 4 runs as 5 and stays 5.
    const TpTestPlane<uint8_t> plane = RandomPlane<uint8_t>(20, 20, 31, 0);
    ClImage in, out;
    ImageOf(plane, in);
    ClIpFilterMid mean;
    ASSERT_EQ(mean.Run(&in, &out, 4), 0);
    EXPECT_EQ(mean.GetFilterWidth(), 5);
    TpTestPlane<uint8_t> expected = EmptyPlaneLike(plane);
    FilterMid::MeanXY8(plane.Data(), plane.nStride, expected.Data(), expected.nStride, 20, 20, 2);
    EXPECT_TRUE(SameSamples(out, expected));

    // A square window larger than the image copies it.
    ASSERT_EQ(mean.Run(&in, &out, 21), 0);
    EXPECT_TRUE(SameSamples(out, plane));

    // Along the rows a width not below the image's becomes the longest odd
    // width below it: 20 wide, 25 runs as 19.
    mean.SetMode(ClIpFilterBase::eModeX);
    ASSERT_EQ(mean.Run(&in, &out, 25), 0);
    EXPECT_EQ(mean.GetFilterWidth(), 19);
    FilterMid::MeanX(plane.Data(), plane.nStride, expected.Data(), expected.nStride, 20, 20, 9);
    EXPECT_TRUE(SameSamples(out, expected));

    // Other types: X, then Y on its result, each truncating.
    const TpTestPlane<int16_t> plane16 = RandomPlane<int16_t>(13, 11, 32, 0);
    ClImage in16;
    ImageOf(plane16, in16);
    mean.SetMode(ClIpFilterBase::eModeXY);
    ASSERT_EQ(mean.Run(&in16, &out, 5), 0);
    TpTestPlane<int16_t> alongRows = EmptyPlaneLike(plane16), both = EmptyPlaneLike(plane16);
    FilterMid::MeanX(plane16.Data(), plane16.nStride, alongRows.Data(), alongRows.nStride, 13, 11, 2);
    FilterMid::MeanY(alongRows.Data(), alongRows.nStride, both.Data(), both.nStride, 13, 11, 2);
    EXPECT_TRUE(SameSamples(out, both));

    // The input as its own output is refused unless the width copies.
    EXPECT_EQ(mean.Run(&in, &in, 5), ZRT_ERROR_BITMAP_PTR);
    EXPECT_TRUE(SameSamples(in, plane));
    EXPECT_EQ(mean.Run(&in, &in, 1), 0);

    // A mode outside the five, for the 8-bit dispatch and for the others.
    mean.SetMode(ClIpFilterBase::EFilterMode(5));
    EXPECT_EQ(CodeOf([&] { mean.Run(&in, &out, 5); }), ZRT_ERROR_PARAM_OUT_OF_RANGE);
    EXPECT_EQ(CodeOf([&] { mean.Run(&in16, &out, 5); }), ZRT_ERROR_PARAM_OUT_OF_RANGE);
    mean.SetMode(ClIpFilterBase::eModeDirected);
    EXPECT_EQ(CodeOf([&] { mean.Run(&in, &out, 5); }), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(mean.Run(&in16, &out, 5), ZRT_ERROR_FORMAT_NOTSUPPORTED);
}

TEST(IpFilterMid, ColourImagesAreFilteredPlaneByPlane)
{
    ClImage colour, out, plane, filtered, outPlane;
    colour.Create(ClImage::uint8, 17, 9, 3, 0, 0, true);
    for (int32_t i = 0; i < 9 * colour.Stride(); ++i)
        colour.Data()[i] = uint8_t(i * 29 % 251);
    ClIpFilterMid mean;
    ASSERT_EQ(mean.Run(&colour, &out, 5), 0);
    EXPECT_EQ(std::make_pair(out.Planes(), out.Content()), std::make_pair(3, ClImage::eRGB));
    for (int32_t p = 0; p < 3; ++p) {
        ClImage::GetPlane(colour, p, plane);
        ClImage::GetPlane(out, p, outPlane);
        ASSERT_EQ(ClIpFilterMid().Run(&plane, &filtered, 5), 0);
        for (int32_t y = 0; y < 9; ++y)
            EXPECT_EQ(memcmp(outPlane.Data() + y * outPlane.Stride(), filtered.Data() + y * filtered.Stride(), 17), 0);
    }
}

}  // namespace
