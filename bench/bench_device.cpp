// Host-side cost of one frame: the command exchanges, the chunk fetches and the
// decoding through the streams, against a virtual scanner with no bus time.
#include <benchmark/benchmark.h>

#include "emulator/KR9EmulatorRegistry.h"
#include "device/KR9Scanner.h"
#include "imaging/FpImage.h"

namespace {

void GrabFrame(benchmark::State& state, uint32_t uiMode, ClImage::EDataType eType, const char* pszSerial)
{
    KR9EMU_Device* pDevice = ClKR9EmulatorRegistry::Instance().Plug(pszSerial);
    const std::shared_ptr<ClKR9DeviceModel> pModel = ClKR9EmulatorRegistry::Instance().Find(pDevice);
    pModel->SetTiming(0, 0);
    pModel->SetFingerPresent(true);
    StHIDDeviceInfo info;
    info.m_strPath = ClKR9EmulatorRegistry::Instance().FindPath(pDevice);
    {
        ClKR9Scanner scanner(info);
        ClImage image;
        image.Create(eType, 256, 360, 1, 0, 0, true);
        for (auto _ : state) {
            scanner.GetFrame(image, uiMode);
            benchmark::DoNotOptimize(image.Data());
        }
    }
    ClKR9EmulatorRegistry::Instance().Unplug(pDevice);
}

void BM_GrabFrame8(benchmark::State& state)
{
    GrabFrame(state, 0, ClImage::uint8, "BENCH8");
}
BENCHMARK(BM_GrabFrame8)->Unit(benchmark::kMicrosecond);

void BM_GrabFrame16(benchmark::State& state)
{
    GrabFrame(state, 1, ClImage::uint16, "BENCH16");
}
BENCHMARK(BM_GrabFrame16)->Unit(benchmark::kMicrosecond);

}  // namespace
