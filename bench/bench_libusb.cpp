// One 8-bit frame (the command exchanges, 24 chunk fetches, the decode) over
// the libusb transport against an emulated usbfs device, beside the same grab
// over the in-process virtual transport. Both devices take no bus time, so the
// figures are the host's own cost, to set beside the device's ~100 ms a frame.
// Needs umockdev's preload library (linked in); skipped without it.
#include <benchmark/benchmark.h>

#include <memory>

#include "emulator/KR9EmulatorRegistry.h"
#include "device/KR9Scanner.h"
#include "imaging/FpImage.h"
#include "emulator/umockdev/KR9UmockdevBus.h"

namespace {

void GrabFrames(benchmark::State& state, const StHIDDeviceInfo& info)
{
    ClKR9Scanner scanner(info);
    ClImage image;
    image.Create(ClImage::uint8, 256, 360, 1, 0, 0, true);
    for (auto _ : state) {
        scanner.GetFrame(image, 0);
        benchmark::DoNotOptimize(image.Data());
    }
}

void BM_GrabFrame8Libusb(benchmark::State& state)
{
    if (!ClKR9UmockdevBus::PreloadActive()) {
        state.SkipWithError("umockdev's preload library is not loaded");
        return;
    }
    ClKR9UmockdevBus bus;
    auto pModel = std::make_shared<ClKR9DeviceModel>("BENCHUSB");
    pModel->SetTiming(0, 0);
    pModel->SetFingerPresent(true);
    StHIDDeviceInfo info;
    info.m_strPath = bus.AddScanner(pModel).Path();
    GrabFrames(state, info);
}
BENCHMARK(BM_GrabFrame8Libusb)->Unit(benchmark::kMicrosecond);

void BM_GrabFrame8Virtual(benchmark::State& state)
{
    KR9EMU_Device* pDevice = ClKR9EmulatorRegistry::Instance().Plug("BENCHVIR");
    const std::shared_ptr<ClKR9DeviceModel> pModel = ClKR9EmulatorRegistry::Instance().Find(pDevice);
    pModel->SetTiming(0, 0);
    pModel->SetFingerPresent(true);
    StHIDDeviceInfo info;
    info.m_strPath = ClKR9EmulatorRegistry::Instance().FindPath(pDevice);
    GrabFrames(state, info);
    ClKR9EmulatorRegistry::Instance().Unplug(pDevice);
}
BENCHMARK(BM_GrabFrame8Virtual)->Unit(benchmark::kMicrosecond);

}  // namespace
