// A finger that comes and goes by itself, as a person at the scanner would:
// away, placed and pressed down until the contact area settles, held, lifted,
// and placed again. The device model asks it what the sensor sees at the
// moment a command arrives, so no thread of its own drives the touch.
#pragma once

#include <chrono>
#include <cstdint>

#include "emulator/FingerModel.h"

class ClScriptedTouch
{
public:
    using Clock = std::chrono::steady_clock;

    // The first round starts at tStart with the finger away.
    ClScriptedTouch(uint32_t uiSeed, uint32_t uiPressMs, uint32_t uiHoldMs, Clock::time_point tStart);

    // Whether the finger lies on the sensor at tNow.
    bool IsPresent(Clock::time_point tNow) const;
    // The raw picture at tNow (the empty sensor while the finger is away).
    void Render(uint8_t* pFrame, Clock::time_point tNow);

    // How long the finger stays away between two touches.
    static constexpr uint32_t kAwayMs = 500;

private:
    // Milliseconds into the current round, which begins with the away time.
    uint64_t RoundMs(Clock::time_point tNow) const;

    ClFingerModel m_Finger;
    uint32_t m_uiPressMs;
    uint32_t m_uiHoldMs;
    Clock::time_point m_tStart;
    uint32_t m_uiFrameNumber = 0;
};
