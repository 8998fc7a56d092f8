// Point and border operations: inversion, the look-up table, the 20.12
// stretch table, and the painted frame.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "common/ImageSamples.h"
#include "processors/IpInvert.h"
#include "processors/IpSetBorder.h"
#include "processors/IpStretchRangeGlobal.h"
#include "imaging/SampleDispatch.h"

namespace {

void MakePattern8(ClImage& image, int32_t nWidth, int32_t nHeight, int32_t nPlanes = 1)
{
    image.Create(ClImage::uint8, nWidth, nHeight, nPlanes, 0, 0, true);
    for (int32_t y = 0; y < nHeight; ++y)
        for (int32_t i = 0; i < nWidth * nPlanes; ++i)
            image.Data()[y * image.Stride() + i] = uint8_t(i * 7 + y * 13);
}

// Entries between the ends of the old range lie within one step of the line to the new range, and
// the top end reaches the new top exactly; entries outside the old range stay at the ends.
void ExpectStretchTable(const unsigned char* pTable, int32_t nFrom, int32_t nTo, int32_t nNewFrom, int32_t nNewTo)
{
    for (int32_t i = 0; i < 256; ++i) {
        const double dLine = nNewFrom + double(std::clamp(i, nFrom, nTo) - nFrom) * (nNewTo - nNewFrom) / (nTo - nFrom);
        ASSERT_TRUE(pTable[i] <= dLine + 1 && pTable[i] > dLine - 1) << i << ": " << int(pTable[i]) << " for " << dLine;
    }
    EXPECT_EQ(pTable[nTo], nNewTo);
}

TEST(IpPointOperations, InvertTurnsEveryRangeAround)
{
    ClImage image, original;
    MakePattern8(image, 9, 5);
    MakePattern8(original, 9, 5);
    ClIpInvert invert;
    ASSERT_EQ(invert.Run(&image, &image), 0);
    for (int32_t y = 0; y < 5; ++y)
        for (int32_t x = 0; x < 9; ++x)
            ASSERT_EQ(SampleAt<uint8_t>(image, x, y), 255 - SampleAt<uint8_t>(original, x, y));

    ClImage floating, inverted;
    floating.Create(ClImage::float32, 3, 2, 1, 0, 0, true);
    SamplesOf<float>(floating)[1] = 0.25f;
    ASSERT_EQ(invert.Run(&floating, &inverted), 0);
    EXPECT_EQ(SamplesOf<float>(inverted)[1], -0.25f);
}

TEST(IpPointOperations, StretchTableFromTheHistogramOrTheSettings)
{
    // Samples 10 and 20 only: 10 goes to 0, 20 to 255, the rest in 20.12 steps.
    ClImage image;
    image.Create(ClImage::uint8, 6, 4, 1, 0, 0, true);
    for (int32_t i = 0; i < 6 * 4; ++i)
        image.Data()[(i / 6) * image.Stride() + i % 6] = i % 2 ? 10 : 20;
    ClImage out;
    ClIpStretchRangeGlobal stretch;
    ASSERT_EQ(stretch.Run(&image, &out), 0);
    const unsigned char* pTable = stretch.GetTable();
    ExpectStretchTable(pTable, 10, 20, 0, 255);
    EXPECT_EQ(std::make_tuple(SampleAt<uint8_t>(out, 1, 0), SampleAt<uint8_t>(out, 0, 0)), std::make_tuple(0, 255));

    // A set range skips the histogram; a new range limits the entries.
    stretch.SetOldRange(50, 100);
    stretch.SetNewRange(20, 200);
    ASSERT_EQ(stretch.Run(&image, &out), 0);
    ExpectStretchTable(pTable, 50, 100, 20, 200);

    // A constant image has an empty range: the scale becomes the most
    // negative 32-bit value, whose wrapping steps from 77 on alternate
    // between 0 and that value, so every entry is 0.
    image.Fill<unsigned char>(77);
    stretch.SetOldRange(255, 0);
    stretch.SetNewRange(0, 255);
    ASSERT_EQ(stretch.Run(&image, &out), 0);
    EXPECT_TRUE(std::all_of(pTable, pTable + 256, [](unsigned char entry) { return entry == 0; }));
}

TEST(IpPointOperations, LookUpTableMapsEveryPlaneAndNeedsAnInput)
{
    ClImage colour;
    MakePattern8(colour, 5, 4, 3);
    colour.SetContent(ClImage::eHSV);
    ClImage out;
    ClIpStretchRangeGlobal stretch;
    stretch.SetOldRange(0, 255);
    stretch.SetNewRange(255, 0);  // every entry limited to 0
    ASSERT_EQ(stretch.Run(&colour, &out), 0);
    EXPECT_EQ(std::make_pair(out.Planes(), out.Content()), std::make_pair(3, ClImage::eHSV));
    for (int32_t p = 0; p < 3; ++p)
        EXPECT_EQ(SampleAt<uint8_t>(out, 4, 3, p), 0);

    EXPECT_EQ(CodeOf([&] { stretch.Run(nullptr, &out); }, "m_pInImage is not set."), ZRT_ERROR_PARAM_IS_MISSING);
}

TEST(IpPointOperations, BorderFramesTheImage)
{
    ClImage original;
    MakePattern8(original, 7, 6);
    ClImage out;
    ClIpSetBorder border;
    ASSERT_EQ(border.Run(&original, &out, 2, 9), 0);
    for (int32_t y = 0; y < 6; ++y)
        for (int32_t x = 0; x < 7; ++x) {
            const bool bFrame = x < 2 || y < 2 || x >= 5 || y >= 4;
            ASSERT_EQ(SampleAt<uint8_t>(out, x, y), bFrame ? 9 : SampleAt<uint8_t>(original, x, y)) << x << "," << y;
        }
    // No frame leaves the image; a frame wider than the image paints all of it.
    ClImage image;
    MakePattern8(image, 7, 6);
    ASSERT_EQ(border.Run(&image, &image, 0, 9), 0);
    EXPECT_EQ(SampleAt<uint8_t>(image, 0, 0), SampleAt<uint8_t>(original, 0, 0));
    ASSERT_EQ(border.Run(&image, &image, 50, 9), 0);
    for (int32_t y = 0; y < 6; ++y)
        for (int32_t x = 0; x < 7; ++x)
            ASSERT_EQ(SampleAt<uint8_t>(image, x, y), 9);
}

}  // namespace
