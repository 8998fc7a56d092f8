// Per-frame costs of the imaging core at the sensor's size of 256 x 360.
#include <cmath>
#include <cstdint>

#include <benchmark/benchmark.h>

#include "imaging/FpImage.h"
#include "imaging/Histogram.h"

namespace {

constexpr int32_t kWidth = 256;
constexpr int32_t kHeight = 360;

// A fingerprint-like frame: curved ridges about 9 pixels apart inside an
// elliptic finger area, white paper around it, a little deterministic noise.
void DrawFinger(ClImage& image)
{
    image.Create(ClImage::uint8, kWidth, kHeight, 1, 0, 0, true);
    uint32_t nNoise = 12345;
    for (int32_t y = 0; y < kHeight; ++y) {
        uint8_t* pRow = image.Data() + y * image.Stride();
        for (int32_t x = 0; x < kWidth; ++x) {
            nNoise = nNoise * 1103515245u + 12345u;
            const double dx = (x - 128) / 100.0;
            const double dy = (y - 190) / 150.0;
            if (dx * dx + dy * dy > 1.0) {
                pRow[x] = uint8_t(248 + (nNoise >> 29));
                continue;
            }
            const double dRadius = std::sqrt(double((x - 128) * (x - 128)) + double((y - 120) * (y - 120)) * 1.6);
            const double dRidge = 0.5 + 0.5 * std::sin(dRadius * 2.0 * M_PI / 9.0);
            pRow[x] = uint8_t(40 + 160 * dRidge + (nNoise >> 28));
        }
    }
}

void BM_HistogramCreate(benchmark::State& state)
{
    ClImage image;
    DrawFinger(image);
    for (auto _ : state) {
        ClHistogram histogram;
        histogram.Create(image);
        benchmark::DoNotOptimize(histogram.m_aBins);
    }
    state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_HistogramCreate);

void BM_ImageCreateUnchangedSize(benchmark::State& state)
{
    ClImage image;
    image.Create(ClImage::uint8, kWidth, kHeight, 1, 0, 0, true);
    for (auto _ : state) {
        image.Create(ClImage::uint8, kWidth, kHeight, 1, 0, 0, true);
        benchmark::DoNotOptimize(image.Data());
    }
}
BENCHMARK(BM_ImageCreateUnchangedSize);

void BM_ImageFillZero(benchmark::State& state)
{
    ClImage image(kWidth, kHeight);
    for (auto _ : state) {
        image.Fill<unsigned char>(0);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_ImageFillZero);

void BM_ImageFill8Bit(benchmark::State& state)
{
    ClImage image(kWidth, kHeight);
    for (auto _ : state) {
        image.Fill<unsigned char>(255);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kWidth * kHeight);
}
BENCHMARK(BM_ImageFill8Bit);

void BM_ImageFill16Bit(benchmark::State& state)
{
    ClImage image;
    image.Create(ClImage::uint16, kWidth, kHeight, 1, 0, 0, true);
    for (auto _ : state) {
        image.Fill<unsigned short>(4095);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kWidth * kHeight * 2);
}
BENCHMARK(BM_ImageFill16Bit);

}  // namespace
