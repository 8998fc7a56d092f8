// Splitting interleaved images into planes and joining them back.
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "common/ImageSamples.h"
#include "processors/IpJoinPlanes.h"
#include "processors/IpSplitPlanes.h"
#include "imaging/SampleDispatch.h"

namespace {

// Sample (x, y, p) of a 16-bit image is 1000 p + 10 y + x.
void MakeColour16(ClImage& image, int32_t nWidth, int32_t nHeight, int32_t nPlanes)
{
    image.Create(ClImage::uint16, nWidth, nHeight, nPlanes, 3, 4, true);
    for (int32_t y = 0; y < nHeight; ++y)
        for (int32_t x = 0; x < nWidth; ++x)
            for (int32_t p = 0; p < nPlanes; ++p)
                SamplesOf<uint16_t>(image)[y * image.SampleStride() + x * nPlanes + p] = uint16_t(1000 * p + 10 * y + x);
}

TEST(IpPlanes, SplitThenJoinGivesTheImageBack)
{
    ClImage colour;
    MakeColour16(colour, 5, 3, 3);
    ClImage aPlanes[4];
    aPlanes[3].Create(ClImage::uint8, 2, 2, 1, 0, 0, true);
    ClIpSplitPlanes split;
    ASSERT_EQ(split.Run(&colour, &aPlanes[0], &aPlanes[1], &aPlanes[2], &aPlanes[3]), 0);
    for (int32_t p = 0; p < 3; ++p)
        EXPECT_EQ(std::make_tuple(aPlanes[p].Planes(), aPlanes[p].AuxX(), SampleAt<uint16_t>(aPlanes[p], 4, 2)),
                  std::make_tuple(1, 3, 1000 * p + 24));
    // Beyond the input's planes the entry keeps what it held.
    EXPECT_EQ(aPlanes[3].Width(), 2);

    ClImage joined;
    ClIpJoinPlanes join;
    join.SetOutContent(ClImage::eHSV);
    ASSERT_EQ(join.Run(&joined, &aPlanes[0], &aPlanes[1], &aPlanes[2], nullptr), 0);
    EXPECT_EQ(std::make_pair(joined.Content(), joined.Planes()), std::make_pair(ClImage::eHSV, 3));
    for (int32_t y = 0; y < 3; ++y)
        EXPECT_EQ(std::memcmp(SamplesOf<uint16_t>(joined) + y * joined.SampleStride(),
                              SamplesOf<uint16_t>(colour) + y * colour.SampleStride(), 5 * 3 * sizeof(uint16_t)), 0);

    ClImage tooMany;
    tooMany.Create(ClImage::uint8, 2, 2, 5, 0, 0, true);
    EXPECT_EQ(CodeOf([&] { split.Run(&tooMany, &aPlanes[0], nullptr, nullptr, nullptr); },
                     "Image has more than 4 planes."),
              ZRT_ERROR_PARAM_OUT_OF_RANGE);
}

TEST(IpPlanes, JoinFillsEmptyPlanesAndKnowsWhichContentsItCanJoin)
{
    ClImage colour;
    MakeColour16(colour, 4, 2, 3);
    ClImage aPlanes[3];
    ClIpSplitPlanes split;
    ASSERT_EQ(split.Run(&colour, &aPlanes[0], &aPlanes[1], &aPlanes[2], nullptr), 0);

    ClImage joined;
    ClIpJoinPlanes join;
    join.SetOutContent(ClImage::eRGBA);
    join.SetFillColor(1, 128.0);
    ASSERT_EQ(join.Run(&joined, &aPlanes[0], nullptr, &aPlanes[2], nullptr), 0);
    EXPECT_EQ(std::make_pair(joined.Content(), joined.Planes()), std::make_pair(ClImage::eRGBA, 4));
    // The default fill is NaN, whose truncation keeps 0 in the low bits.
    const auto at = [&](int32_t p) { return SampleAt<uint16_t>(joined, 3, 1, p); };
    EXPECT_EQ(std::make_tuple(at(0), at(1), at(2), at(3)), std::make_tuple(13, 128, 2013, 0));

    // eXYZ and eCIELab cannot be joined; the output stays as it was.
    for (ClImage::EContent eContent : {ClImage::eXYZ, ClImage::eCIELab}) {
        join.SetOutContent(eContent);
        EXPECT_EQ(join.Run(&joined, &aPlanes[0], &aPlanes[1], &aPlanes[2], nullptr), ZRT_ERROR_PARAM_OUT_OF_RANGE);
        EXPECT_EQ(joined.Planes(), 4);
    }
    // eUnknown takes the plane count, 0 by default: nothing happens.
    join.SetOutContent(ClImage::eUnknown);
    ClImage untouched;
    EXPECT_EQ(join.Run(&untouched, &aPlanes[0], &aPlanes[1], nullptr, nullptr), 0);
    EXPECT_EQ(untouched.Data(), nullptr);
    join.SetPlaneCount(2);
    ASSERT_EQ(join.Run(&untouched, &aPlanes[0], &aPlanes[1], nullptr, nullptr), 0);
    EXPECT_EQ(std::make_pair(untouched.Planes(), int(SampleAt<uint16_t>(untouched, 2, 1, 1))), std::make_pair(2, 1012));

    // Planes of another sample type are refused before anything is written.
    ClImage other;
    other.Create(ClImage::uint8, 4, 2, 1, 0, 0, true);
    EXPECT_EQ(join.Run(&untouched, &aPlanes[0], &other, nullptr, nullptr), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(SampleAt<uint16_t>(untouched, 2, 1, 1), 1012);
}

}  // namespace
