// Local variance: the two-pass running sums against direct window sums.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "Exception.h"
#include "RandomSamples.h"
#include "imaging/IpFilterVariance.h"
#include "imaging/SampleDispatch.h"

namespace {

// The sample variance of the cut window around (x, y), summed directly in double.
template <typename T>
double DirectVariance(const TpTestPlane<T>& in, int32_t x, int32_t y, int32_t nHalf)
{
    double dSum = 0.0;
    double dSquares = 0.0;
    int32_t nCount = 0;
    for (int32_t v = std::max(0, y - nHalf); v <= std::min(in.nHeight - 1, y + nHalf); ++v)
        for (int32_t u = std::max(0, x - nHalf); u <= std::min(in.nWidth - 1, x + nHalf); ++u) {
            const double dValue = in.At(u, v);
            dSum += dValue;
            dSquares += dValue * dValue;
            ++nCount;
        }
    return (dSquares - dSum * dSum / nCount) / (nCount - 1);
}

TEST(IpFilterVariance, EightBitVarianceIsBitExactToDirectDoubleSumsForEveryWidth)
{
    const TpTestPlane<uint8_t> in = RandomPlane<uint8_t>(37, 29, 41);
    for (int32_t nWidth = 1; nWidth <= 61; ++nWidth) {
        const int32_t nHalf = nWidth / 2;
        TpTestPlane<double> fast = RandomPlane<double>(37, 29, 1);
        TpTestPlane<double> generic = fast;
        FilterVariance::Variance8ToDouble(in.Data(), in.nStride, fast.Data(), fast.nStride, in.nWidth, in.nHeight,
                                          nHalf);
        FilterVariance::Variance<uint8_t, double>(in.Data(), in.nStride, generic.Data(), generic.nStride, in.nWidth,
                                                  in.nHeight, nHalf);
        for (int32_t y = 0; y < in.nHeight; ++y)
            for (int32_t x = 0; x < in.nWidth; ++x) {
                const double dExpected = DirectVariance(in, x, y, nHalf);
                if (nHalf == 0) {
                    // One pixel: 0 / 0.
                    ASSERT_TRUE(std::isnan(fast.At(x, y)));
                    ASSERT_TRUE(std::isnan(generic.At(x, y)));
                    continue;
                }
                // Sums of 8-bit samples are exact in double: equal to the bit.
                ASSERT_EQ(fast.At(x, y), dExpected) << x << "," << y << " w" << nWidth;
                ASSERT_EQ(generic.At(x, y), dExpected) << x << "," << y << " w" << nWidth;
            }
    }
}

TEST(IpFilterVariance, OtherTypePairsFollowTheSameWindows)
{
    const TpTestPlane<int16_t> in = RandomPlane<int16_t>(19, 13, 7);
    TpTestPlane<float> asFloat = RandomPlane<float>(19, 13, 8);
    FilterVariance::Variance<int16_t, float>(in.Data(), in.nStride, asFloat.Data(), asFloat.nStride, in.nWidth,
                                             in.nHeight, 2);
    for (int32_t y = 0; y < in.nHeight; ++y)
        for (int32_t x = 0; x < in.nWidth; ++x) {
            const double dExpected = DirectVariance(in, x, y, 2);
            ASSERT_NEAR(asFloat.At(x, y), dExpected, std::fabs(dExpected) * 1e-3) << x << "," << y;
        }

    // Integer outputs sum and divide in their own width; small samples stay exact.
    TpTestPlane<uint8_t> small = RandomPlane<uint8_t>(11, 9, 3);
    for (uint8_t& sample : small.aSamples)
        sample %= 8;
    TpTestPlane<int32_t> asInt = RandomPlane<int32_t>(11, 9, 4);
    FilterVariance::Variance<uint8_t, int32_t>(small.Data(), small.nStride, asInt.Data(), asInt.nStride, 11, 9, 1);
    for (int32_t y = 0; y < 9; ++y)
        for (int32_t x = 0; x < 11; ++x) {
            int32_t nSum = 0;
            int32_t nSquares = 0;
            int32_t nCount = 0;
            for (int32_t v = std::max(0, y - 1); v <= std::min(8, y + 1); ++v)
                for (int32_t u = std::max(0, x - 1); u <= std::min(10, x + 1); ++u) {
                    nSum += small.At(u, v);
                    nSquares += small.At(u, v) * small.At(u, v);
                    ++nCount;
                }
            ASSERT_EQ(asInt.At(x, y), (nSquares - nSum * nSum / nCount) / (nCount - 1)) << x << "," << y;
        }

    // A constant image has no variance, in the corners (n = (h + 1)^2) as well.
    TpTestPlane<uint8_t> flat = small;
    std::fill(flat.aSamples.begin(), flat.aSamples.end(), uint8_t(77));
    TpTestPlane<double> flatVariance = RandomPlane<double>(11, 9, 5);
    FilterVariance::Variance8ToDouble(flat.Data(), flat.nStride, flatVariance.Data(), flatVariance.nStride, 11, 9, 3);
    for (int32_t y = 0; y < 9; ++y)
        for (int32_t x = 0; x < 11; ++x)
            ASSERT_EQ(flatVariance.At(x, y), 0.0);

    // One-pixel windows of an integer output give 0 instead of dividing by zero.
    FilterVariance::Variance<uint8_t, int32_t>(small.Data(), small.nStride, asInt.Data(), asInt.nStride, 11, 9, 0);
    EXPECT_EQ(asInt.At(5, 5), 0);
}

TEST(IpFilterVariance, ProcessorShapesTheOutputAndRefusesColourImages)
{
    ClImage in;
    in.Create(ClImage::uint8, 12, 10, 1, 5, 6, true);
    for (int32_t i = 0; i < 120; ++i)
        in.Data()[(i / 12) * in.Stride() + i % 12] = uint8_t(i * 7);
    ClImage out(3, 3);
    ClIpFilterVariance variance;
    variance.SetFilterWidth(5);
    ASSERT_EQ(variance.Run(&in, &out), 0);
    EXPECT_EQ(out.DataType(), ClImage::double64);
    EXPECT_EQ(out.Width(), 12);
    EXPECT_EQ(out.AuxY(), 6);
    TpTestPlane<uint8_t> plane;
    plane.nWidth = 12;
    plane.nHeight = 10;
    plane.nStride = in.Stride();
    plane.aSamples.assign(in.Data(), in.Data() + in.Stride() * 10);
    EXPECT_EQ(SamplesOf<double>(out)[4 * out.SampleStride() + 7], DirectVariance(plane, 7, 4, 2));

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
    try {
        variance.Run(&colour, &out);
        ADD_FAILURE() << "colour image accepted";
    } catch (const ClException& ex) {
        EXPECT_EQ(ex.GetCode(), ZRT_ERROR_INVALID_PARAMETER);
        EXPECT_NE(std::string(ex.GetText()).find("Input image has too many planes."), std::string::npos);
    }
}

}  // namespace
