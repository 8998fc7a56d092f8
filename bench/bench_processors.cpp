// Per-frame costs of the image processors at the sensor's size of 256 x 360:
// the whole mask pipeline on a synthetic finger, the 8-bit path and each of
// its stages on the four NIST prints and the synthetic finger, and each
// processor alone. The filters run at several widths to show that their cost
// per pixel does not depend on the width.
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>

#include <benchmark/benchmark.h>

#include "emulator/SyntheticFinger.h"
#include "imaging/FpImage.h"
#include "processors/IpAdd.h"
#include "processors/IpFilterMid.h"
#include "processors/IpFilterMin.h"
#include "processors/IpFilterVariance.h"
#include "processors/IpInvert.h"
#include "processors/IpKR9Mask.h"
#include "processors/IpStretchRangeGlobal.h"
#include "processors/IpSubtract.h"

namespace {

constexpr int32_t kWidth = 256;
constexpr int32_t kHeight = 360;
constexpr int64_t kPixels = int64_t(kWidth) * kHeight;

void FingerFrame(ClImage& frame)
{
    frame.Create(ClImage::uint8, kWidth, kHeight, 1, 0, 0, true);
    RenderSyntheticFinger(frame.Data(), kWidth / 2, kHeight / 2, 7);
}

void SetPixelCounters(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * kPixels);
}

// The whole pipeline, one instance for many frames, as the capture thread has it.
void TimePipeline(benchmark::State& state, ClImage& frame)
{
    ClImage out(kWidth, kHeight);
    ClIpKR9Mask pipeline;
    for (auto _ : state) {
        pipeline.Run(&frame, &out);
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
}

void BM_KR9Mask8Bit(benchmark::State& state)
{
    ClImage frame;
    FingerFrame(frame);
    TimePipeline(state, frame);
}
BENCHMARK(BM_KR9Mask8Bit)->Unit(benchmark::kMicrosecond);

// The 8-bit path's stages, each on what the stages before it made of the
// frame, with the pipeline's settings. Each writes to an image of its own, so
// that every round starts from the same input.
class ClStagedMask : public ClIpKR9Mask
{
public:
    explicit ClStagedMask(ClImage& frame) : m_Frame(frame)
    {
        for (ClImage* pImage : {&m_Work, &m_Variance, &m_Threshold, &m_Mask8, &m_Result, &m_Out, &m_Scratch})
            pImage->Create(ClImage::uint8, kWidth, kHeight, 1, 0, 0, true);
        m_Invert.Run(&m_Frame, &m_Work);
        RemoveBackground(m_Work, m_Work, 15, false);
        m_Invert.Run(&m_Work, &m_Work);
        BuildVarianceImage(m_Work, m_Variance, 15, 150, 3000);
        ThresholdCentral(m_Variance, m_Threshold, true, 15, 0.3, 45);
        SmoothMask(m_Threshold, m_Mask8, 49, 27);
        Compose(m_Result, m_Mask8, m_Work);
        EnhanceContrast(m_Result, m_Out);
    }

    // The stages in the pipeline's order; the inversion runs twice per frame.
    static constexpr const char* kStages[] = {"Invert",           "RemoveBackground", "BuildVarianceImage",
                                              "ThresholdCentral", "SmoothMask",       "Compose",
                                              "EnhanceContrast"};

    void RunStage(size_t nStage)
    {
        switch (nStage) {
        case 0:
            m_Invert.Run(&m_Frame, &m_Scratch);
            break;
        case 1:
            RemoveBackground(m_Work, m_Scratch, 15, false);
            break;
        case 2:
            BuildVarianceImage(m_Work, m_Scratch, 15, 150, 3000);
            break;
        case 3:
            ThresholdCentral(m_Variance, m_Scratch, true, 15, 0.3, 45);
            break;
        case 4:
            SmoothMask(m_Threshold, m_Scratch, 49, 27);
            break;
        case 5:
            Compose(m_Scratch, m_Mask8, m_Work);
            break;
        default:
            EnhanceContrast(m_Result, m_Scratch);
        }
    }

private:
    ClImage& m_Frame;
    ClImage m_Work, m_Variance, m_Threshold, m_Mask8, m_Result, m_Out, m_Scratch;
    ClIpInvert m_Invert;
};

// The NIST print of that name, or false when the file cannot be read.
bool NistFrame(const std::string& strName, ClImage& frame)
{
    std::ifstream file(std::string(KR9_TESTDATA_DIR) + "/nist/" + strName + ".pgm", std::ios::binary);
    std::string strMagic;
    int32_t nWidth = 0, nHeight = 0, nMaxValue = 0;
    file >> strMagic >> nWidth >> nHeight >> nMaxValue;
    file.get();
    frame.Create(ClImage::uint8, kWidth, kHeight, 1, 0, 0, true);
    for (int32_t y = 0; y < kHeight && file; ++y)
        file.read(reinterpret_cast<char*>(frame.Data() + int64_t(y) * frame.Stride()), kWidth);
    return file && strMagic == "P5" && nWidth == kWidth && nHeight == kHeight && nMaxValue == 255;
}

// BM_Mask8/<frame>/<stage>: the whole 8-bit path (stage "Whole") or one
// stage, per frame, registered for the four prints and the synthetic finger.
const bool g_bMaskStagesRegistered = [] {
    for (const std::string strFrame : {"arch", "loop-right", "tented_arch", "whorl", "synthetic"}) {
        const auto frameOf = [strFrame](ClImage& frame) {
            if (strFrame != "synthetic")
                return NistFrame(strFrame, frame);
            FingerFrame(frame);
            return true;
        };
        benchmark::RegisterBenchmark(("BM_Mask8/" + strFrame + "/Whole").c_str(), [frameOf](benchmark::State& state) {
            ClImage frame;
            if (!frameOf(frame))
                return state.SkipWithError("the frame cannot be read");
            TimePipeline(state, frame);
        })->Unit(benchmark::kMicrosecond);
        for (size_t nStage = 0; nStage < std::size(ClStagedMask::kStages); ++nStage) {
            const std::string strName = "BM_Mask8/" + strFrame + "/" + ClStagedMask::kStages[nStage];
            benchmark::RegisterBenchmark(strName.c_str(), [frameOf, nStage](benchmark::State& state) {
                ClImage frame;
                if (!frameOf(frame))
                    return state.SkipWithError("the frame cannot be read");
                ClStagedMask staged(frame);
                for (auto _ : state)
                    staged.RunStage(nStage);
                SetPixelCounters(state);
            })->Unit(benchmark::kMicrosecond);
        }
    }
    return true;
}();

void BM_KR9Mask16Bit(benchmark::State& state)
{
    ClImage frame8;
    FingerFrame(frame8);
    ClImage frame;
    frame.Create(ClImage::uint16, kWidth, kHeight, 1, 0, 0, true);
    for (int64_t i = 0; i < kPixels; ++i)
        reinterpret_cast<uint16_t*>(frame.Data())[i] = uint16_t(frame8.Data()[i] * 200 + 1000);
    TimePipeline(state, frame);
}
BENCHMARK(BM_KR9Mask16Bit)->Unit(benchmark::kMicrosecond);

void BM_FilterMidXY(benchmark::State& state)
{
    ClImage frame;
    FingerFrame(frame);
    ClImage out;
    for (auto _ : state) {
        ClIpFilterMid mean;
        mean.Run(&frame, &out, static_cast<int32_t>(state.range(0)));
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
}
BENCHMARK(BM_FilterMidXY)->Arg(3)->Arg(15)->Arg(27)->Arg(31)->Arg(49)->Arg(101)->Unit(benchmark::kMicrosecond);

void BM_FilterMid16Bit(benchmark::State& state)
{
    ClImage frame8;
    FingerFrame(frame8);
    ClImage frame;
    frame.Create(ClImage::uint16, kWidth, kHeight, 1, 0, 0, true);
    for (int64_t i = 0; i < kPixels; ++i)
        reinterpret_cast<uint16_t*>(frame.Data())[i] = uint16_t(frame8.Data()[i] * 200);
    ClImage out;
    for (auto _ : state) {
        ClIpFilterMid mean;
        mean.Run(&frame, &out, static_cast<int32_t>(state.range(0)));
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
}
BENCHMARK(BM_FilterMid16Bit)->Arg(3)->Arg(15)->Arg(49)->Unit(benchmark::kMicrosecond);

void BM_FilterMinXY(benchmark::State& state)
{
    ClImage frame;
    FingerFrame(frame);
    ClImage out;
    for (auto _ : state) {
        ClIpFilterMin minimum;
        minimum.Run(&frame, &out, static_cast<int32_t>(state.range(0)), ClIpFilterBase::eModeXY);
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
}
BENCHMARK(BM_FilterMinXY)->Arg(3)->Arg(15)->Arg(49)->Unit(benchmark::kMicrosecond);

void BM_FilterVariance(benchmark::State& state)
{
    ClImage frame;
    FingerFrame(frame);
    ClImage out;
    for (auto _ : state) {
        ClIpFilterVariance variance;
        variance.SetFilterWidth(static_cast<int32_t>(state.range(0)));
        variance.Run(&frame, &out);
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
}
BENCHMARK(BM_FilterVariance)->Arg(5)->Arg(15)->Arg(49)->Unit(benchmark::kMicrosecond);

// The background removal's subtraction: 92160 pixels go through the 64 KB table.
void BM_SubtractTable(benchmark::State& state)
{
    ClImage frame;
    FingerFrame(frame);
    ClImage constant;
    constant.Create(ClImage::uint8, kWidth, kHeight, 1, 0, 0, true);
    constant.Fill<unsigned char>(40);
    ClImage out;
    for (auto _ : state) {
        ClIpSubtract subtract;
        subtract.Run(&frame, &constant, &out, ClImage::default_);
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
}
BENCHMARK(BM_SubtractTable)->Unit(benchmark::kMicrosecond);

void BM_AddDirect16Bit(benchmark::State& state)
{
    ClImage a;
    ClImage b;
    a.Create(ClImage::uint16, kWidth, kHeight, 1, 0, 0, true);
    b.Create(ClImage::uint16, kWidth, kHeight, 1, 0, 0, true);
    a.Fill<unsigned short>(1000);
    b.Fill<unsigned short>(3000);
    ClImage out;
    for (auto _ : state) {
        ClIpAdd add;
        add.Run(&a, &b, &out, ClImage::default_);
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
}
BENCHMARK(BM_AddDirect16Bit)->Unit(benchmark::kMicrosecond);

void BM_Invert(benchmark::State& state)
{
    ClImage frame;
    FingerFrame(frame);
    ClImage out;
    for (auto _ : state) {
        ClIpInvert invert;
        invert.Run(&frame, &out);
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
}
BENCHMARK(BM_Invert)->Unit(benchmark::kMicrosecond);

void BM_StretchRangeGlobal(benchmark::State& state)
{
    ClImage frame;
    FingerFrame(frame);
    ClImage out;
    for (auto _ : state) {
        ClIpStretchRangeGlobal stretch;
        stretch.Run(&frame, &out);
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
}
BENCHMARK(BM_StretchRangeGlobal)->Unit(benchmark::kMicrosecond);

}  // namespace
