// ClImage: shapes and ranges, buffer reuse and sharing, copies, planes, fills.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "AllocationCounter.h"
#include "Exception.h"
#include "imaging/FpImage.h"

namespace {

uint64_t BitsOf(double dValue)
{
    uint64_t nBits = 0;
    std::memcpy(&nBits, &dValue, sizeof(nBits));
    return nBits;
}

void ExpectResetState(const ClImage& image)
{
    EXPECT_EQ(image.DataType(), ClImage::unknown);
    EXPECT_EQ(image.Content(), ClImage::eUnknown);
    EXPECT_EQ(image.Width(), 0);
    EXPECT_EQ(image.Height(), 0);
    EXPECT_EQ(image.Planes(), 0);
    EXPECT_EQ(image.AuxX(), 0);
    EXPECT_EQ(image.AuxY(), 0);
    EXPECT_EQ(image.AuxTag(), 0);
    EXPECT_TRUE(image.IsAligned());
    EXPECT_EQ(image.Data(), nullptr);
    EXPECT_EQ(BitsOf(image.Min()), 0x7FF8000000000000u);
    EXPECT_EQ(BitsOf(image.Max()), 0x7FF8000000000000u);
}

// Writes x + 10 * y + 100 * plane into every sample of an 8-bit image.
void WritePattern(ClImage& image)
{
    for (int32_t y = 0; y < image.Height(); ++y)
        for (int32_t x = 0; x < image.Width(); ++x)
            for (int32_t p = 0; p < image.Planes(); ++p)
                image.Data()[y * image.Stride() + x * image.Planes() + p] = uint8_t(x + 10 * y + 100 * p);
}

template <typename TCall>
ClException CatchClException(TCall call)
{
    try {
        call();
    } catch (const ClException& ex) {
        return ex;
    }
    ADD_FAILURE() << "no ClException raised";
    return ClException(0, false, "none", 0);
}

TEST(FpImage, ResetStateAndTypeRanges)
{
    ClImage image;
    ExpectResetState(image);

    ClImage shaped(5, 4, 3, 7, 8);
    EXPECT_EQ(shaped.DataType(), ClImage::uint8);
    EXPECT_EQ(shaped.Content(), ClImage::eRGB);
    EXPECT_EQ(shaped.AuxX(), 7);
    EXPECT_EQ(shaped.AuxY(), 8);
    EXPECT_NE(shaped.Data(), nullptr);
    shaped.Reset();
    ExpectResetState(shaped);

    struct {
        ClImage::EDataType eType;
        double dMin;
        double dMax;
    } const aRanges[] = {
        {ClImage::uint8, 0, 255},
        {ClImage::uint16, 0, 65535},
        {ClImage::uint32, 0, 4294967295.0},
        {ClImage::int8, -128, 127},
        {ClImage::int16, -32768, 32767},
        {ClImage::int32, -2147483648.0, 2147483647.0},
        {ClImage::float32, -1, 1},
        {ClImage::double64, -1, 1},
    };
    for (const auto& range : aRanges) {
        image.SetRange(range.eType);
        EXPECT_EQ(image.Min(), range.dMin) << int(range.eType);
        EXPECT_EQ(image.Max(), range.dMax) << int(range.eType);
    }
    for (int nNoType : {0, 3, 201, 255}) {
        image.SetRange(static_cast<ClImage::EDataType>(nNoType));
        EXPECT_TRUE(std::isnan(image.Min())) << nNoType;
        EXPECT_TRUE(std::isnan(image.Max())) << nNoType;
    }
}

TEST(FpImage, CreateLaysOutRowsAndRefusesImpossibleShapes)
{
    ClImage image;
    image.Create(ClImage::uint8, 3, 3, 1, 0, 0, true);
    EXPECT_EQ(image.Stride(), 4);
    EXPECT_EQ(image.Content(), ClImage::eGrayscale);
    // The whole padded area belongs to the image.
    std::memset(image.Data(), 0xAB, 12);

    image.Create(ClImage::uint16, 3, 2, 1, 0, 0, true);
    EXPECT_EQ(image.Stride(), 8);
    EXPECT_EQ(image.SampleStride(), 4);
    image.Create(ClImage::uint16, 3, 2, 1, 0, 0, false);
    EXPECT_EQ(image.Stride(), 6);
    image.Create(ClImage::double64, 3, 2, 4, 0, 0, true);
    EXPECT_EQ(image.Stride(), 96);
    EXPECT_EQ(image.SampleStride(), 12);
    EXPECT_EQ(image.Content(), ClImage::eRGBA);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(image.Data()) % 8, 0u);
    image.Create(ClImage::uint8, 3, 2, 2, 0, 0, true);
    EXPECT_EQ(image.Content(), ClImage::eUnknown);

    // No area: no buffer, but the shape is kept.
    image.Create(ClImage::uint8, 0, 10, 1, 0, 0, true);
    EXPECT_EQ(image.Data(), nullptr);
    EXPECT_EQ(image.Content(), ClImage::eGrayscale);
    EXPECT_EQ(image.Height(), 10);

    // A negative height or row length is refused; the fields already hold the
    // refused shape and the old buffer stays attached.
    image.Create(ClImage::uint8, 4, 4, 1, 0, 0, true);
    const uint8_t* pOld = image.Data();
    ClException ex = CatchClException([&] { image.Create(ClImage::uint16, 4, -1, 1, 0, 0, true); });
    EXPECT_EQ(ex.GetCode(), ZRT_ERROR_INTERNAL);
    EXPECT_STREQ(ex.GetText(), "Internal error.\nImage area must be positive");
    EXPECT_STREQ(ex.GetFile(), "Unknown");
    EXPECT_EQ(ex.GetLine(), -1);
    EXPECT_EQ(image.Height(), -1);
    EXPECT_EQ(image.DataType(), ClImage::uint16);
    EXPECT_EQ(image.Data(), pOld);
    image.Fill<unsigned char>(0);
    EXPECT_EQ(CatchClException([&] { image.Create(ClImage::uint8, -1, 1, 1, 0, 0, true); }).GetCode(),
              ZRT_ERROR_INTERNAL);

    // Two negative sizes multiply to a positive area, but are no image; and the
    // shape such a refusal leaves behind never passes for the size of the
    // small buffer still attached.
    image.Create(ClImage::uint8, 4, 4, 1, 0, 0, true);
    EXPECT_EQ(CatchClException([&] { image.Create(ClImage::uint8, -4, -4, 1, 0, 0, true); }).GetCode(),
              ZRT_ERROR_INTERNAL);
    EXPECT_THROW(image.Create(ClImage::uint8, -100, -100, 1, 0, 0, true), ClException);
    {
        ClAllocationCounter counter;
        image.Create(ClImage::uint8, 100, 100, 1, 0, 0, true);
        EXPECT_GE(counter.Count(), 1);
    }
    image.Fill<unsigned char>(1);
    EXPECT_EQ(image.Data()[9999], 1);

    // Sizes beyond 32 bits cannot be allocated; the image is left reset.
    for (int32_t nPlanes : {1, 4}) {
        try {
            image.Create(ClImage::double64, 0x7FFFFFFF, 1 << 20, nPlanes, 0, 0, true);
            ADD_FAILURE() << "oversized image accepted";
        } catch (const ClExBadAlloc& badAlloc) {
            EXPECT_EQ(badAlloc.GetCode(), ZRT_ERROR_OUT_OF_MEMORY);
        }
        ExpectResetState(image);
    }
    EXPECT_THROW(image.Create(ClImage::uint8, 65536, 65536, 1, 0, 0, true), ClExBadAlloc);
}

TEST(FpImage, CreateKeepsAnUnsharedBufferOfTheSameSize)
{
    ClImage image;
    image.Create(ClImage::uint8, 256, 360, 1, 0, 0, true);
    image.Data()[1000] = 77;
    const uint8_t* pBuffer = image.Data();
    {
        ClAllocationCounter counter;
        image.Create(ClImage::uint8, 256, 360, 1, 0, 0, true);
        // Same bytes in another shape and type count as the same size.
        image.Create(ClImage::uint16, 128, 360, 1, 0, 0, true);
        image.Create(ClImage::uint8, 256, 360, 1, 0, 0, true);
        EXPECT_EQ(counter.Count(), 0);
    }
    EXPECT_EQ(image.Data(), pBuffer);
    EXPECT_EQ(image.Data()[1000], 77);

    // 8 x 2 to 4 x 4 keeps buffer and samples.
    image.Create(ClImage::uint8, 8, 2, 1, 0, 0, true);
    WritePattern(image);
    pBuffer = image.Data();
    image.Create(ClImage::uint8, 4, 4, 1, 0, 0, true);
    EXPECT_EQ(image.Data(), pBuffer);
    EXPECT_EQ(image.Data()[3 * 4 + 1], 5 + 10 * 1);  // was pixel (5, 1)

    ClAllocationCounter counter;
    image.Create(ClImage::uint8, 5, 4, 1, 0, 0, true);
    EXPECT_GE(counter.Count(), 1);
}

TEST(FpImage, CreateMeasuresTheNewSizeWithTheOldAlignment)
{
    ClImage image;
    // Aligned 3 x 4 (rows of 4) to unaligned 4 x 4: 16 bytes both ways, kept.
    image.Create(ClImage::uint8, 3, 4, 1, 0, 0, true);
    const uint8_t* pBuffer = image.Data();
    {
        ClAllocationCounter counter;
        image.Create(ClImage::uint8, 4, 4, 1, 0, 0, false);
        EXPECT_EQ(counter.Count(), 0);
    }
    EXPECT_EQ(image.Data(), pBuffer);
    EXPECT_FALSE(image.IsAligned());

    // Aligned 3 x 2 (8 bytes) to unaligned 2 x 4 (8 bytes): measured with the
    // old flag the new rows take 4 bytes, 16 in all, so a new buffer is made.
    image.Create(ClImage::uint8, 3, 2, 1, 0, 0, true);
    {
        ClAllocationCounter counter;
        image.Create(ClImage::uint8, 2, 4, 1, 0, 0, false);
        EXPECT_GE(counter.Count(), 1);
    }

    // Unaligned 1 x 24 to aligned 1 x 24: equal by the old flag, but the
    // aligned rows need 96 bytes; the buffer must not be kept.
    image.Create(ClImage::uint8, 1, 24, 1, 0, 0, false);
    {
        ClAllocationCounter counter;
        image.Create(ClImage::uint8, 1, 24, 1, 0, 0, true);
        EXPECT_GE(counter.Count(), 1);
    }
    image.Fill<unsigned char>(9);
    EXPECT_EQ(image.Data()[95], 9);
}

TEST(FpImage, SharedBuffersOutliveTheirFirstOwnerAndAreNeverReused)
{
    auto pOriginal = std::make_unique<ClImage>(6, 5, 2, 3, 4);
    WritePattern(*pOriginal);
    ClImage shared;
    shared.ShareFrom(*pOriginal);
    EXPECT_EQ(shared.Data(), pOriginal->Data());
    EXPECT_EQ(shared.Planes(), 2);
    EXPECT_EQ(shared.AuxY(), 4);
    pOriginal->Data()[0] = 200;
    EXPECT_EQ(shared.Data()[0], 200);

    // With two owners even an unchanged size gets a new buffer.
    ClImage other;
    other.ShareFrom(shared);
    const uint8_t* pShared = shared.Data();
    other.Create(ClImage::uint8, 6, 5, 2, 3, 4, true);
    EXPECT_NE(other.Data(), pShared);

    pOriginal.reset();
    EXPECT_EQ(shared.Data(), pShared);
    EXPECT_EQ(shared.Data()[0], 200);
    EXPECT_EQ(shared.Data()[4 * shared.Stride() + 5 * 2 + 1], 5 + 40 + 100);

    shared.ShareFrom(shared);
    EXPECT_EQ(shared.Data(), pShared);

    // The reference count is shared between threads.
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&shared] {
            for (int i = 0; i < 2000; ++i) {
                ClImage alias;
                alias.ShareFrom(shared);
            }
        });
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
    EXPECT_EQ(copy.DataType(), ClImage::uint8);
    EXPECT_EQ(copy.Width(), 5);
    EXPECT_EQ(copy.AuxX(), 11);
    EXPECT_TRUE(copy.IsAligned());
    EXPECT_NE(copy.Data(), source.Data());
    EXPECT_EQ(std::memcmp(copy.Data(), source.Data(), size_t(source.Stride()) * 3), 0);
    const uint8_t* pCopy = copy.Data();
    copy = copy;
    EXPECT_EQ(copy.Data(), pCopy);
    EXPECT_EQ(copy.Data()[2 * 8 + 4], 24);

    // An unaligned source keeps every pixel in place.
    ClImage unaligned;
    unaligned.Create(ClImage::uint8, 5, 3, 1, 0, 0, false);
    WritePattern(unaligned);
    copy = unaligned;
    EXPECT_EQ(copy.Stride(), 8);
    for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 5; ++x)
            EXPECT_EQ(copy.Data()[y * 8 + x], x + 10 * y);

    ClImage like;
    like.CreateLike(source);
    EXPECT_EQ(like.Width(), 5);
    EXPECT_EQ(like.AuxY(), 12);
    EXPECT_NE(like.Data(), source.Data());

    ClImage wider;
    wider.CreateLikeAs(source, ClImage::int16);
    EXPECT_EQ(wider.DataType(), ClImage::int16);
    EXPECT_EQ(wider.Stride(), 12);
    EXPECT_EQ(wider.Min(), -32768.0);
    EXPECT_EQ(wider.AuxX(), 11);
    ClException ex = CatchClException([&] { wider.CreateLikeAs(wider, ClImage::uint8); });
    EXPECT_EQ(ex.GetCode(), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_STREQ(ex.GetText(), "One(or more) parameter(s) is(are) invalid.\nthis function dose not work on the same image.");
    EXPECT_EQ(wider.DataType(), ClImage::int16);

    const uint8_t* pSource = source.Data();
    const uint8_t* pWider = wider.Data();
    source.Swap(wider);
    EXPECT_EQ(source.Data(), pWider);
    EXPECT_EQ(source.DataType(), ClImage::int16);
    EXPECT_EQ(wider.Data(), pSource);
    EXPECT_EQ(wider.DataType(), ClImage::uint8);
    EXPECT_EQ(wider.Max(), 255.0);
    wider.Swap(wider);
    EXPECT_EQ(wider.Data(), pSource);
}

TEST(FpImage, GetPlaneCopiesOneChannelOfEachSampleSize)
{
    ClImage rgb(4, 3, 3, 1, 2);
    WritePattern(rgb);
    ClImage plane;
    ClImage::GetPlane(rgb, 2, plane);
    EXPECT_EQ(plane.Planes(), 1);
    EXPECT_EQ(plane.Content(), ClImage::eGrayscale);
    EXPECT_EQ(plane.AuxX(), 1);
    EXPECT_EQ(plane.Stride(), 4);
    for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 4; ++x)
            EXPECT_EQ(plane.Data()[y * 4 + x], x + 10 * y + 200);

    // Wider samples move bit for bit, including a NaN payload.
    ClImage doubles;
    doubles.Create(ClImage::double64, 3, 2, 2, 0, 0, true);
    double* pDoubles = reinterpret_cast<double*>(doubles.Data());
    for (int i = 0; i < 12; ++i)
        pDoubles[i] = 0.5 * i;
    uint64_t nPayloadNaN = 0x7FF0000000000123u;
    std::memcpy(&pDoubles[11], &nPayloadNaN, sizeof(double));
    ClImage::GetPlane(doubles, 1, plane);
    EXPECT_EQ(plane.DataType(), ClImage::double64);
    const double* pPlane = reinterpret_cast<const double*>(plane.Data());
    EXPECT_EQ(pPlane[0], 0.5);
    EXPECT_EQ(pPlane[4], 0.5 * 9);
    EXPECT_EQ(BitsOf(pPlane[5]), nPayloadNaN);

    ClImage shorts;
    shorts.Create(ClImage::int16, 3, 2, 2, 0, 0, true);
    int16_t* pShorts = reinterpret_cast<int16_t*>(shorts.Data());
    for (int y = 0; y < 2; ++y)
        for (int i = 0; i < 6; ++i)
            pShorts[y * shorts.SampleStride() + i] = int16_t(-1000 * y - i);
    ClImage::GetPlane(shorts, 0, plane);
    EXPECT_EQ(plane.SampleStride(), 4);
    EXPECT_EQ(reinterpret_cast<const int16_t*>(plane.Data())[4 + 2], -1004);

    // Into itself: the source is read before it is replaced.
    ClImage::GetPlane(rgb, 1, rgb);
    EXPECT_EQ(rgb.Planes(), 1);
    EXPECT_EQ(rgb.Data()[2 * 4 + 3], 3 + 20 + 100);

    // A missing plane is refused; an image without sample type leaves the target alone.
    EXPECT_EQ(CatchClException([&] { ClImage::GetPlane(rgb, 1, plane); }).GetCode(), ZRT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(CatchClException([&] { ClImage::GetPlane(rgb, -1, plane); }).GetCode(), ZRT_ERROR_INVALID_PARAMETER);
    ClImage none;
    ClImage::GetPlane(none, 0, plane);
    EXPECT_EQ(plane.DataType(), ClImage::int16);
}

TEST(FpImage, FillChecksTheTypeExceptForZero)
{
    ClImage bytes(3, 2);
    EXPECT_EQ(&bytes.Fill<unsigned char>(0x5A), &bytes);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(bytes.Data()[i], 0x5A) << "padding included, byte " << i;
    ClImage signedBytes;
    signedBytes.Create(ClImage::int8, 2, 2, 1, 0, 0, true);
    signedBytes.Fill<unsigned char>(0x80);
    EXPECT_EQ(reinterpret_cast<const int8_t*>(signedBytes.Data())[3], -128);

    ClImage words;
    words.Create(ClImage::uint16, 3, 2, 1, 0, 0, true);
    std::memset(words.Data(), 0xFF, 16);
    words.Fill<unsigned char>(0);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(words.Data()[i], 0) << i;
    ClException ex = CatchClException([&] { words.Fill<unsigned char>(5); });
    EXPECT_EQ(ex.GetCode(), ZRT_ERROR_INTERNAL);
    EXPECT_STREQ(ex.GetText(), "Internal error.\nImage Type is not the assigned type");

    // The 16-bit fill writes samples only and leaves the row padding alone.
    words.Fill<unsigned short>(0xBEEF);
    const uint16_t* pWords = reinterpret_cast<const uint16_t*>(words.Data());
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(pWords[y * 4 + x], 0xBEEF);
        EXPECT_EQ(pWords[y * 4 + 3], 0) << "padding of row " << y;
    }
    words.Fill<unsigned short>(0);
    EXPECT_EQ(pWords[4], 0);
    EXPECT_EQ(CatchClException([&] { bytes.Fill<unsigned short>(3); }).GetCode(), ZRT_ERROR_INTERNAL);
    ClImage signedWords;
    signedWords.Create(ClImage::int16, 2, 2, 1, 0, 0, true);
    EXPECT_THROW(signedWords.Fill<unsigned short>(1), ClException);

    ClImage empty;
    empty.Fill<unsigned char>(0);
    empty.Fill<unsigned short>(0);
    EXPECT_THROW(empty.Fill<unsigned char>(1), ClException);
}

}  // namespace
