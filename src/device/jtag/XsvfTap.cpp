#include "device/jtag/XsvfTap.h"

#include "device/jtag/JtagPinQueue.h"

namespace {

// Six clocks with TMS high reach Test-Logic-Reset from any state, even one we are wrong about.
constexpr int kResetClocks = 6;

// The TMS value that moves one step from ucState toward ucTarget, which differ.
bool TmsToward(uint8_t ucState, uint8_t ucTarget)
{
    switch (ucState) {
    case eTapReset:
        return false;
    case eTapSelectDR:
        return ucTarget >= eTapSelectIR;
    case eTapCaptureDR:
    case eTapExit2DR:
        return ucTarget != eTapShiftDR;
    case eTapExit1DR:
        return ucTarget != eTapPauseDR;
    case eTapUpdateDR:
    case eTapUpdateIR:
        return ucTarget != eTapIdle;
    case eTapSelectIR:
        return false;
    case eTapCaptureIR:
    case eTapExit2IR:
        return ucTarget != eTapShiftIR;
    case eTapExit1IR:
        return ucTarget != eTapPauseIR;
    default:   // Run-Test/Idle, Shift and Pause states leave with TMS high
        return true;
    }
}

// Where one TCK with TMS leads, for the states the walk passes.
uint8_t NextState(uint8_t ucState, bool bTms)
{
    switch (ucState) {
    case eTapReset: return bTms ? eTapReset : eTapIdle;
    case eTapIdle: return bTms ? eTapSelectDR : eTapIdle;
    case eTapSelectDR: return bTms ? eTapSelectIR : eTapCaptureDR;
    case eTapCaptureDR: return bTms ? eTapExit1DR : eTapShiftDR;
    case eTapShiftDR: return bTms ? eTapExit1DR : eTapShiftDR;
    case eTapExit1DR: return bTms ? eTapUpdateDR : eTapPauseDR;
    case eTapPauseDR: return bTms ? eTapExit2DR : eTapPauseDR;
    case eTapExit2DR: return bTms ? eTapUpdateDR : eTapShiftDR;
    case eTapUpdateDR: return bTms ? eTapSelectDR : eTapIdle;
    case eTapSelectIR: return bTms ? eTapReset : eTapCaptureIR;
    case eTapCaptureIR: return bTms ? eTapExit1IR : eTapShiftIR;
    case eTapShiftIR: return bTms ? eTapExit1IR : eTapShiftIR;
    case eTapExit1IR: return bTms ? eTapUpdateIR : eTapPauseIR;
    case eTapPauseIR: return bTms ? eTapExit2IR : eTapPauseIR;
    case eTapExit2IR: return bTms ? eTapUpdateIR : eTapShiftIR;
    default: return bTms ? eTapSelectDR : eTapIdle;   // Update-IR
    }
}

}  // namespace

int32_t ClXsvfTap::GoToState(uint8_t& ucState, uint8_t ucTarget)
{
    if (ucTarget == eTapReset) {
        for (int i = 0; i < kResetClocks; ++i)
            m_pins.TmsTransition(true);
        ucState = eTapReset;
        return eXsvfNoError;
    }
    // The walk below cannot end anywhere else than on a valid state.
    if (ucTarget >= kTapStateCount || ucState >= kTapStateCount) {
        ucState = ucTarget;
        return eXsvfErrorIllegalState;
    }
    // An Exit2 state lies on the way only from its own Pause state.
    if (ucState != ucTarget && ((ucTarget == eTapExit2DR && ucState != eTapPauseDR) ||
                                (ucTarget == eTapExit2IR && ucState != eTapPauseIR)))
        return eXsvfErrorIllegalState;
    // Asked to stay in Pause, the TAP goes once round the machine and comes
    // back, so the device sees Update and Capture on the way.
    if (ucState == ucTarget && (ucState == eTapPauseDR || ucState == eTapPauseIR)) {
        m_pins.TmsTransition(true);
        ucState = NextState(ucState, true);
    }
    while (ucState != ucTarget) {
        const bool bTms = TmsToward(ucState, ucTarget);
        m_pins.TmsTransition(bTms);
        ucState = NextState(ucState, bTms);
    }
    return eXsvfNoError;
}

void ClXsvfTap::Clock(uint32_t uiCount)
{
    for (uint32_t i = 0; i < uiCount; ++i)
        m_pins.ClockPulse();
}

void ClXsvfTap::ShiftBits(uint32_t uiBits, const uint8_t* pTdi, uint8_t* pCaptured, bool bExit)
{
    uint32_t uiRemaining = uiBits;
    for (uint32_t uiByte = (uiBits + 7) / 8; uiByte-- > 0;) {
        const uint8_t ucTdi = pTdi[uiByte];
        // Whole bytes go in one packet entry: the device clocks them out itself.
        if (pCaptured == nullptr && !bExit && uiRemaining % 8 == 0) {
            m_pins.PutTdiByte(ucTdi);
            uiRemaining -= 8;
            continue;
        }
        uint8_t ucCaptured = 0;
        const uint32_t uiBitsHere = uiRemaining < 8 ? uiRemaining : 8;
        for (uint32_t uiBit = 0; uiBit < uiBitsHere; ++uiBit, --uiRemaining) {
            if (bExit && uiRemaining == 1)
                m_pins.SetPin(ClJtagPinQueue::ePinTms, true);
            m_pins.SetPin(ClJtagPinQueue::ePinTdi, ((ucTdi >> uiBit) & 1) != 0);
            m_pins.SetPin(ClJtagPinQueue::ePinTck, false);
            // TDO shows the register's bit between the falling and the rising edge.
            if (pCaptured != nullptr && m_pins.ReadTdo())
                ucCaptured = static_cast<uint8_t>(ucCaptured | (1u << uiBit));
            m_pins.SetPin(ClJtagPinQueue::ePinTck, true);
        }
        if (pCaptured != nullptr)
            pCaptured[uiByte] = ucCaptured;
    }
}

bool XsvfBitsMatch(const uint8_t* pCaptured, const uint8_t* pExpected, const uint8_t* pMask, uint32_t uiBytes)
{
    for (uint32_t i = uiBytes; i-- > 0;) {
        const uint8_t ucMask = pMask != nullptr ? pMask[i] : 0xFF;
        if (((pCaptured[i] ^ pExpected[i]) & ucMask) != 0)
            return false;
    }
    return true;
}

int32_t ClXsvfTap::Shift(uint8_t& ucState, const StShift& shift)
{
    uint32_t uiRunTestTime = shift.uiRunTestTime;
    if (shift.uiBits == 0) {
        if (uiRunTestTime == 0)
            return eXsvfNoError;
        const int32_t iError = GoToState(ucState, eTapIdle);
        if (iError == eXsvfNoError)
            Clock(uiRunTestTime);
        return iError;
    }
    const bool bExit = shift.ucStartState != shift.ucEndState;
    const uint32_t uiBytes = (shift.uiBits + 7) / 8;
    uint32_t uiRepeat = 0;   // wider than the limit, so counting past 255 cannot wrap
    bool bMismatch = false;
    do {
        int32_t iError = GoToState(ucState, shift.ucStartState);
        if (iError != eXsvfNoError)
            return iError;
        ShiftBits(shift.uiBits, shift.pTdi, shift.pCaptured, bExit);
        bMismatch = shift.pExpected != nullptr &&
                    !XsvfBitsMatch(shift.pCaptured, shift.pExpected, shift.pMask, uiBytes);
        if (bExit) {
            ++ucState;   // the last bit went out with TMS high: Shift to Exit1
            // A failed compare with time to wait goes through Pause and
            // straight back into Shift, and waits longer before the next try.
            if (bMismatch && uiRunTestTime != 0 && uiRepeat < shift.ucMaxRepeat) {
                GoToState(ucState, eTapPauseDR);
                GoToState(ucState, eTapShiftDR);
                uiRunTestTime += uiRunTestTime / 4;
            } else {
                iError = GoToState(ucState, shift.ucEndState);
                if (iError != eXsvfNoError)
                    return iError;
            }
        }
        if (uiRunTestTime != 0) {
            GoToState(ucState, eTapIdle);
            Clock(uiRunTestTime);
        }
    } while (bMismatch && uiRepeat++ < shift.ucMaxRepeat);
    if (!bMismatch)
        return eXsvfNoError;
    return shift.ucMaxRepeat != 0 && uiRepeat > shift.ucMaxRepeat ? eXsvfErrorMaxRetries : eXsvfErrorTdoMismatch;
}
