// Box mean: the running-sum kernels against window sums by direct loops.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include "RandomSamples.h"
#include "imaging/IpFilterMid.h"

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

template <typename T>
void CheckLineMeansOfAllWidths()
{
    const TpTestPlane<T> in = RandomPlane<T>(37, 29, 17);
    for (int32_t nWidth = 1; nWidth <= 61; ++nWidth) {
        const int32_t nHalf = nWidth / 2;
        TpTestPlane<T> out = EmptyPlaneLike(in);
        FilterMid::MeanX(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHalf);
        ExpectDirectMean(in, out, nHalf, 0, "X");
        FilterMid::MeanY(in.Data(), in.nStride, out.Data(), out.nStride, in.nWidth, in.nHeight, nHalf);
        ExpectDirectMean(in, out, 0, nHalf, "Y");
    }
}

TEST(IpFilterMid, LineMeansMatchDirectWindowSumsForEveryTypeAndWidth)
{
    CheckLineMeansOfAllWidths<uint8_t>();
    CheckLineMeansOfAllWidths<int8_t>();
    CheckLineMeansOfAllWidths<uint16_t>();
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
            // A rounded mean, never more than one step from the true mean.
            EXPECT_NEAR(double(out.At(x, y)), double(nSum) / nCount, 1.0);
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

}  // namespace
