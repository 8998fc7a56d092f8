// The mask pipeline end to end: its output and mask on real and synthetic
// frames against digests of output that was checked once, bit for bit, with a
// brute-force model of every stage. A digest that changes means the pipeline's
// result changed; if that is intended, check the new images and update it.
// On thousands of generated frames the processors' vector loops must give
// the bytes of their plain loops.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/ExceptionCode.h"
#include "emulator/SyntheticFinger.h"
#include "processors/FastPaths.h"
#include "processors/IpKR9Mask.h"

namespace {

constexpr int32_t kWidth = 256;
constexpr int32_t kHeight = 360;
using Samples = std::vector<uint8_t>;

// 64-bit FNV-1a over the visible samples of an 8-bit image, row by row.
uint64_t DigestOf(const ClImage& image)
{
    uint64_t nHash = 14695981039346656037ull;
    for (int32_t y = 0; y < image.Height(); ++y)
        for (int32_t x = 0; x < image.Width(); ++x)
            nHash = (nHash ^ image.Data()[y * image.Stride() + x]) * 1099511628211ull;
    return nHash;
}

// A frame of kWidth x kHeight in 8 bits, or spread over 16 bits with a slope
// of 3 per count plus a ramp, so that the 8-bit conversion stretches.
void ImageOf(const Samples& frame, bool bSixteenBit, ClImage& image)
{
    image.Create(bSixteenBit ? ClImage::uint16 : ClImage::uint8, kWidth, kHeight, 1, 0, 0, true);
    for (size_t i = 0; i < frame.size(); ++i) {
        uint8_t* pSample = image.Data() + (i / kWidth) * image.Stride();
        if (bSixteenBit)
            reinterpret_cast<uint16_t*>(pSample)[i % kWidth] = uint16_t(1000 + 3 * frame[i] + (i % kWidth));
        else
            pSample[i % kWidth] = frame[i];
    }
}

Samples PgmFrame(const char* pszName)
{
    std::ifstream file(std::string(KR9_TESTDATA_DIR) + "/nist/" + pszName + ".pgm", std::ios::binary);
    std::string strMagic;
    int32_t nWidth = 0, nHeight = 0, nMaxValue = 0;
    file >> strMagic >> nWidth >> nHeight >> nMaxValue;
    file.get();
    Samples frame(size_t(kWidth) * kHeight);
    file.read(reinterpret_cast<char*>(frame.data()), std::streamsize(frame.size()));
    EXPECT_TRUE(file && strMagic == "P5" && nWidth == kWidth && nHeight == kHeight && nMaxValue == 255) << pszName;
    return frame;
}

Samples SyntheticFrame(uint32_t nSeed)
{
    Samples frame(size_t(kWidth) * kHeight);
    RenderSyntheticFinger(frame.data(), kWidth / 2, kHeight / 2, nSeed);
    return frame;
}

// A frame of one value, with the samples in the rectangle [x0, x1) x [y0, y1) set by pattern(x, y).
Samples PatternFrame(uint8_t nValue, int32_t x0, int32_t x1, int32_t y0, int32_t y1,
                     const std::function<uint8_t(int32_t, int32_t)>& pattern)
{
    Samples frame(size_t(kWidth) * kHeight, nValue);
    for (int32_t y = y0; y < y1; ++y)
        for (int32_t x = x0; x < x1; ++x)
            frame[size_t(y) * kWidth + x] = pattern(x, y);
    return frame;
}

TEST(IpKR9Mask, OutputAndMaskMatchTheVerifiedDigests)
{
    // Dark and bright stripes 8 pixels apart in the left half, a flat grey in the right half.
    const auto stripes = [](int32_t x, int32_t y) { return uint8_t(((x + y) / 4) % 2 ? 40 : 220); };
    const Samples halfPattern = PatternFrame(180, 0, kWidth / 2, 0, kHeight, stripes);
    // The threshold scan of radius 15 reads the 900 samples straight on from
    // (113, 165), rows 165 to 168: a strong pattern on rows 180 to 190 lies
    // beyond the variance window's reach from there (the floor sets the
    // threshold), the same pattern on rows 160 to 170 raises it.
    const auto columns = [](int32_t x, int32_t) { return uint8_t(x % 2 ? 0 : 255); };
    const struct
    {
        const char* pszName;
        Samples frame;
        bool bSixteenBit;
        uint64_t nOutput;
        uint64_t nMask;
    } aCases[] = {
        {"arch", PgmFrame("arch"), false, 0xec810ad9a26b0c91ull, 0x5af6c83deabbc3d1ull},
        {"loop-right", PgmFrame("loop-right"), false, 0xac9ccd87123574aeull, 0x1ba16f8be2d9e606ull},
        {"tented_arch", PgmFrame("tented_arch"), false, 0xe0b0fb3582738feaull, 0x599c0525e8658074ull},
        {"whorl", PgmFrame("whorl"), false, 0xe3a2833fb7752ec1ull, 0xf04f97a0cb2e0b4eull},
        {"synthetic", SyntheticFrame(7), false, 0xf440dc69074ea809ull, 0x2ab82c22dc642be5ull},
        {"half pattern", halfPattern, false, 0x9757e5a601355e65ull, 0xbf88328460787ff5ull},
        {"pattern below the scan", PatternFrame(128, 100, 156, 180, 191, columns), false, 0xb24e32c36d321131ull,
         0xea47ca8d490fe291ull},
        {"pattern across the scan", PatternFrame(128, 100, 156, 160, 171, columns), false, 0x18a2b792ae52b0d1ull,
         0xac75edadbf62c76dull},
        // No variance: an empty mask, and white mapped through a span of 63 above 256 (250).
        {"uniform 0", Samples(size_t(kWidth) * kHeight, 0), false, 0x4cd2164509e4e325ull, 0x9ab4e008dd5a4325ull},
        {"uniform 255", Samples(size_t(kWidth) * kHeight, 255), false, 0x4cd2164509e4e325ull, 0x9ab4e008dd5a4325ull},
        {"whorl in 16 bits", PgmFrame("whorl"), true, 0x26411e2ef54cfe03ull, 0x90d823e03e030936ull},
        {"half pattern in 16 bits", halfPattern, true, 0xb73b89e5472e476full, 0x61815b20e587a451ull},
        {"uniform in 16 bits", Samples(size_t(kWidth) * kHeight, 0), true, 0xc850103d09c4eb25ull,
         0x9ab4e008dd5a4325ull},
    };
    for (const auto& test : aCases) {
        SCOPED_TRACE(test.pszName);
        ClImage in;
        ImageOf(test.frame, test.bSixteenBit, in);
        ClImage out(7, 3);  // another size on purpose: the run makes it the frame's
        ClIpKR9Mask pipeline;
        ASSERT_EQ(pipeline.Run(&in, &out), 0);
        ASSERT_EQ(out.DataType(), ClImage::uint8);
        ASSERT_EQ(out.Width(), kWidth);
        ASSERT_EQ(out.Height(), kHeight);
        EXPECT_EQ(DigestOf(out), test.nOutput) << std::hex << "0x" << DigestOf(out) << "ull";
        EXPECT_EQ(DigestOf(pipeline.m_Mask), test.nMask) << std::hex << "0x" << DigestOf(pipeline.m_Mask) << "ull";
    }
}

TEST(IpKR9Mask, RefusesWrongTypesAndMissingImages)
{
    ClIpKR9Mask pipeline;
    ClImage in;
    ClImage out;
    std::string strText;
    // A 16-bit output is refused on entry; types other than uint8 and uint16 by the input check.
    in.Create(ClImage::uint16, 16, 16, 1, 0, 0, true);
    out.Create(ClImage::uint16, 16, 16, 1, 0, 0, true);
    EXPECT_EQ(CodeOf([&] { pipeline.Run(&in, &out); }), ZRT_ERROR_PARAM_OUT_OF_RANGE);
    in.Create(ClImage::int16, 16, 16, 1, 0, 0, true);
    out.Create(ClImage::uint8, 16, 16, 1, 0, 0, true);
    EXPECT_EQ(CodeOf([&] { pipeline.Run(&in, &out); }, &strText), ZRT_ERROR_FORMAT_NOTSUPPORTED);
    EXPECT_NE(strText.find("Input pixel type \"int16\" not supported by processor."), std::string::npos) << strText;
    in.Create(ClImage::uint8, 16, 16, 1, 0, 0, true);
    EXPECT_EQ(CodeOf([&] { pipeline.Run(&in, nullptr); }, &strText), ZRT_ERROR_BAD_POINTER);
    EXPECT_NE(strText.find("Output image not assigned"), std::string::npos) << strText;
}

TEST(IpKR9Mask, SmallOddFramesAndTheFrameAsItsOwnOutputAreSafe)
{
    // Frames narrower than the windows, widths with row padding, and the
    // input as the output: no fault, an output of the input's size.
    for (const auto& size : {std::pair<int32_t, int32_t>{5, 7}, {33, 21}, {101, 77}}) {
        ClImage frame;
        frame.Create(ClImage::uint8, size.first, size.second, 1, 0, 0, true);
        for (int32_t y = 0; y < size.second; ++y)
            for (int32_t x = 0; x < size.first; ++x)
                frame.Data()[y * frame.Stride() + x] = uint8_t((x * 37 + y * 11) % 251);
        ClIpKR9Mask pipeline;
        EXPECT_EQ(pipeline.Run(&frame, &frame), 0);
        EXPECT_EQ(frame.Width(), size.first);
        EXPECT_EQ(frame.Height(), size.second);
        EXPECT_EQ(pipeline.m_Mask.Width(), size.first);
    }

    // A finger run in place gives what a separate output gets.
    ClImage in, out(7, 3), frame;
    ImageOf(SyntheticFrame(3), false, in);
    ImageOf(SyntheticFrame(3), false, frame);
    ClIpKR9Mask separate, inPlace;
    ASSERT_EQ(separate.Run(&in, &out), 0);
    ASSERT_EQ(inPlace.Run(&frame, &frame), 0);
    EXPECT_EQ(DigestOf(frame), DigestOf(out));
    EXPECT_EQ(DigestOf(inPlace.m_Mask), DigestOf(separate.m_Mask));
}

// Frames under a sanitizer run many times slower: fewer of them there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int32_t kGeneratedFrames = 150;
#else
constexpr int32_t kGeneratedFrames = 2000;
#endif

// A generated frame: ridges of random period, direction, level and contrast
// (none, tiny, strong, far beyond the range and so saturated) with noise in
// an ellipse on a background, at the sensor's size, above and below the
// subtraction table's 90000 pixels, and tiny; every fourth one in 16 bits.
// The widths leave no row padding, which the stages would read as samples.
void GeneratedFrame(std::mt19937& random, int32_t nFrame, ClImage& frame)
{
    const int32_t aSizes[][2] = {{kWidth, kHeight}, {300, 308}, {96, 61}, {24, 17}};
    const int32_t nWidth = aSizes[nFrame % 4][0], nHeight = aSizes[nFrame % 4][1];
    const auto uniform = [&](double dLow, double dHigh) { return std::uniform_real_distribution<>(dLow, dHigh)(random); };
    const double aContrasts[] = {0.0, 1.0, 3.0, 40.0, 120.0, 2000.0};
    const double dContrast = aContrasts[random() % 6], dNoise = uniform(0.0, 1.0) < 0.5 ? 0.0 : uniform(0.0, 40.0);
    const double dLevel = uniform(0.0, 255.0), dPeriod = uniform(4.0, 16.0), dAngle = uniform(0.0, 3.2);
    const double dBackground = uniform(0.0, 1.0) < 0.5 ? 255.0 : uniform(0.0, 255.0);
    const double dCenterX = uniform(0.2, 0.8) * nWidth, dCenterY = uniform(0.2, 0.8) * nHeight;
    const double dRadiusX = uniform(0.1, 0.7) * nWidth, dRadiusY = uniform(0.1, 0.7) * nHeight;
    const bool bSixteenBit = nFrame % 4 == 3;
    frame.Create(bSixteenBit ? ClImage::uint16 : ClImage::uint8, nWidth, nHeight, 1, 0, 0, true);
    for (int32_t y = 0; y < nHeight; ++y)
        for (int32_t x = 0; x < nWidth; ++x) {
            const double dX = (x - dCenterX) / dRadiusX, dY = (y - dCenterY) / dRadiusY;
            double dValue = dBackground;
            if (dX * dX + dY * dY < 1.0)
                dValue = dLevel + dContrast * std::sin((x * std::cos(dAngle) + y * std::sin(dAngle)) * 6.283 / dPeriod) +
                         uniform(-dNoise, dNoise);
            const int32_t nValue = std::clamp(int32_t(dValue), 0, 255);
            uint8_t* pRow = frame.Data() + int64_t(y) * frame.Stride();
            if (bSixteenBit)
                reinterpret_cast<uint16_t*>(pRow)[x] = uint16_t(nValue * 200 + 1000 + x);
            else
                pRow[x] = uint8_t(nValue);
        }
}

bool SameSamples(const ClImage& first, const ClImage& second)
{
    if (first.Width() != second.Width() || first.Height() != second.Height())
        return false;
    for (int32_t y = 0; y < first.Height(); ++y)
        if (std::memcmp(first.Data() + int64_t(y) * first.Stride(), second.Data() + int64_t(y) * second.Stride(),
                        size_t(first.Width())) != 0)
            return false;
    return true;
}

TEST(IpKR9Mask, VectorLoopsGiveThePlainLoopsBytesOnGeneratedFrames)
{
    // The switch is the processors' own: restored however the test ends.
    struct StWidestLoops
    {
        ~StWidestLoops() { FastPaths::SetLoops(FastPaths::ELoops::eWidest); }
    } restore;
    std::mt19937 random(20261123);
    for (int32_t nFrame = 0; nFrame < kGeneratedFrames; ++nFrame) {
        ClImage frame, plainOut(1, 1);
        GeneratedFrame(random, nFrame, frame);
        ClIpKR9Mask plain;
        FastPaths::SetLoops(FastPaths::ELoops::ePlain);
        ASSERT_EQ(plain.Run(&frame, &plainOut), 0);
        for (const auto eLoops : {FastPaths::ELoops::eSse2, FastPaths::ELoops::eWidest}) {
            ClImage out(1, 1);
            ClIpKR9Mask pipeline;
            FastPaths::SetLoops(eLoops);
            ASSERT_EQ(pipeline.Run(&frame, &out), 0);
            ASSERT_TRUE(SameSamples(out, plainOut)) << "output of frame " << nFrame << ", loops " << int(eLoops);
            ASSERT_TRUE(SameSamples(pipeline.m_Mask, plain.m_Mask)) << "mask of frame " << nFrame;
        }
    }
}

}  // namespace
