// The scanner session on the host: what a fetch of a ready image costs, how
// many frames a second the capture thread gets through (grab, decode,
// pipeline, decision, hand-over) against a virtual scanner with no bus time,
// and what an open scanner without a finger costs while it polls.
#include <chrono>
#include <ctime>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "emulator/KR9EmulatorRegistry.h"
#include "emulator/SyntheticFinger.h"
#include "imaging/FpImage.h"
#include "session/KR9Handle.h"

namespace {

// A virtual scanner without bus time, opened in a session of its own.
struct StBenchSession
{
    explicit StBenchSession(const char* pszSerial, bool bFinger)
    {
        pDevice = ClKR9EmulatorRegistry::Instance().Plug(pszSerial);
        pModel = ClKR9EmulatorRegistry::Instance().Find(pDevice);
        pModel->SetTiming(0, 0);
        pModel->SetFingerPresent(bFinger);
        // The decision judges every frame alike, steady or not: any finger will do.
        std::vector<uint8_t> frame(256 * 360);
        RenderSyntheticFinger(frame.data(), 128, 180, 11);
        pModel->SetFrames(frame.data(), 1);
        StHIDDeviceInfo info;
        info.m_strPath = ClKR9EmulatorRegistry::Instance().FindPath(pDevice);
        info.m_strName = std::string("KR9 ") + pszSerial;
        handle.Open(info);
    }
    ~StBenchSession()
    {
        handle.Close();
        ClKR9EmulatorRegistry::Instance().Unplug(pDevice);
    }

    KR9EMU_Device* pDevice;
    std::shared_ptr<ClKR9DeviceModel> pModel;
    ClKR9Handle handle;
};

double ProcessCpuSeconds()
{
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// One fetch of an image that is ready: the wait returns at once, one copy of
// 92160 bytes. The capture thread runs meanwhile, as in an application.
void BM_GetImageWhenReady(benchmark::State& state)
{
    StBenchSession session("BNCHGET", true);
    session.handle.SetCaptureMode(0);
    std::vector<uint8_t> buffer(256 * 360);
    uint64_t uiReserved = 0;
    uint8_t ucFinal = 0;
    int32_t nStatus = 0;
    int64_t nFetched = 0;
    for (auto _ : state) {
        // A frame takes about 2 ms here: after 5 ms a new one is surely waiting.
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        buffer[0] = 0;
        const auto start = std::chrono::steady_clock::now();
        session.handle.GetImage(buffer.data(), &uiReserved, &ucFinal, &nStatus);
        const auto end = std::chrono::steady_clock::now();
        state.SetIterationTime(std::chrono::duration<double>(end - start).count());
        nFetched += buffer[0] != 0 ? 1 : 0;
    }
    state.counters["fetched_share"] = static_cast<double>(nFetched) / static_cast<double>(state.iterations());
}
// A fixed count: the timed part is microseconds, the 5 ms pause is not timed, so
// letting the library pick the count for its minimum time would take minutes.
BENCHMARK(BM_GetImageWhenReady)->UseManualTime()->Iterations(1000)->Unit(benchmark::kMicrosecond);

// Frames a second of the whole capture loop, measured over one second of capture.
void BM_CaptureLoopFrames(benchmark::State& state)
{
    StBenchSession session("BNCHLOOP", true);
    KR9EMU_Stats stats;
    for (auto _ : state) {
        session.pModel->GetStats(stats);
        const uint32_t uiBefore = stats.commandsById[30];
        session.handle.SetCaptureMode(0);
        std::this_thread::sleep_for(std::chrono::seconds(1));
        session.handle.Close();   // joins the thread: the count is final
        session.pModel->GetStats(stats);
        state.counters["frames_per_s"] = stats.commandsById[30] - uiBefore;
    }
}
BENCHMARK(BM_CaptureLoopFrames)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

// Share of one core that an open, capturing scanner costs while nobody touches it.
void BM_IdlePollingCpu(benchmark::State& state)
{
    StBenchSession session("BNCHIDLE", false);
    session.pModel->SetTiming(100, 2);   // the real device's answer time
    for (auto _ : state) {
        session.handle.SetCaptureMode(0);
        const double dCpuBefore = ProcessCpuSeconds();
        const auto start = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(10));
        const double dWall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.counters["cpu_percent"] = 100.0 * (ProcessCpuSeconds() - dCpuBefore) / dWall;
    }
}
BENCHMARK(BM_IdlePollingCpu)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
