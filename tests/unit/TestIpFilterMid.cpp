// Box mean: the running-sum kernels against window sums by direct loops.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include "Exception.h"
#include "RandomSamples.h"
#include "imaging/IpFilterMid.h"
#include "imaging/SampleDispatch.h"

namespace {

// Sum and pixel count of the window of half-widths (hx, hy) around (x, y), cut at the edges.
template <typename T>
void DirectWindowSum(const TpTestPlane<T>& in, int32_t x, int32_t y, int32_t nHalfX, int32_t nHalfY,
                     long double& dSum, int64_t& nSum, int32_t& nCount)
{
    dSum = 0;
    nSum = 0;
    nCount = 0;
    for (int32_t v = std::max(0, y - nHalfY); v <= std::min(in.nHeight - 1, y + nHalfY); ++v)
        for (int32_t u = std::max(0, x - nHalfX); u <= std::min(in.nWidth - 1, x + nHalfX); ++u) {
            dSum += static_cast<long double>(in.At(u, v));
            if constexpr (!std::is_floating_point<T>::value)
                nSum += static_cast<int64_t>(in.At(u, v));
            ++nCount;
        }
}

// The mean of the window the way the filter defines it: integer quotient truncated toward zero.
template <typename T>
void ExpectDirectMean(const TpTestPlane<T>& in, const TpTestPlane<T>& out, int32_t nHalfX, int32_t nHalfY,
                      const char* pszWhat)
{
    for (int32_t y = 0; y < in.nHeight; ++y)
        for (int32_t x = 0; x < in.nWidth; ++x) {
            long double dSum;
            int64_t nSum;
            int32_t nCount;
            DirectWindowSum(in, x, y, nHalfX, nHalfY, dSum, nSum, nCount);
            if constexpr (std::is_floating_point<T>::value) {
                const double dExpected = double(dSum / nCount);
                ASSERT_NEAR(out.At(x, y), dExpected, 1e-9 * 1000.0 + std::fabs(dExpected) * 1e-6)
                    << pszWhat << " at " << x << "," << y << " half " << nHalfX << "," << nHalfY;
            } else {
                ASSERT_EQ(int64_t(out.At(x, y)), nSum / nCount)
                    << pszWhat << " at " << x << "," << y << " half " << nHalfX << "," << nHalfY;
            }
        }
}

template <typename T, typename TSum = FilterMid::MeanSum<T>>
void CheckLineMeansOfAllWidths()
{
    const TpTestPlane<T> in = RandomPlane<T>(37, 29, 17);
    for (int32_t nWidth = 1; nWidth <= 61; ++nWidth) {
        const int32_t nHalf = nWidth / 2;
        TpTestPlane<T> out = EmptyPlaneLike(in);
        FilterMid::MeanX<T, TSum>(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHalf);
        ExpectDirectMean(in, out, nHalf, 0, "X");
        FilterMid::MeanY<T, TSum>(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHalf);
        ExpectDirectMean(in, out, 0, nHalf, "Y");
    }
}

TEST(IpFilterMid, LineMeansMatchDirectWindowSumsForEveryTypeAndWidth)
{
    CheckLineMeansOfAllWidths<uint8_t>();
    CheckLineMeansOfAllWidths<int8_t>();
    CheckLineMeansOfAllWidths<uint16_t>();
    CheckLineMeansOfAllWidths<uint16_t, uint32_t>();
    CheckLineMeansOfAllWidths<int16_t>();
    CheckLineMeansOfAllWidths<uint32_t>();
    CheckLineMeansOfAllWidths<int32_t>();
    CheckLineMeansOfAllWidths<float>();
    CheckLineMeansOfAllWidths<double>();
}

TEST(IpFilterMid, SquareMeanOf8BitImagesTruncatesTheWindowMean)
{
    for (const auto& size : {std::pair<int32_t, int32_t>{37, 29}, {61, 61}, {1, 9}, {64, 3}}) {
        const TpTestPlane<uint8_t> in = RandomPlane<uint8_t>(size.first, size.second, 5 + size.first);
        for (int32_t nWidth = 1; nWidth <= 61; nWidth += (size.first == 37 ? 1 : 6)) {
            TpTestPlane<uint8_t> out = EmptyPlaneLike(in);
            FilterMid::MeanXY8(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nWidth / 2);
            ExpectDirectMean(in, out, nWidth / 2, nWidth / 2, "XY");
        }
    }
}

TEST(IpFilterMid, ThreeByThreeMeanRoundsThroughReciprocals)
{
    const TpTestPlane<uint8_t> in = RandomPlane<uint8_t>(23, 17, 99);
    TpTestPlane<uint8_t> out = EmptyPlaneLike(in);
    FilterMid::Mean3x3Rounded8(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight);
    for (int32_t y = 0; y < in.nHeight; ++y)
        for (int32_t x = 0; x < in.nWidth; ++x) {
            long double dSum;
            int64_t nSum;
            int32_t nCount;
            DirectWindowSum(in, x, y, 1, 1, dSum, nSum, nCount);
            int64_t nExpected = 0;
            if (nCount == 4)
                nExpected = (nSum + 2) >> 2;
            else if (nCount == 6)
                nExpected = ((nSum + 3) * 682) >> 12;
            else
                nExpected = ((nSum + 4) * 455) >> 12;
            ASSERT_EQ(out.At(x, y), nExpected) << x << "," << y;
        }

    // A constant 200 stays 200: (9 * 200 + 4) * 455 >> 12 is 200.
    TpTestPlane<uint8_t> flat = in;
    std::fill(flat.aSamples.begin(), flat.aSamples.end(), uint8_t(200));
    FilterMid::Mean3x3Rounded8(flat.Data(), flat.nStride, out.Data(), out.nStride, flat.nWidth, flat.nHeight);
    for (int32_t y = 0; y < in.nHeight; ++y)
        for (int32_t x = 0; x < in.nWidth; ++x)
            ASSERT_EQ(out.At(x, y), 200);
}

TEST(IpFilterMid, FractionPathSplitsTheMeanIntoWholeAndSixteenthsOfAPixel)
{
    const TpTestPlane<uint8_t> in = RandomPlane<uint8_t>(31, 21, 3);
    for (int32_t nHalf : {1, 4, 12}) {
        TpTestPlane<uint8_t> out = EmptyPlaneLike(in);
        TpTestPlane<uint8_t> fraction = EmptyPlaneLike(in);
        FilterMid::MeanXYWithFraction8(in.Data(), in.nStride, out.Data(), out.nStride, fraction.Data(),
                                       fraction.nStride, in.nWidth, in.nHeight, nHalf);
        for (int32_t y = 0; y < in.nHeight; ++y)
            for (int32_t x = 0; x < in.nWidth; ++x) {
                long double dSum;
                int64_t nSum;
                int32_t nCount;
                DirectWindowSum(in, x, y, nHalf, nHalf, dSum, nSum, nCount);
                const double dMean = double(nSum) / nCount;
                ASSERT_EQ(out.At(x, y), int32_t(dMean));
                ASSERT_EQ(fraction.At(x, y), int32_t((dMean - int32_t(dMean)) * 256.0));
            }
    }
}

TEST(IpFilterMid, DirectedMeanFollowsTheFieldAndShortensNearBorders)
{
    const int32_t nWidth = 15;
    const int32_t nHeight = 11;
    TpTestPlane<uint8_t> in = RandomPlane<uint8_t>(nWidth, nHeight, 8);
    TpTestPlane<int8_t> dx = RandomPlane<int8_t>(nWidth, nHeight, 9);
    TpTestPlane<int8_t> dy = RandomPlane<int8_t>(nWidth, nHeight, 10);
    for (bool bOrtho : {false, true}) {
        TpTestPlane<uint8_t> out = EmptyPlaneLike(in);
        FilterMid::MeanDirected8(in.Data(), in.nStride, out.Data(), out.nStride, dx.Data(), dx.nStride, dy.Data(),
                                 dy.nStride, nWidth, nHeight, 3, bOrtho);
        for (int32_t y = 0; y < nHeight; ++y)
            for (int32_t x = 0; x < nWidth; ++x) {
                const int32_t nReach = std::min({3, x, nWidth - 1 - x, y, nHeight - 1 - y});
                const int32_t nStepX = bOrtho ? 2 * dy.At(x, y) : 2 * dx.At(x, y);
                const int32_t nStepY = bOrtho ? 2 * dx.At(x, y) : -2 * dy.At(x, y);
                int32_t nSum = 0;
                for (int32_t i = -nReach; i <= nReach; ++i) {
                    const int32_t nPosX = x * 256 + 128 + i * nStepX;
                    const int32_t nPosY = y * 256 + 128 + i * nStepY;
                    nSum += in.At(nPosX / 256, nPosY / 256);
                }
                ASSERT_EQ(out.At(x, y), nSum / (2 * nReach + 1)) << x << "," << y;
            }
    }
}

// An image holding the samples of a test plane.
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
    for (int32_t y = 0; y < plane.nHeight; ++y)
        for (int32_t x = 0; x < plane.nWidth; ++x)
            if (SamplesOf<T>(image)[y * image.SampleStride() + x] != plane.At(x, y))
                return false;
    return true;
}

template <typename TCall>
int32_t FailureCode(TCall call)
{
    try {
        call();
    } catch (const ClException& ex) {
        return ex.GetCode();
    }
    return 0;
}

TEST(IpFilterMid, ProcessorAdaptsTheWidthAndRoutesByTypeAndMode)
{
    // Width 4 runs as 5 and stays 5.
    const TpTestPlane<uint8_t> plane = RandomPlane<uint8_t>(20, 20, 31, 0);
    ClImage in;
    ImageOf(plane, in);
    ClImage out;
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
    TpTestPlane<int16_t> alongRows = EmptyPlaneLike(plane16);
    TpTestPlane<int16_t> both = EmptyPlaneLike(plane16);
    FilterMid::MeanX(plane16.Data(), plane16.nStride, alongRows.Data(), alongRows.nStride, 13, 11, 2);
    FilterMid::MeanY(alongRows.Data(), alongRows.nStride, both.Data(), both.nStride, 13, 11, 2);
    EXPECT_TRUE(SameSamples(out, both));

    // The input as its own output is refused unless the width copies.
    EXPECT_EQ(mean.Run(&in, &in, 5), ZRT_ERROR_BITMAP_PTR);
    EXPECT_TRUE(SameSamples(in, plane));
    EXPECT_EQ(mean.Run(&in, &in, 1), 0);

    // A mode outside the five, for the 8-bit dispatch and for the others.
    mean.SetMode(ClIpFilterBase::EFilterMode(5));
    EXPECT_EQ(FailureCode([&] { mean.Run(&in, &out, 5); }), ZRT_ERROR_PARAM_OUT_OF_RANGE);
    EXPECT_EQ(FailureCode([&] { mean.Run(&in16, &out, 5); }), ZRT_ERROR_PARAM_OUT_OF_RANGE);
    mean.SetMode(ClIpFilterBase::eModeDirected);
    EXPECT_EQ(FailureCode([&] { mean.Run(&in, &out, 5); }), ZRT_ERROR_BAD_POINTER);
    EXPECT_EQ(mean.Run(&in16, &out, 5), ZRT_ERROR_FORMAT_NOTSUPPORTED);
}

TEST(IpFilterMid, ColourImagesAreFilteredPlaneByPlane)
{
    ClImage colour;
    colour.Create(ClImage::uint8, 17, 9, 3, 0, 0, true);
    for (int32_t y = 0; y < 9; ++y)
        for (int32_t i = 0; i < 17 * 3; ++i)
            colour.Data()[y * colour.Stride() + i] = uint8_t((i * 29 + y * 53) % 256);
    ClImage out;
    ClIpFilterMid mean;
    ASSERT_EQ(mean.Run(&colour, &out, 5), 0);
    EXPECT_EQ(out.Planes(), 3);
    EXPECT_EQ(out.Content(), ClImage::eRGB);
    for (int32_t p = 0; p < 3; ++p) {
        ClImage plane;
        ClImage filtered;
        ClImage::GetPlane(colour, p, plane);
        ClIpFilterMid planeMean;
        ASSERT_EQ(planeMean.Run(&plane, &filtered, 5), 0);
        for (int32_t y = 0; y < 9; ++y)
            for (int32_t x = 0; x < 17; ++x)
                ASSERT_EQ(out.Data()[y * out.Stride() + 3 * x + p], filtered.Data()[y * filtered.Stride() + x]);
    }
}

}  // namespace
