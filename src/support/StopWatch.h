// Wall time of a piece of work, from the system's monotonic counter, so that
// a clock adjustment during the measurement does not distort it.
#pragma once

#include <cstdint>

namespace Qvn {

class CXStopWatch
{
public:
    // Starts at once.
    CXStopWatch();
    virtual ~CXStopWatch() = default;

    // Takes the counter frequency and then the counter as the new start.
    void Start();
    // Counter ticks since the start.
    int64_t GetElapsedTicks() const;
    // Seconds since the start: the ticks divided by the frequency.
    double GetElapsedSeconds() const;
    // Ticks per second.
    int64_t GetFrequency() const { return m_nFrequency; }

private:
    int64_t m_nFrequency = 0;
    int64_t m_nStartCounter = 0;
};

}  // namespace Qvn
