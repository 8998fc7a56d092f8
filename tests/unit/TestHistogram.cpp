// ClHistogram: counting, rectangles, signed images, ends and means.
#include <cmath>
#include <cstring>
#include <numeric>
#include <string>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "imaging/FpImage.h"
#include "imaging/Histogram.h"

namespace {

uint64_t BinTotal(const ClHistogram& histogram)
{
    return std::accumulate(std::begin(histogram.m_aBins), std::end(histogram.m_aBins), uint64_t(0));
}

TEST(Histogram, CountsAndMeansOfASmallImage)
{
    ClImage image(2, 2);
    const uint8_t aRows[] = {0, 0, 77, 77, 1, 255, 77, 77};  // 77: row padding, not counted
    std::memcpy(image.Data(), aRows, sizeof(aRows));
    ClHistogram histogram;
    histogram.Create(image);
    EXPECT_EQ(histogram.m_aBins[0], 2u);
    EXPECT_EQ(BinTotal(histogram), 4u);
    EXPECT_EQ(std::make_pair(histogram.GetFirstBin(), histogram.GetLastBin()), std::make_pair(0, 255));
    EXPECT_DOUBLE_EQ(histogram.GetLowerMean(3), 1.0 / 3.0);
    EXPECT_EQ(histogram.GetUpperMean(1), 255.0);
    EXPECT_DOUBLE_EQ(histogram.GetUpperMean(3), 256.0 / 3.0);
    EXPECT_TRUE(std::isnan(histogram.GetLowerMean(0)) && std::isnan(histogram.GetUpperMean(0)));
    EXPECT_EQ(CodeOf([&] { histogram.GetUpperMean(5); }, "Amount of pixels too high."), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(CodeOf([&] { histogram.GetLowerMean(5); }, "Amount of pixels too high."), ZRT_ERROR_INVALID_PARAMETER);

    // The outer bins are not looked at by the end searches.
    image.Fill<unsigned char>(255);
    histogram.Create(image);
    EXPECT_EQ(histogram.m_aBins[255], 4u);
    EXPECT_EQ(BinTotal(histogram), 4u) << "a second Create starts from empty bins";
    EXPECT_EQ(histogram.GetFirstBin(), 255);
    image.Fill<unsigned char>(0);
    histogram.Create(image);
    EXPECT_EQ(histogram.GetLastBin(), 0);
}

TEST(Histogram, SignedImagesShiftTheirBinsByHalf)
{
    ClImage image;
    image.Create(ClImage::int8, 5, 3, 1, 0, 0, true);
    image.Fill<unsigned char>(0xFF);  // -1 everywhere
    ClHistogram histogram;
    histogram.Create(image);
    EXPECT_EQ(histogram.BinOffset(), 128);
    EXPECT_EQ(histogram.m_aBins[127], 15u);
    EXPECT_EQ(histogram.GetFirstBin(), -1);

    image.Data()[0] = 0x80;  // -128
    image.Data()[1] = 0x7F;  // 127
    histogram.Create(image);
    EXPECT_EQ(std::make_pair(histogram.GetFirstBin(), histogram.GetLastBin()), std::make_pair(-128, 127));

    histogram.Create(ClImage(2, 2));
    EXPECT_EQ(histogram.BinOffset(), 0);
}

TEST(Histogram, RectanglesAreCheckedAsGivenAndThenCutToTheImage)
{
    ClImage image(10, 10);
    image.Fill<unsigned char>(1);
    for (int32_t y = 0; y < 3; ++y)
        std::memset(image.Data() + y * image.Stride(), 50, 3);
    ClHistogram histogram;
    histogram.Create(image, -5, -5, 3, 3);
    EXPECT_EQ(histogram.m_aBins[50], 9u);
    EXPECT_EQ(BinTotal(histogram), 9u);
    histogram.Create(image, 2, 1, 100, 4);
    EXPECT_EQ(histogram.m_aBins[50], 2u);
    EXPECT_EQ(BinTotal(histogram), 24u);

    // Ordered corners outside the image pass and count nothing.
    histogram.Create(image, -9, 0, -1, 10);
    EXPECT_EQ(BinTotal(histogram), 0u);

    // Refusals: empty or reversed rectangles, an empty image, a colour image; the bins are cleared first.
    histogram.Create(image);
    const char* pszRange = "invalid Range in ClHistogram::Create.";
    EXPECT_EQ(CodeOf([&] { histogram.Create(image, 3, 0, 3, 5); }, pszRange), ZRT_ERROR_INTERNAL);
    EXPECT_EQ(BinTotal(histogram), 0u);
    EXPECT_EQ(CodeOf([&] { histogram.Create(image, 0, 4, 5, 2); }, pszRange), ZRT_ERROR_INTERNAL);
    EXPECT_EQ(CodeOf([&] { histogram.Create(ClImage(0, 5), 0, 0, 0, 5); }, pszRange), ZRT_ERROR_INTERNAL);
    EXPECT_EQ(CodeOf([&] { histogram.Create(ClImage(4, 4, 3), 0, 0, 4, 4); }, "Color-image not supported"),
              ZRT_ERROR_INTERNAL);

    // No sample type means no samples: nothing is read.
    ClImage untyped;
    untyped.Create(ClImage::unknown, 4, 4, 1, 0, 0, true);
    histogram.Create(untyped);
    EXPECT_EQ(BinTotal(histogram), 0u);
}

}  // namespace
