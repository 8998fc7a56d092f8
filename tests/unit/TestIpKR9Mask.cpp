// The mask pipeline against a plain reference written from its definition:
// direct window sums, whole-image scans and the formulas of every stage, on
// uniform, half-pattern, synthetic and real fingerprint frames.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Exception.h"
#include "SyntheticFinger.h"
#include "imaging/IpKR9Mask.h"

namespace {

constexpr int32_t kWidth = 256;
constexpr int32_t kHeight = 360;

// A frame as the reference sees it: width * height samples, row after row.
template <typename T>
struct TpFrame
{
    int32_t nWidth = kWidth;
    int32_t nHeight = kHeight;
    std::vector<T> aSamples;

    T& At(int32_t x, int32_t y) { return aSamples[size_t(y) * nWidth + x]; }
    const T& At(int32_t x, int32_t y) const { return aSamples[size_t(y) * nWidth + x]; }
};

using Frame8 = TpFrame<uint8_t>;
using Frame16 = TpFrame<uint16_t>;

template <typename T>
TpFrame<T> SameShape(const TpFrame<T>& frame)
{
    TpFrame<T> result = frame;
    std::fill(result.aSamples.begin(), result.aSamples.end(), T(0));
    return result;
}

// ---- The reference ---------------------------------------------------------------------

// Sum over the window of half-width h around (x, y), cut at the edges, by direct loops over
// the window's rows and then its columns; and the window's pixel count.
template <typename T>
std::vector<int64_t> DirectWindowSums(const TpFrame<T>& in, int32_t nHalfX, int32_t nHalfY,
                                      std::vector<int32_t>& aCounts)
{
    std::vector<int64_t> aRowSums(in.aSamples.size());
    for (int32_t y = 0; y < in.nHeight; ++y)
        for (int32_t x = 0; x < in.nWidth; ++x) {
            int64_t nSum = 0;
            for (int32_t u = std::max(0, x - nHalfX); u <= std::min(in.nWidth - 1, x + nHalfX); ++u)
                nSum += in.At(u, y);
            aRowSums[size_t(y) * in.nWidth + x] = nSum;
        }
    std::vector<int64_t> aSums(in.aSamples.size());
    aCounts.assign(in.aSamples.size(), 0);
    for (int32_t y = 0; y < in.nHeight; ++y)
        for (int32_t x = 0; x < in.nWidth; ++x) {
            int64_t nSum = 0;
            const int32_t y0 = std::max(0, y - nHalfY);
            const int32_t y1 = std::min(in.nHeight - 1, y + nHalfY);
            for (int32_t v = y0; v <= y1; ++v)
                nSum += aRowSums[size_t(v) * in.nWidth + x];
            const int32_t nColumns = std::min(in.nWidth - 1, x + nHalfX) - std::max(0, x - nHalfX) + 1;
            aSums[size_t(y) * in.nWidth + x] = nSum;
            aCounts[size_t(y) * in.nWidth + x] = nColumns * (y1 - y0 + 1);
        }
    return aSums;
}

// The box mean of the square window, truncating; an odd width of at least 5 that fits the frame.
template <typename T>
TpFrame<T> ReferenceSquareMean(const TpFrame<T>& in, int32_t nWidth)
{
    nWidth |= 1;
    std::vector<int32_t> aCounts;
    const std::vector<int64_t> aSums = DirectWindowSums(in, nWidth / 2, nWidth / 2, aCounts);
    TpFrame<T> out = SameShape(in);
    for (size_t i = 0; i < aSums.size(); ++i)
        out.aSamples[i] = T(aSums[i] / aCounts[i]);
    return out;
}

// The line mean (truncating) of the 16-bit prefilter, one direction.
Frame16 ReferenceLineMean(const Frame16& in, int32_t nHalfX, int32_t nHalfY)
{
    std::vector<int32_t> aCounts;
    const std::vector<int64_t> aSums = DirectWindowSums(in, nHalfX, nHalfY, aCounts);
    Frame16 out = SameShape(in);
    for (size_t i = 0; i < aSums.size(); ++i)
        out.aSamples[i] = uint16_t(aSums[i] / aCounts[i]);
    return out;
}

// Extremes of the central run: (window / 2 * 2)^2 samples straight on from
// the corner of the central square; the whole frame for a negative window.
template <typename T>
void ReferenceCentralRange(const std::vector<T>& aSamples, int32_t nWidth, int32_t nHeight, int32_t nWindow,
                           double dStartMin, double& dMin, double& dMax)
{
    size_t nStart = 0;
    size_t nEnd = aSamples.size();
    if (nWindow >= 0) {
        const int32_t h = nWindow / 2;
        nStart = size_t((nHeight / 2 - h) * nWidth + (nWidth / 2 - h));
        nEnd = nStart + size_t(4 * h * h);
    }
    dMin = dStartMin;
    dMax = 0.0;
    for (size_t i = nStart; i < nEnd; ++i) {
        dMin = std::min(dMin, double(aSamples[i]));
        dMax = std::max(dMax, double(aSamples[i]));
    }
}

Frame8 ReferenceVarianceImage(const Frame8& in, int32_t nFilterWidth, int32_t nLow, int32_t nHigh)
{
    const int32_t h = nFilterWidth / 2;
    std::vector<double> aVariance(in.aSamples.size());
    for (int32_t y = 0; y < in.nHeight; ++y)
        for (int32_t x = 0; x < in.nWidth; ++x) {
            double dSum = 0.0;
            double dSquares = 0.0;
            int32_t n = 0;
            for (int32_t v = std::max(0, y - h); v <= std::min(in.nHeight - 1, y + h); ++v)
                for (int32_t u = std::max(0, x - h); u <= std::min(in.nWidth - 1, x + h); ++u) {
                    const double dValue = in.At(u, v);
                    dSum += dValue;
                    dSquares += dValue * dValue;
                    ++n;
                }
            aVariance[size_t(y) * in.nWidth + x] = (dSquares - dSum * dSum / n) / (n - 1);
        }
    double dMin;
    double dMax;
    ReferenceCentralRange(aVariance, in.nWidth, in.nHeight, -1, DBL_MAX, dMin, dMax);
    if (int32_t(dMax) < nLow)
        nLow = 0;
    if (int32_t(dMin) > nHigh)
        nHigh = int32_t(dMax);
    const double dGain = 255.0 / nHigh;
    Frame8 out = SameShape(in);
    for (size_t i = 0; i < aVariance.size(); ++i) {
        double dValue = aVariance[i];
        if (dValue < nLow)
            dValue = 0.0;
        else if (dValue > nHigh)
            dValue = nHigh;
        out.aSamples[i] = uint8_t(int32_t(dGain * dValue));
    }
    return out;
}

Frame8 ReferenceThreshold(const Frame8& in, int32_t nRadius, double dFactor, int32_t nFloor)
{
    double dMin;
    double dMax;
    ReferenceCentralRange(in.aSamples, in.nWidth, in.nHeight, 2 * nRadius, 255.0, dMin, dMax);
    int32_t nThreshold = int32_t(dMax * dFactor);
    nThreshold = std::min(std::max(nThreshold, nFloor), 255);
    Frame8 out = SameShape(in);
    for (size_t i = 0; i < in.aSamples.size(); ++i)
        out.aSamples[i] = in.aSamples[i] < nThreshold ? 0 : 255;
    return out;
}

Frame8 ReferenceSmoothMask(const Frame8& feature)
{
    const Frame8 first = ReferenceThreshold(ReferenceSquareMean(feature, 49), 49, 0.5, 120);
    return ReferenceThreshold(ReferenceSquareMean(first, 27), 27, 0.5, 120);
}

Frame8 ReferenceCompose(const Frame8& mask, const Frame8& source)
{
    Frame8 out = SameShape(source);
    for (size_t i = 0; i < source.aSamples.size(); ++i)
        out.aSamples[i] = mask.aSamples[i] != 0 ? source.aSamples[i] : 255;
    return out;
}

Frame8 ReferenceEnhanceContrast(const Frame8& in)
{
    std::vector<uint8_t> aSorted = in.aSamples;
    std::sort(aSorted.begin(), aSorted.end());
    const int64_t nTotal = int64_t(aSorted.size());
    const int64_t nWhite = std::count_if(aSorted.begin(), aSorted.end(), [](uint8_t v) { return v >= 254; });
    const int64_t nRest = nTotal - nWhite;
    const int64_t nUpperCount = std::min(nTotal / 4 + nWhite, nTotal);
    int64_t nUpperSum = 0;
    for (int64_t i = 0; i < nUpperCount; ++i)
        nUpperSum += aSorted[size_t(nTotal - 1 - i)];
    const int32_t nUpper = int32_t(double(nUpperSum) / double(nUpperCount));
    int32_t nHigh = int32_t((nUpper * nTotal - 255 * nWhite) / std::max<int64_t>(nRest, 1));
    int64_t nLowSum = 0;
    for (int64_t i = 0; i < nTotal / 16; ++i)
        nLowSum += aSorted[size_t(i)];
    const int32_t nLow = int32_t(double(nLowSum) / double(nTotal / 16));
    nHigh = std::max(nHigh, nLow + 1);
    const int32_t nSpan = std::max(nHigh - nLow, 63);
    const double dGain = 255.0 / nSpan;
    const double dOffset = 255.0 - nHigh * dGain;
    Frame8 out = SameShape(in);
    for (size_t i = 0; i < in.aSamples.size(); ++i) {
        const double dValue = in.aSamples[i] * dGain + dOffset;
        out.aSamples[i] = dValue > 255.0 ? 255 : (dValue <= 0.0 ? 0 : uint8_t(int32_t(dValue)));
    }
    return out;
}

void ReferencePipeline8(const Frame8& frame, Frame8& output, Frame8& mask)
{
    Frame8 work = SameShape(frame);
    for (size_t i = 0; i < frame.aSamples.size(); ++i)
        work.aSamples[i] = uint8_t(255 - frame.aSamples[i]);
    // The background removal subtracts a background that saturates to 0
    // (its minimum less itself): the frame stays as it is.
    for (uint8_t& sample : work.aSamples)
        sample = uint8_t(255 - sample);
    const Frame8 feature = ReferenceThreshold(ReferenceVarianceImage(work, 15, 150, 3000), 15, 0.3, 45);
    mask = ReferenceSmoothMask(feature);
    output = ReferenceEnhanceContrast(ReferenceCompose(mask, work));
}

void ReferencePipeline16(const Frame16& frame, Frame8& output, Frame8& mask)
{
    // 3 wide, in X and then in Y, each truncating.
    const Frame16 prepared = ReferenceLineMean(ReferenceLineMean(frame, 1, 0), 0, 1);

    const auto extremes = std::minmax_element(prepared.aSamples.begin(), prepared.aSamples.end());
    const double dRange = std::min(std::max(double(*extremes.second) - double(*extremes.first), 1.0), 65536.0);
    double dGain = 65536.0 / dRange * 0.00390625;
    if (0.4 <= dGain)
        dGain = 0.4;
    const double dOffset = *extremes.first * dGain;
    Frame8 work;
    work.aSamples.resize(prepared.aSamples.size());
    for (size_t i = 0; i < work.aSamples.size(); ++i)
        work.aSamples[i] = uint8_t(int32_t(prepared.aSamples[i] * dGain - dOffset));

    double dMin;
    double dMax;
    ReferenceCentralRange(work.aSamples, kWidth, kHeight, 30, 255.0, dMin, dMax);
    const uint8_t nLower = uint8_t(int32_t(dMin * 0.95));
    for (uint8_t& sample : work.aSamples)
        sample = sample < nLower ? nLower : std::min(sample, uint8_t(dMax));

    Frame8 feature = ReferenceSquareMean(ReferenceVarianceImage(work, 15, 20, 175), 31);
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth; ++x)
            if (x < 12 || y < 12 || x >= kWidth - 12 || y >= kHeight - 12)
                feature.At(x, y) = 0;
    mask = ReferenceSmoothMask(ReferenceThreshold(feature, 15, 0.4, 35));

    // The occupied bins stretched onto 0 to 255 in 20.12 fixed point.
    int32_t nFirst = 255;
    int32_t nLast = 0;
    for (uint8_t sample : work.aSamples) {
        if (sample < 255)
            nFirst = std::min<int32_t>(nFirst, sample);
        if (sample > 0)
            nLast = std::max<int32_t>(nLast, sample);
    }
    const double dScale = (255 + 0.9 - 0) * 4096.0 / (nLast - nFirst);
    const uint32_t nScale = std::isfinite(dScale) ? uint32_t(int32_t(dScale)) : uint32_t(INT32_MIN);
    // The entries in 32-bit arithmetic that wraps.
    uint8_t aTable[256];
    uint32_t nValue = 0u - uint32_t(nFirst) * nScale;
    for (int32_t i = 0; i < 256; ++i, nValue += nScale)
        aTable[i] = uint8_t(std::min(std::max(int32_t(nValue) >> 12, 0), 255));
    Frame8 stretched = SameShape(work);
    for (size_t i = 0; i < work.aSamples.size(); ++i)
        stretched.aSamples[i] = aTable[work.aSamples[i]];
    output = ReferenceCompose(mask, stretched);
}

// ---- Frames and runs ---------------------------------------------------------------------

template <typename T>
void CopyToImage(const TpFrame<T>& frame, ClImage& image)
{
    image.Create(sizeof(T) == 1 ? ClImage::uint8 : ClImage::uint16, frame.nWidth, frame.nHeight, 1, 0, 0, true);
    for (int32_t y = 0; y < frame.nHeight; ++y)
        std::copy_n(&frame.At(0, y), frame.nWidth, reinterpret_cast<T*>(image.Data() + y * image.Stride()));
}

Frame8 FromImage(const ClImage& image)
{
    Frame8 frame;
    frame.nWidth = image.Width();
    frame.nHeight = image.Height();
    frame.aSamples.resize(size_t(frame.nWidth) * frame.nHeight);
    for (int32_t y = 0; y < frame.nHeight; ++y)
        std::copy_n(image.Data() + y * image.Stride(), frame.nWidth, &frame.At(0, y));
    return frame;
}

struct StPipelineResult
{
    int32_t nStatus = 0;
    Frame8 output;
    Frame8 mask;
};

template <typename T>
StPipelineResult RunPipeline(const TpFrame<T>& frame)
{
    ClImage in;
    CopyToImage(frame, in);
    ClImage out(7, 3);  // another size on purpose: the run makes it the frame's
    ClIpKR9Mask pipeline;
    StPipelineResult result;
    result.nStatus = pipeline.Run(&in, &out);
    EXPECT_EQ(out.DataType(), ClImage::uint8);
    EXPECT_EQ(out.Width(), frame.nWidth);
    EXPECT_EQ(out.Height(), frame.nHeight);
    result.output = FromImage(out);
    result.mask = FromImage(pipeline.m_Mask);
    return result;
}

Frame8 UniformFrame(uint8_t nValue)
{
    Frame8 frame;
    frame.aSamples.assign(size_t(kWidth) * kHeight, nValue);
    return frame;
}

// Dark and bright stripes 8 pixels apart in the left half, a flat grey in the right half.
Frame8 HalfPatternFrame()
{
    Frame8 frame = UniformFrame(180);
    for (int32_t y = 0; y < kHeight; ++y)
        for (int32_t x = 0; x < kWidth / 2; ++x)
            frame.At(x, y) = ((x + y) / 4) % 2 ? 40 : 220;
    return frame;
}

Frame8 SyntheticFingerFrame(uint32_t nSeed)
{
    Frame8 frame = UniformFrame(0);
    RenderSyntheticFinger(frame.aSamples.data(), kWidth / 2, kHeight / 2, nSeed);
    return frame;
}

bool ReadPgmFrame(const std::string& strPath, Frame8& frame)
{
    std::ifstream file(strPath, std::ios::binary);
    std::string strMagic;
    int32_t nWidth = 0;
    int32_t nHeight = 0;
    int32_t nMaxValue = 0;
    file >> strMagic >> nWidth >> nHeight >> nMaxValue;
    file.get();
    if (!file || strMagic != "P5" || nWidth != kWidth || nHeight != kHeight || nMaxValue != 255)
        return false;
    frame = UniformFrame(0);
    file.read(reinterpret_cast<char*>(frame.aSamples.data()), std::streamsize(frame.aSamples.size()));
    return bool(file);
}

void ExpectFramesEqual(const Frame8& actual, const Frame8& expected, const char* pszWhat)
{
    ASSERT_EQ(actual.aSamples.size(), expected.aSamples.size());
    size_t nDifferent = 0;
    size_t nFirst = 0;
    for (size_t i = 0; i < actual.aSamples.size(); ++i)
        if (actual.aSamples[i] != expected.aSamples[i] && nDifferent++ == 0)
            nFirst = i;
    EXPECT_EQ(nDifferent, 0u) << pszWhat << ": first difference at x " << nFirst % kWidth << " y "
                              << nFirst / kWidth << ": " << int(actual.aSamples[nFirst]) << " instead of "
                              << int(expected.aSamples[nFirst]);
}

size_t CountOf(const Frame8& frame, uint8_t nValue)
{
    return size_t(std::count(frame.aSamples.begin(), frame.aSamples.end(), nValue));
}

// ---- Tests -------------------------------------------------------------------------------

TEST(IpKR9Mask, UniformFrameHasNoFingerAndComesOutAs250)
{
    // Variance 0 everywhere, so the mask is empty and the composed image all
    // white; the contrast stage then maps 255 through a span of 63 above 256.
    for (uint8_t nValue : {uint8_t(200), uint8_t(0), uint8_t(255)}) {
        const StPipelineResult result = RunPipeline(UniformFrame(nValue));
        EXPECT_EQ(result.nStatus, 0);
        EXPECT_EQ(CountOf(result.mask, 0), result.mask.aSamples.size()) << int(nValue);
        EXPECT_EQ(CountOf(result.output, 250), result.output.aSamples.size()) << int(nValue);
    }
}

TEST(IpKR9Mask, HalfPatternFrameMasksThePatternAndWhitensTheFlatHalf)
{
    const Frame8 frame = HalfPatternFrame();
    const StPipelineResult result = RunPipeline(frame);
    ASSERT_EQ(result.nStatus, 0);
    for (int32_t y = 40; y < kHeight - 40; ++y) {
        for (int32_t x = 30; x < 100; ++x)
            ASSERT_EQ(result.mask.At(x, y), 255) << x << "," << y;
        for (int32_t x = 160; x < kWidth; ++x) {
            ASSERT_EQ(result.mask.At(x, y), 0) << x << "," << y;
            ASSERT_EQ(result.output.At(x, y), 255) << x << "," << y;
        }
    }
    // Inside the mask the stripes keep their contrast.
    EXPECT_LT(result.output.At(64, 180), 60);
    Frame8 output;
    Frame8 mask;
    ReferencePipeline8(frame, output, mask);
    ExpectFramesEqual(result.mask, mask, "mask");
    ExpectFramesEqual(result.output, output, "output");
}

TEST(IpKR9Mask, RealAndSyntheticFingerprintsMatchTheReferenceToTheBit)
{
    std::vector<std::pair<std::string, Frame8>> aFrames;
    for (const char* pszName : {"arch", "loop-right", "tented_arch", "whorl"}) {
        Frame8 frame;
        ASSERT_TRUE(ReadPgmFrame(std::string(KR9_TESTDATA_DIR) + "/nist/" + pszName + ".pgm", frame)) << pszName;
        aFrames.emplace_back(pszName, frame);
    }
    aFrames.emplace_back("synthetic", SyntheticFingerFrame(7));
    for (const auto& named : aFrames) {
        SCOPED_TRACE(named.first);
        const StPipelineResult result = RunPipeline(named.second);
        ASSERT_EQ(result.nStatus, 0);
        Frame8 output;
        Frame8 mask;
        ReferencePipeline8(named.second, output, mask);
        ExpectFramesEqual(result.mask, mask, "mask");
        ExpectFramesEqual(result.output, output, "output");
        // A finger was found, and what lies outside it is white.
        EXPECT_GT(CountOf(result.mask, 255), result.mask.aSamples.size() / 5);
        for (size_t i = 0; i < result.mask.aSamples.size(); ++i) {
            if (result.mask.aSamples[i] == 0) {
                ASSERT_EQ(result.output.aSamples[i], 255);
            }
        }
    }
}

TEST(IpKR9Mask, SixteenBitPathMatchesTheReferenceToTheBit)
{
    // A real print and the half pattern, spread over 16 bits with a slope of
    // 3 per count plus a ramp, so that the 8-bit conversion stretches.
    std::vector<std::pair<std::string, Frame8>> aFrames;
    Frame8 print;
    ASSERT_TRUE(ReadPgmFrame(std::string(KR9_TESTDATA_DIR) + "/nist/whorl.pgm", print));
    aFrames.emplace_back("whorl", print);
    aFrames.emplace_back("half pattern", HalfPatternFrame());
    for (const auto& named : aFrames) {
        SCOPED_TRACE(named.first);
        Frame16 frame;
        frame.aSamples.resize(named.second.aSamples.size());
        for (size_t i = 0; i < frame.aSamples.size(); ++i)
            frame.aSamples[i] = uint16_t(1000 + 3 * named.second.aSamples[i] + (i % kWidth));
        const StPipelineResult result = RunPipeline(frame);
        ASSERT_EQ(result.nStatus, 0);
        Frame8 output;
        Frame8 mask;
        ReferencePipeline16(frame, output, mask);
        ExpectFramesEqual(result.mask, mask, "mask");
        ExpectFramesEqual(result.output, output, "output");
        EXPECT_GT(CountOf(result.mask, 255), 0u);
    }

    // A uniform 16-bit frame converts to 0 everywhere: no finger, all white.
    Frame16 flat;
    flat.aSamples.assign(size_t(kWidth) * kHeight, uint16_t(1000));
    const StPipelineResult result = RunPipeline(flat);
    EXPECT_EQ(CountOf(result.mask, 0), result.mask.aSamples.size());
    EXPECT_EQ(CountOf(result.output, 255), result.output.aSamples.size());
}

TEST(IpKR9Mask, TheThresholdLooksOnlyAtTheStraightRunFromTheCentralCorner)
{
    // The threshold scan of radius 15 reads 900 samples from (113, 165): rows
    // 165 to 168. A strong pattern in rows 180 to 190 of the centre lies
    // beyond the reach of the variance window (7 rows) from there, so the
    // floor of 45 is the threshold; the same pattern on rows 160 to 170
    // raises it to 0.3 of the maximum. A scan of the central square would
    // see the first pattern too.
    Frame8 below = UniformFrame(128);
    Frame8 across = UniformFrame(128);
    for (int32_t x = 100; x < 156; ++x) {
        for (int32_t y = 180; y < 191; ++y)
            below.At(x, y) = (x % 2) ? 0 : 255;
        for (int32_t y = 160; y < 171; ++y)
            across.At(x, y) = (x % 2) ? 0 : 255;
    }
    for (const Frame8* pFrame : {&below, &across}) {
        Frame8 output;
        Frame8 mask;
        ReferencePipeline8(*pFrame, output, mask);
        const StPipelineResult result = RunPipeline(*pFrame);
        ExpectFramesEqual(result.mask, mask, "mask");
        ExpectFramesEqual(result.output, output, "output");
    }
}

TEST(IpKR9Mask, RefusesWrongTypesAndMissingImages)
{
    ClIpKR9Mask pipeline;
    ClImage in;
    ClImage out(4, 4);
    auto expectFailure = [&](int32_t nCode, const char* pszText) {
        try {
            pipeline.Run(&in, &out);
            ADD_FAILURE() << "no failure, expected " << nCode;
        } catch (const ClException& ex) {
            EXPECT_EQ(ex.GetCode(), nCode);
            if (pszText != nullptr) {
                EXPECT_NE(std::string(ex.GetText()).find(pszText), std::string::npos) << ex.GetText();
            }
        }
    };
    // A 16-bit output is refused on entry.
    in.Create(ClImage::uint16, 16, 16, 1, 0, 0, true);
    out.Create(ClImage::uint16, 16, 16, 1, 0, 0, true);
    expectFailure(ZRT_ERROR_PARAM_OUT_OF_RANGE, nullptr);
    // Types other than uint8 and uint16 are refused by the input check.
    in.Create(ClImage::int16, 16, 16, 1, 0, 0, true);
    out.Create(ClImage::uint8, 16, 16, 1, 0, 0, true);
    expectFailure(ZRT_ERROR_FORMAT_NOTSUPPORTED, "Input pixel type \"int16\" not supported by processor.");
    // No output image.
    in.Create(ClImage::uint8, 16, 16, 1, 0, 0, true);
    try {
        pipeline.Run(&in, nullptr);
        ADD_FAILURE() << "no failure without output";
    } catch (const ClException& ex) {
        EXPECT_EQ(ex.GetCode(), ZRT_ERROR_BAD_POINTER);
        EXPECT_NE(std::string(ex.GetText()).find("Output image not assigned"), std::string::npos);
    }
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

    // The same frame run in place gives what a separate output gets.
    const Frame8 finger = SyntheticFingerFrame(3);
    const StPipelineResult separate = RunPipeline(finger);
    ClImage frame;
    CopyToImage(finger, frame);
    ClIpKR9Mask pipeline;
    ASSERT_EQ(pipeline.Run(&frame, &frame), 0);
    ExpectFramesEqual(FromImage(frame), separate.output, "in place");
    ExpectFramesEqual(FromImage(pipeline.m_Mask), separate.mask, "mask in place");
}

}  // namespace
