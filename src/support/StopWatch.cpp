#include "support/StopWatch.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <time.h>
#endif

namespace {

#ifdef _WIN32

int64_t ReadCounterFrequency()
{
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
}

int64_t ReadCounter()
{
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    return counter.QuadPart;
}

#else

// CLOCK_MONOTONIC counts nanoseconds.
constexpr int64_t kNanosecondsPerSecond = 1000000000;

int64_t ReadCounterFrequency()
{
    return kNanosecondsPerSecond;
}

int64_t ReadCounter()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * kNanosecondsPerSecond + now.tv_nsec;
}

#endif

}  // namespace

namespace Qvn {

CXStopWatch::CXStopWatch()
{
    Start();
}

void CXStopWatch::Start()
{
    m_nFrequency = ReadCounterFrequency();
    m_nStartCounter = ReadCounter();
}

int64_t CXStopWatch::GetElapsedTicks() const
{
    return ReadCounter() - m_nStartCounter;
}

double CXStopWatch::GetElapsedSeconds() const
{
    return static_cast<double>(GetElapsedTicks()) / static_cast<double>(m_nFrequency);
}

}  // namespace Qvn
