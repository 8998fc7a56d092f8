// Host-side cost of playing XSVF: the player and the simulated chain together,
// for the three ways bits travel (whole TDI bytes, single pin states, TDO
// reads), over a full-length data register of 56000 bits.
#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

#include "device/jtag/XsvfPlayer.h"
#include "emulator/jtag/SimulatedTapChain.h"

namespace {

constexpr uint32_t kBits = 56000;

// Select the data register, set the length, then one shift command with its vectors.
std::vector<uint8_t> Stream(uint8_t ucCommand, int nVectors)
{
    std::vector<uint8_t> stream = {0x02, 8, 0x05, 0x08, uint8_t(kBits >> 24), uint8_t(kBits >> 16),
                                   uint8_t(kBits >> 8), uint8_t(kBits), ucCommand};
    stream.resize(stream.size() + size_t(nVectors) * (kBits / 8), 0xA5);
    stream.push_back(0x00);
    return stream;
}

void Play(benchmark::State& state, uint8_t ucCommand, int nVectors)
{
    const std::vector<uint8_t> stream = Stream(ucCommand, nVectors);
    ClSimulatedTapChain::StConfig config;
    config.uiDrLength = kBits;
    ClSimulatedTapChain chain(config);
    ClSimulatedJtagLink link(chain);
    ClXsvfPlayer player(link);
    for (auto _ : state)
        benchmark::DoNotOptimize(player.PlayMemory(stream.data(), stream.size()));
    state.SetItemsProcessed(int64_t(state.iterations()) * kBits);
}

// XSDRB: no capture, no exit, so all bytes go whole in 0xA2 packets.
void BM_XsvfShiftWholeBytes(benchmark::State& state)
{
    Play(state, 0x0C, 1);
}
BENCHMARK(BM_XsvfShiftWholeBytes)->Unit(benchmark::kMicrosecond);

// XSDRE: the exit on the last bit sends every bit as pin states in 0xA1 packets.
void BM_XsvfShiftPinStates(benchmark::State& state)
{
    Play(state, 0x0E, 1);
}
BENCHMARK(BM_XsvfShiftPinStates)->Unit(benchmark::kMicrosecond);

// XSDRTDOE: one TDO read per bit, each after a flush.
void BM_XsvfShiftWithCapture(benchmark::State& state)
{
    Play(state, 0x11, 2);
}
BENCHMARK(BM_XsvfShiftWithCapture)->Unit(benchmark::kMicrosecond);

}  // namespace
