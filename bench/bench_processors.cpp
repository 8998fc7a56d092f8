// Per-frame costs of the image processors at the sensor's size of 256 x 360:
// the whole mask pipeline on a synthetic finger, and each processor alone.
// The filters run at several widths to show that their cost per pixel does
// not depend on the width.
#include <cstdint>

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

void BM_KR9Mask8Bit(benchmark::State& state)
{
    ClImage frame;
    FingerFrame(frame);
    ClImage out(kWidth, kHeight);
    // One instance for many frames, as the capture thread has it.
    ClIpKR9Mask pipeline;
    for (auto _ : state) {
        pipeline.Run(&frame, &out);
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
}
BENCHMARK(BM_KR9Mask8Bit)->Unit(benchmark::kMicrosecond);

void BM_KR9Mask16Bit(benchmark::State& state)
{
    ClImage frame8;
    FingerFrame(frame8);
    ClImage frame;
    frame.Create(ClImage::uint16, kWidth, kHeight, 1, 0, 0, true);
    for (int64_t i = 0; i < kPixels; ++i)
        reinterpret_cast<uint16_t*>(frame.Data())[i] = uint16_t(frame8.Data()[i] * 200 + 1000);
    ClImage out(kWidth, kHeight);
    ClIpKR9Mask pipeline;
    for (auto _ : state) {
        pipeline.Run(&frame, &out);
        benchmark::DoNotOptimize(out.Data());
    }
    SetPixelCounters(state);
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
