// ClImage: shapes and ranges, buffer reuse and sharing, copies, planes, fills.
#include <cmath>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "common/AllocationCounter.h"
#include "common/ExceptionCode.h"
#include "imaging/FpImage.h"

namespace {

void ExpectResetState(const ClImage& image)
{
    EXPECT_EQ(image.DataType(), ClImage::unknown);
    EXPECT_EQ(image.Width() | image.Height() | image.Planes() | image.AuxX() | image.AuxY() | image.AuxTag(), 0);
    EXPECT_TRUE(image.IsAligned() && image.Data() == nullptr);
    EXPECT_TRUE(std::isnan(image.Min()) && std::isnan(image.Max()));
}

// Sample (x, y, plane) of an 8-bit image becomes x + 10 * y + 100 * plane.
void WritePattern(ClImage& image)
{
    for (int32_t y = 0; y < image.Height(); ++y)
        for (int32_t x = 0; x < image.Width() * image.Planes(); ++x)
            image.Data()[y * image.Stride() + x] = uint8_t(x / image.Planes() + 10 * y + 100 * (x % image.Planes()));
}

TEST(FpImage, ResetStateAndTypeRanges)
{
    ClImage image(5, 4, 3, 7, 8);
    EXPECT_EQ(image.Content(), ClImage::eRGB);
    image.Reset();
    ExpectResetState(image);

    // Each type's own range; floating samples run from -1 to 1.
    const std::pair<ClImage::EDataType, std::pair<double, double>> aRanges[] = {
        {ClImage::uint32, {0, 4294967295.0}}, {ClImage::int8, {-128, 127}}, {ClImage::double64, {-1, 1}}};
    for (const auto& range : aRanges) {
        image.SetRange(range.first);
        EXPECT_EQ(std::make_pair(image.Min(), image.Max()), range.second) << int(range.first);
    }
    for (int nNoType : {0, 3, 201, 255}) {
        image.SetRange(static_cast<ClImage::EDataType>(nNoType));
        EXPECT_TRUE(std::isnan(image.Min()) && std::isnan(image.Max())) << nNoType;
    }
}

TEST(FpImage, CreateRefusesImpossibleShapes)
{
    ClImage image;
    // A refused shape stays in the fields, with the old buffer still attached.
    image.Create(ClImage::uint8, 4, 4, 1, 0, 0, true);
    const uint8_t* pOld = image.Data();
    EXPECT_EQ(CodeOf([&] { image.Create(ClImage::uint16, 4, -1, 1, 0, 0, true); }, "Image area must be positive"),
              ZRT_ERROR_INTERNAL);
    EXPECT_TRUE(image.Height() == -1 && image.Data() == pOld);

    // Two negative sizes make a positive area but no image, and what such a
    // refusal leaves behind never passes for the size of the small buffer.
    image.Create(ClImage::uint8, 4, 4, 1, 0, 0, true);
    EXPECT_THROW(image.Create(ClImage::uint8, -4, -4, 1, 0, 0, true), ClException);
    EXPECT_THROW(image.Create(ClImage::uint8, -100, -100, 1, 0, 0, true), ClException);
    image.Create(ClImage::uint8, 100, 100, 1, 0, 0, true);
    image.Fill<unsigned char>(1);

    // Sizes beyond 32 bits fail as an allocation would and leave the image reset.
    for (int32_t nPlanes : {1, 4}) {
        EXPECT_THROW(image.Create(ClImage::double64, 0x7FFFFFFF, 1 << 20, nPlanes, 0, 0, true), ClExBadAlloc);
        ExpectResetState(image);
    }
}

TEST(FpImage, CreateKeepsAnUnsharedBufferOfTheSameSize)
{
    ClImage image;
    image.Create(ClImage::uint8, 256, 360, 1, 0, 0, true);
    image.Data()[1000] = 77;
    const uint8_t* pBuffer = image.Data();
    {
        ClAllocationCounter counter;
        image.Create(ClImage::uint16, 128, 360, 1, 0, 0, true);  // same bytes
        EXPECT_EQ(counter.Count(), 0);
    }
    EXPECT_EQ(image.Data(), pBuffer);
    EXPECT_EQ(image.Data()[1000], 77);

    // Both sizes are measured with the old alignment flag.
    struct { int32_t nOldW, nOldH; bool bOldAligned; int32_t nNewW, nNewH; bool bNewAligned, bKept; } aCases[] = {
        {3, 4, true, 4, 4, false, true},     // 16 bytes both ways
        {3, 2, true, 2, 4, false, false},    // 8 bytes both ways, but 16 by the old flag
        {1, 24, false, 1, 24, true, false}};  // equal by the old flag, yet aligned rows need 96
    for (const auto& c : aCases) {
        image.Create(ClImage::uint8, c.nOldW, c.nOldH, 1, 0, 0, c.bOldAligned);
        ClAllocationCounter counter;
        image.Create(ClImage::uint8, c.nNewW, c.nNewH, 1, 0, 0, c.bNewAligned);
        EXPECT_EQ(counter.Count() == 0, c.bKept) << c.nOldW << " x " << c.nOldH;
        image.Fill<unsigned char>(9);
    }
}

TEST(FpImage, SharedBuffersOutliveTheirFirstOwnerAndAreNeverReused)
{
    auto pOriginal = std::make_unique<ClImage>(6, 5, 2, 3, 4);
    WritePattern(*pOriginal);
    ClImage shared;
    shared.ShareFrom(*pOriginal);
    const uint8_t* pShared = shared.Data();

    // With two owners even an unchanged size gets a new buffer.
    ClImage other;
    other.ShareFrom(shared);
    other.Create(ClImage::uint8, 6, 5, 2, 3, 4, true);
    EXPECT_NE(other.Data(), pShared);

    pOriginal.reset();
    EXPECT_EQ(shared.Data()[4 * shared.Stride() + 5 * 2 + 1], 5 + 40 + 100);

    // Owners come and go on four threads at once.
    std::vector<std::thread> threads(4);
    for (std::thread& thread : threads)
        thread = std::thread([&shared] { for (int i = 0; i < 2000; ++i) ClImage().ShareFrom(shared); });
    for (std::thread& thread : threads)
        thread.join();
    ClAllocationCounter counter;
    shared.Create(ClImage::uint8, 6, 5, 2, 3, 4, true);
    EXPECT_EQ(counter.Count(), 0) << "the count did not drop back to one owner";
}

TEST(FpImage, CopiesAndSwaps)
{
    ClImage source(5, 3, 1, 11, 12);
    WritePattern(source);
    ClImage copy;
    copy.Create(ClImage::float32, 9, 9, 1, 0, 0, false);
    copy = source;
    EXPECT_EQ(copy.AuxX(), 11);
    EXPECT_EQ(std::memcmp(copy.Data(), source.Data(), 8 * 3), 0);
    copy = copy;

    // An unaligned source keeps every pixel in place in its aligned copy.
    ClImage unaligned;
    unaligned.Create(ClImage::uint8, 5, 3, 1, 0, 0, false);
    WritePattern(unaligned);
    copy = unaligned;
    EXPECT_EQ(copy.Data()[2 * 8 + 4], 4 + 20);

    ClImage wider;
    wider.CreateLikeAs(source, ClImage::int16);
    EXPECT_EQ(CodeOf([&] { wider.CreateLikeAs(wider, ClImage::uint8); },
                     "this function dose not work on the same image."),
              ZRT_ERROR_INVALID_PARAMETER);

    const uint8_t* pSource = source.Data();
    source.Swap(wider);
    EXPECT_EQ(wider.Data(), pSource);
    EXPECT_EQ(wider.Max(), 255.0);
}

TEST(FpImage, GetPlaneCopiesOneChannelOfEachSampleSize)
{
    ClImage rgb(4, 3, 3, 1, 2);
    WritePattern(rgb);
    ClImage plane;
    ClImage::GetPlane(rgb, 2, plane);
    EXPECT_EQ(plane.Data()[2 * 4 + 3], 3 + 20 + 200);

    // Wider samples move bit for bit, a NaN payload included.
    ClImage doubles;
    doubles.Create(ClImage::double64, 3, 2, 2, 0, 0, true);
    for (uint64_t i = 0; i < 12; ++i)
        reinterpret_cast<uint64_t*>(doubles.Data())[i] = 0x7FF0000000000100u + i;  // NaNs with a payload
    ClImage::GetPlane(doubles, 1, plane);
    EXPECT_EQ(reinterpret_cast<const uint64_t*>(plane.Data())[5], 0x7FF0000000000100u + 11);

    // Into itself: the source is read before it is replaced.
    ClImage::GetPlane(rgb, 1, rgb);
    EXPECT_EQ(rgb.Data()[2 * 4 + 3], 3 + 20 + 100);

    EXPECT_EQ(CodeOf([&] { ClImage::GetPlane(rgb, 1, plane); }), ZRT_ERROR_INVALID_PARAMETER);
}

TEST(FpImage, FillChecksTheTypeExceptForZero)
{
    ClImage bytes(3, 2);
    bytes.Fill<unsigned char>(0x5A);
    EXPECT_EQ(bytes.Data()[7], 0x5A) << "padding included";

    ClImage words;
    words.Create(ClImage::uint16, 3, 2, 1, 0, 0, true);
    std::memset(words.Data(), 0xFF, 16);
    words.Fill<unsigned char>(0);
    EXPECT_EQ(words.Data()[15], 0);
    EXPECT_EQ(CodeOf([&] { words.Fill<unsigned char>(5); }, "Image Type is not the assigned type"), ZRT_ERROR_INTERNAL);

    // The 16-bit fill writes samples only and leaves the row padding alone.
    words.Fill<unsigned short>(0xBEEF);
    const uint16_t* pWords = reinterpret_cast<const uint16_t*>(words.Data());
    EXPECT_EQ(std::vector<uint16_t>(pWords, pWords + 8),
              (std::vector<uint16_t>{0xBEEF, 0xBEEF, 0xBEEF, 0, 0xBEEF, 0xBEEF, 0xBEEF, 0}));
}

}  // namespace
