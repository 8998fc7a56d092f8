// The TAP controller as the player drives it: walks from state to state with
// the fewest TMS changes, run-test clocks, and shifts of bit vectors with
// capture of TDO, compare against an expected value, and the retries of the
// XSVF format. The TAP state itself lives in the run's StXsvfInfo.
#pragma once

#include <cstdint>

#include "device/jtag/XsvfInfo.h"

class ClJtagPinQueue;

class ClXsvfTap
{
public:
    // One shift as the shift commands describe it.
    struct StShift
    {
        uint8_t ucStartState = eTapShiftDR;
        uint8_t ucEndState = eTapIdle;
        uint32_t uiBits = 0;
        const uint8_t* pTdi = nullptr;
        uint8_t* pCaptured = nullptr;          // TDO goes here when set
        const uint8_t* pExpected = nullptr;    // compared with the captured bits when set
        const uint8_t* pMask = nullptr;        // compare only these bits; all when null
        uint32_t uiRunTestTime = 0;
        uint8_t ucMaxRepeat = 0;
    };

    explicit ClXsvfTap(ClJtagPinQueue& pins) : m_pins(pins) {}

    // Moves the TAP from ucState to ucTarget and updates ucState. Returns
    // eXsvfErrorIllegalState, with nothing sent, for a target that cannot be
    // reached that way (an Exit2 state from outside its Pause state, a number
    // above 15).
    int32_t GoToState(uint8_t& ucState, uint8_t ucTarget);
    // TCK pulses with TMS as it is, which keeps the TAP in a stable state.
    void Clock(uint32_t uiCount);
    // Shifts the low uiBits of a vector, last byte first; with bExit the last bit leaves the Shift state.
    void ShiftBits(uint32_t uiBits, const uint8_t* pTdi, uint8_t* pCaptured, bool bExit);
    // A whole shift command: from its start state to its end state, run-test
    // clocks, compare and retries. Returns the command's outcome.
    int32_t Shift(uint8_t& ucState, const StShift& shift);

private:
    ClJtagPinQueue& m_pins;
};

// Whether the captured bytes agree with the expected ones under the mask.
bool XsvfBitsMatch(const uint8_t* pCaptured, const uint8_t* pExpected, const uint8_t* pMask, uint32_t uiBytes);
