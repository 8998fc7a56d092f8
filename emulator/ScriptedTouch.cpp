#include "emulator/ScriptedTouch.h"

#include <algorithm>
#include <cstring>

#include "emulator/KR9DeviceModel.h"
#include "KR9Emulator.h"

ClScriptedTouch::ClScriptedTouch(uint32_t uiSeed, uint32_t uiPressMs, uint32_t uiHoldMs, Clock::time_point tStart)
    : m_Finger(uiSeed), m_uiPressMs(uiPressMs), m_uiHoldMs(uiHoldMs), m_tStart(tStart)
{
}

uint64_t ClScriptedTouch::RoundMs(Clock::time_point tNow) const
{
    const uint64_t uiRound = uint64_t(kAwayMs) + m_uiPressMs + m_uiHoldMs;
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(tNow - m_tStart).count();
    return elapsed <= 0 ? 0 : static_cast<uint64_t>(elapsed) % uiRound;
}

bool ClScriptedTouch::IsPresent(Clock::time_point tNow) const
{
    return RoundMs(tNow) >= kAwayMs;
}

void ClScriptedTouch::Render(uint8_t* pFrame, Clock::time_point tNow)
{
    const uint64_t uiMs = RoundMs(tNow);
    if (uiMs < kAwayMs) {
        memset(pFrame, ClKR9DeviceModel::kEmptySensorValue, KR9EMU_FRAME_BYTES);
        return;
    }
    // The pressure rises evenly while the finger is pressed down, so that the
    // contact area of two frames in a row differs clearly until it settles.
    const uint64_t uiPressed = uiMs - kAwayMs;
    const double dPressure =
        m_uiPressMs == 0 ? 1.0 : std::min(1.0, static_cast<double>(uiPressed) / static_cast<double>(m_uiPressMs));
    m_Finger.Render(pFrame, dPressure, m_uiFrameNumber++);
}
