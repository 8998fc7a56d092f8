// ClHistogram: counting, rectangles, signed images, ends and means.
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>

#include <gtest/gtest.h>

#include "Exception.h"
#include "imaging/FpImage.h"
#include "imaging/Histogram.h"

namespace {

uint64_t BinTotal(const ClHistogram& histogram)
{
    return std::accumulate(std::begin(histogram.m_aBins), std::end(histogram.m_aBins), uint64_t(0));
}

ClException RaisedBy(ClHistogram& histogram, const ClImage& image, int32_t x0, int32_t y0, int32_t x1, int32_t y1)
{
    try {
        histogram.Create(image, x0, y0, x1, y1);
    } catch (const ClException& ex) {
        return ex;
    }
    ADD_FAILURE() << "no ClException raised";
    return ClException(0, false, "none", 0);
}

TEST(Histogram, CountsAndMeansOfASmallImage)
{
    ClImage image(2, 2);
    image.Data()[0] = 0;
    image.Data()[1] = 0;
    image.Data()[4] = 1;
    image.Data()[5] = 255;
    // Row padding must not be counted.
    image.Data()[2] = image.Data()[3] = image.Data()[6] = image.Data()[7] = 77;

    ClHistogram histogram;
    histogram.Create(image);
    EXPECT_EQ(histogram.m_aBins[0], 2u);
    EXPECT_EQ(histogram.m_aBins[1], 1u);
    EXPECT_EQ(histogram.m_aBins[255], 1u);
    EXPECT_EQ(histogram.m_aBins[77], 0u);
    EXPECT_EQ(histogram.BinOffset(), 0);
    EXPECT_EQ(histogram.GetFirstBin(), 0);
    EXPECT_EQ(histogram.GetLastBin(), 255);

    EXPECT_DOUBLE_EQ(histogram.GetLowerMean(3), 1.0 / 3.0);
    EXPECT_EQ(histogram.GetLowerMean(1), 0.0);
    EXPECT_EQ(histogram.GetLowerMean(4), 64.0);
    EXPECT_EQ(histogram.GetUpperMean(1), 255.0);
    EXPECT_EQ(histogram.GetUpperMean(2), 128.0);
    EXPECT_DOUBLE_EQ(histogram.GetUpperMean(3), 256.0 / 3.0);
    EXPECT_TRUE(std::isnan(histogram.GetLowerMean(0)));
    EXPECT_TRUE(std::isnan(histogram.GetUpperMean(0)));

    for (bool bUpper : {false, true}) {
        try {
            static_cast<void>(bUpper ? histogram.GetUpperMean(5) : histogram.GetLowerMean(5));
            ADD_FAILURE() << "five of four samples accepted";
        } catch (const ClException& ex) {
            EXPECT_EQ(ex.GetCode(), ZRT_ERROR_INVALID_PARAMETER);
            EXPECT_STREQ(ex.GetText(), "One(or more) parameter(s) is(are) invalid.\nAmount of pixels too high.");
        }
    }

    // A second Create starts from empty bins.
    image.Fill<unsigned char>(9);
    histogram.Create(image);
    EXPECT_EQ(histogram.m_aBins[9], 4u);
    EXPECT_EQ(BinTotal(histogram), 4u);
}

TEST(Histogram, EndsSkipTheOuterBinAndSignedImagesShiftByHalf)
{
    ClImage image(5, 3);
    ClHistogram histogram;
    image.Fill<unsigned char>(255);
    histogram.Create(image);
    EXPECT_EQ(histogram.GetFirstBin(), 255);
    EXPECT_EQ(histogram.GetLastBin(), 255);
    image.Fill<unsigned char>(0);
    histogram.Create(image);
    EXPECT_EQ(histogram.GetFirstBin(), 0);
    EXPECT_EQ(histogram.GetLastBin(), 0);

    ClImage signedImage;
    signedImage.Create(ClImage::int8, 5, 3, 1, 0, 0, true);
    signedImage.Fill<unsigned char>(0xFF);  // -1 everywhere
    histogram.Create(signedImage);
    EXPECT_EQ(histogram.BinOffset(), 128);
    EXPECT_EQ(histogram.m_aBins[127], 15u);
    EXPECT_EQ(histogram.GetFirstBin(), -1);
    EXPECT_EQ(histogram.GetLastBin(), -1);
    // Means are in bins, not in values.
    EXPECT_EQ(histogram.GetLowerMean(15), 127.0);

    signedImage.Data()[0] = 0x80;  // -128
    signedImage.Data()[1] = 0x7F;  // 127
    histogram.Create(signedImage);
    EXPECT_EQ(histogram.m_aBins[0], 1u);
    EXPECT_EQ(histogram.m_aBins[255], 1u);
    EXPECT_EQ(histogram.GetFirstBin(), -128);
    EXPECT_EQ(histogram.GetLastBin(), 127);

    // Back to an unsigned image: the offset follows.
    histogram.Create(image);
    EXPECT_EQ(histogram.BinOffset(), 0);
}

TEST(Histogram, RectanglesAreCheckedAsGivenAndThenCutToTheImage)
{
    ClImage image(10, 10);
    image.Fill<unsigned char>(1);
    for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 3; ++x)
            image.Data()[y * image.Stride() + x] = 50;

    ClHistogram histogram;
    histogram.Create(image, -5, -5, 3, 3);
    EXPECT_EQ(histogram.m_aBins[50], 9u);
    EXPECT_EQ(BinTotal(histogram), 9u);

    histogram.Create(image, 2, 1, 100, 4);
    EXPECT_EQ(histogram.m_aBins[50], 2u);
    EXPECT_EQ(BinTotal(histogram), 24u);

    // Ordered corners outside the image pass and count nothing.
    histogram.Create(image, 20, 20, 30, 30);
    EXPECT_EQ(BinTotal(histogram), 0u);
    histogram.Create(image, -9, 0, -1, 10);
    EXPECT_EQ(BinTotal(histogram), 0u);

    for (const auto& corners : {std::array<int32_t, 4>{3, 0, 3, 5}, std::array<int32_t, 4>{0, 4, 5, 2}}) {
        ClException ex = RaisedBy(histogram, image, corners[0], corners[1], corners[2], corners[3]);
        EXPECT_EQ(ex.GetCode(), ZRT_ERROR_INTERNAL);
        EXPECT_STREQ(ex.GetText(), "Internal error.\ninvalid Range in ClHistogram::Create.");
        EXPECT_EQ(BinTotal(histogram), 0u) << "bins are cleared before the check";
    }
    ClImage noWidth;
    noWidth.Create(ClImage::uint8, 0, 5, 1, 0, 0, true);
    EXPECT_STREQ(RaisedBy(histogram, noWidth, 0, 0, 0, 5).GetText(),
                 "Internal error.\ninvalid Range in ClHistogram::Create.");
    EXPECT_THROW(histogram.Create(noWidth), ClException);

    ClImage color(4, 4, 3);
    ClException ex = RaisedBy(histogram, color, 0, 0, 4, 4);
    EXPECT_EQ(ex.GetCode(), ZRT_ERROR_INTERNAL);
    EXPECT_STREQ(ex.GetText(), "Internal error.\nColor-image not supported in ClHistogram::Create.");
    EXPECT_THROW(histogram.Create(ClImage()), ClException);

    // No sample type, so no samples: nothing to count, nothing read.
    ClImage untyped;
    untyped.Create(ClImage::unknown, 4, 4, 1, 0, 0, true);
    histogram.Create(untyped);
    EXPECT_EQ(BinTotal(histogram), 0u);
}

TEST(Histogram, WideSamplesContributeTheLeadingBytesOfEachRow)
{
    ClImage words;
    words.Create(ClImage::uint16, 2, 2, 1, 0, 0, true);
    const uint8_t aRow0[] = {1, 2, 3, 4};
    const uint8_t aRow1[] = {5, 6, 7, 8};
    std::memcpy(words.Data(), aRow0, 4);
    std::memcpy(words.Data() + words.Stride(), aRow1, 4);
    ClHistogram histogram;
    histogram.Create(words);
    EXPECT_EQ(BinTotal(histogram), 4u);
    for (int nByte : {1, 2, 5, 6})
        EXPECT_EQ(histogram.m_aBins[nByte], 1u) << nByte;
}

}  // namespace
