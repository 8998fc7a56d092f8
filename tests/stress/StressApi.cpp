// kr9_stress: the C API hammered the way a busy application uses it. Worker
// threads initialise and release the library, list scanners while others plug
// and pull virtual scanners, open, capture and close, and meanwhile child processes run the same workers
// and return from main in the middle of it. Prints the counts; fails on a
// result that a sound library cannot give, a child that did not exit cleanly,
// and descriptors or threads left behind.
//
//   kr9_stress [--seconds S] [--children N] [--workers NAME,NAME] [--child]
//
// --seconds: how long the workers run here (default 2); children are started
// one after another until then, at least N of them (default 0).
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cinttypes>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "KR9Emulator.h"
#include "QuorvaneTactiviewKR9.h"

extern char** environ;

namespace {

const char* const kFixedSerials[] = {"F0", "F1"};
constexpr uint64_t kFixedScanners = sizeof(kFixedSerials) / sizeof(kFixedSerials[0]);
constexpr int kChurnThreads = 2;

// Retries are the calls that met a scanner held by another process or leaving (-61): the caller tries again.
struct StTally { std::atomic<uint64_t> uiChecks{0}, uiRetries{0}, uiFaults{0}; };

// Never destroyed: a child's detached workers still count while it exits.
std::mutex g_faultMutex;
std::string& g_strFirstFault = *new std::string();

bool Check(StTally& tally, const char* pszWhat, int64_t nResult, bool bSound)
{
    ++tally.uiChecks;
    if (bSound)
        return true;
    ++tally.uiFaults;
    std::lock_guard<std::mutex> lock(g_faultMutex);
    if (g_strFirstFault.empty())
        g_strFirstFault = std::string(pszWhat) + ": " + std::to_string(nResult);
    return false;
}

// The result of a call against the one a sound library gives.
bool Expect(StTally& tally, const char* pszWhat, int32_t nResult, int32_t nSound = ZRT_SUCCESS)
{
    return Check(tally, pszWhat, nResult, nResult == nSound);
}

// -61: the scanner is held by another process of this run, or a listing met a churn scanner leaving.
bool Retried(StTally& tally, int32_t nResult)
{
    if (nResult != ZRT_ERROR_DEVICE_OPEN_FAIL)
        return false;
    ++tally.uiChecks;
    ++tally.uiRetries;
    return true;
}

void InitialiseAndRelease(int, StTally& tally)
{
    Expect(tally, "TV_KR9Initialize", TV_KR9Initialize(nullptr));
    Expect(tally, "TV_KR9Uninitialize", TV_KR9Uninitialize());
}

// The fixed scanners are always there; at most one scanner per churn thread comes and goes.
void ListScanners(int, StTally& tally)
{
    char names[TV_KR9_SCANNER_NAME_SIZE * 8] = {};
    uint64_t uiCount = 8;
    const int32_t nResult = TV_KR9QueryScanners(names, &uiCount);
    if (Retried(tally, nResult) || !Expect(tally, "TV_KR9QueryScanners", nResult))
        return;
    // Each name fills its slot up to a zero byte: "KR9 F0" followed by one is a whole name.
    const std::string strListed(names, sizeof(names));
    bool bSound = uiCount >= kFixedScanners && uiCount <= kFixedScanners + kChurnThreads;
    for (const char* pszSerial : kFixedSerials)
        bSound = bSound && strListed.find(std::string("KR9 ") + pszSerial + '\0') != std::string::npos;
    Check(tally, "scanners listed", static_cast<int64_t>(uiCount), bSound);
}

void PlugAndPull(int nIndex, StTally& tally)
{
    KR9EMU_Device* pDevice = KR9EMU_Plug(("C" + std::to_string(nIndex)).c_str());
    if (!Check(tally, "KR9EMU_Plug", 0, pDevice != nullptr))
        return;
    KR9EMU_SetTiming(pDevice, 0, 0);
    Expect(tally, "KR9EMU_Unplug", KR9EMU_Unplug(pDevice));
    // Stale from now on, whatever the other threads plug meanwhile.
    Expect(tally, "stale KR9EMU_SetFingerPresent", KR9EMU_SetFingerPresent(pDevice, 1), ZRT_ERROR_INVALID_HANDLE);
}

// A session on the fixed scanner of this thread: open, capture, close. The
// device lock is machine-wide, so a child process of this run may hold the
// same scanner: retried.
void OpenCaptureClose(int nIndex, StTally& tally)
{
    const std::string strName = std::string("KR9 ") + kFixedSerials[nIndex % kFixedScanners];
    Expect(tally, "TV_KR9Initialize for a session", TV_KR9Initialize(nullptr));
    void* hScanner = nullptr;
    const int32_t nOpen = TV_KR9OpenScanner(strName.c_str(), &hScanner);
    if (!Retried(tally, nOpen)) {
        Expect(tally, "TV_KR9OpenScanner", nOpen);
        Expect(tally, "TV_KR9SetCaptureMode", TV_KR9SetCaptureMode(hScanner, 0));
        std::vector<uint8_t> image(KR9EMU_FRAME_BYTES);
        uint64_t uiReserved = 0;
        uint8_t ucFinal = 0;
        int32_t nStatus = 0;
        for (int nFetch = 0; nFetch < 3; ++nFetch) {
            Expect(tally, "TV_KR9GetImage", TV_KR9GetImage(hScanner, image.data(), &uiReserved, &ucFinal, &nStatus));
            Expect(tally, "status of TV_KR9GetImage", nStatus, 0);
        }
        const int32_t nClose = TV_KR9CloseScanner(&hScanner);
        Check(tally, "TV_KR9CloseScanner", nClose, nClose == ZRT_SUCCESS && hScanner == nullptr);
    }
    Expect(tally, "TV_KR9Uninitialize after a session", TV_KR9Uninitialize());
}

typedef void (*PFN_ROUND)(int nIndex, StTally& tally);

// One round of work per call; each thread repeats its round until the run ends.
struct StWorker { const char* pszName; int nThreads; PFN_ROUND pfnRound; };
const StWorker g_workers[] = {
    {"lifecycle", 2, &InitialiseAndRelease},
    {"listing", 2, &ListScanners},
    {"churn", kChurnThreads, &PlugAndPull},
    {"session", static_cast<int>(kFixedScanners), &OpenCaptureClose},
};
constexpr size_t kWorkerKinds = sizeof(g_workers) / sizeof(g_workers[0]);
StTally g_tallies[kWorkerKinds];
std::atomic<bool> g_bStop{false};

long CountEntries(const char* pszFolder)
{
    return std::distance(std::filesystem::directory_iterator(pszFolder), std::filesystem::directory_iterator());
}

bool Selected(const std::string& strWorkers, const char* pszName)
{
    return strWorkers == "all" || ("," + strWorkers + ",").find(std::string(",") + pszName + ",") != std::string::npos;
}

// Runs this program as a child that starts the workers and returns from main
// while they run; true when it exited normally with 0.
bool RunChild(const char* pszProgram, std::string strWorkers)
{
    char* apszArguments[] = {const_cast<char*>(pszProgram), const_cast<char*>("--child"),
                             const_cast<char*>("--workers"), &strWorkers[0], nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, pszProgram, nullptr, nullptr, apszArguments, environ) != 0)
        return false;
    int nStatus = 0;
    const bool bClean = waitpid(pid, &nStatus, 0) == pid && WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0;
    if (!bClean)
        fprintf(stderr, "child %d: wait status %#x\n", pid, nStatus);
    return bClean;
}

}  // namespace

// ThreadSanitizer lets an exiting process wait a second for its other threads;
// the children here exit with threads running on purpose, many times over. A
// child that exits with a scanner still open also leaves its capture thread
// unjoined, which is the very case under test, not a leak: the parent, which
// closes everything, counts its threads in /proc instead.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options()
{
    return "atexit_sleep_ms=0:report_thread_leaks=0";
}

int main(int argc, char** argv)
{
    double dSeconds = 2.0;
    int nMinimumChildren = 0;
    std::string strWorkers = "all";
    bool bChild = false;
    for (int i = 1; i < argc; ++i) {
        const std::string strArgument = argv[i];
        if (strArgument == "--child")
            bChild = true;
        else if (strArgument == "--seconds" && i + 1 < argc)
            dSeconds = atof(argv[++i]);
        else if (strArgument == "--children" && i + 1 < argc)
            nMinimumChildren = atoi(argv[++i]);
        else if (strArgument == "--workers" && i + 1 < argc)
            strWorkers = argv[++i];
        else {
            fprintf(stderr, "usage: kr9_stress [--seconds S] [--children N] [--workers NAME,NAME] [--child]\n");
            return 2;
        }
    }

    // Sanitizer runtimes start a helper thread along with the first thread: let that happen before counting.
    std::thread([] {}).join();
    // So does the first listing: the USB context and its event thread live once per process.
    uint64_t uiListed = 0;
    TV_KR9QueryScanners(nullptr, &uiListed);
    const long nFdsBefore = CountEntries("/proc/self/fd");
    const long nThreadsBefore = CountEntries("/proc/self/task");
    std::vector<KR9EMU_Device*> fixed;
    for (const char* pszSerial : kFixedSerials) {
        fixed.push_back(KR9EMU_Plug(pszSerial));
        KR9EMU_SetTiming(fixed.back(), 0, 0);
    }
    // One session idles, the other runs frames through the pipeline.
    KR9EMU_SetFingerPresent(fixed.back(), 1);

    std::vector<std::thread> threads;
    for (size_t k = 0; k < kWorkerKinds; ++k) {
        if (!Selected(strWorkers, g_workers[k].pszName))
            continue;
        for (int t = 0; t < g_workers[k].nThreads; ++t)
            threads.emplace_back([k, t] {
                while (!g_bStop.load())
                    g_workers[k].pfnRound(t, g_tallies[k]);
            });
    }

    if (bChild) {
        // Exit in the middle of the calls: a few milliseconds in, different in every child.
        std::this_thread::sleep_for(std::chrono::milliseconds(getpid() % 20));
        for (std::thread& thread : threads)
            thread.detach();
        return 0;
    }

    int nChildren = 0;
    int nChildFailures = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(dSeconds);
    while (std::chrono::steady_clock::now() < end || nChildren < nMinimumChildren) {
        nChildFailures += !RunChild(argv[0], strWorkers);
        ++nChildren;
    }
    g_bStop = true;
    for (std::thread& thread : threads)
        thread.join();

    // Every thread balanced its own references, and the churn is over.
    StTally final;
    Expect(final, "unbalanced TV_KR9Uninitialize at the end", TV_KR9Uninitialize(), ZRT_ERROR_NOT_INITIALIZED);
    uint64_t uiCount = 0;
    const int32_t nQuery = TV_KR9QueryScanners(nullptr, &uiCount);
    Check(final, "scanners listed at the end", static_cast<int64_t>(uiCount),
          nQuery == ZRT_ERROR_SIZE_TOO_SMALL && uiCount == kFixedScanners);
    for (KR9EMU_Device* pDevice : fixed)
        Expect(final, "KR9EMU_Unplug of a fixed scanner", KR9EMU_Unplug(pDevice));
    const long nFdsAfter = CountEntries("/proc/self/fd");
    const long nThreadsAfter = CountEntries("/proc/self/task");

    uint64_t uiFaults = final.uiFaults;
    for (size_t k = 0; k < kWorkerKinds; ++k) {
        printf("%-10s checks %8" PRIu64 "  retries %6" PRIu64 "  faults %" PRIu64 "\n", g_workers[k].pszName,
               g_tallies[k].uiChecks.load(), g_tallies[k].uiRetries.load(), g_tallies[k].uiFaults.load());
        uiFaults += g_tallies[k].uiFaults;
    }
    printf("children   run %d  failed %d\n", nChildren, nChildFailures);
    printf("descriptors %ld -> %ld, threads %ld -> %ld\n", nFdsBefore, nFdsAfter, nThreadsBefore, nThreadsAfter);
    if (uiFaults > 0)
        printf("first fault: %s\n", g_strFirstFault.c_str());
    const bool bPassed =
        uiFaults == 0 && nChildFailures == 0 && nFdsAfter == nFdsBefore && nThreadsAfter == nThreadsBefore;
    printf("%s\n", bPassed ? "PASSED" : "FAILED");
    return bPassed ? 0 : 1;
}
