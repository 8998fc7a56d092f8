// The state of one XSVF run: what the stream has set so far (shift lengths,
// end states, retries, run-test clocks), the data vectors of the shifts, the
// TAP state the device is in, and the outcome. The numbers of the TAP states,
// commands and errors are those of the XSVF format.
#pragma once

#include <cstddef>
#include <cstdint>

// TAP controller states as XSVF streams number them.
enum ETapState : uint8_t
{
    eTapReset = 0,
    eTapIdle = 1,
    eTapSelectDR = 2,
    eTapCaptureDR = 3,
    eTapShiftDR = 4,
    eTapExit1DR = 5,
    eTapPauseDR = 6,
    eTapExit2DR = 7,
    eTapUpdateDR = 8,
    eTapSelectIR = 9,
    eTapCaptureIR = 10,
    eTapShiftIR = 11,
    eTapExit1IR = 12,
    eTapPauseIR = 13,
    eTapExit2IR = 14,
    eTapUpdateIR = 15,
};
constexpr uint8_t kTapStateCount = 16;

enum EXsvfCommand : uint8_t
{
    eXComplete = 0x00,
    eXTdoMask = 0x01,
    eXSir = 0x02,
    eXSdr = 0x03,
    eXRunTest = 0x04,
    eXReserved5 = 0x05,
    eXReserved6 = 0x06,
    eXRepeat = 0x07,
    eXSdrSize = 0x08,
    eXSdrTdo = 0x09,
    eXSetSdrMasks = 0x0A,
    eXSdrInc = 0x0B,
    eXSdrB = 0x0C,
    eXSdrC = 0x0D,
    eXSdrE = 0x0E,
    eXSdrTdoB = 0x0F,
    eXSdrTdoC = 0x10,
    eXSdrTdoE = 0x11,
    eXState = 0x12,
    eXEndIR = 0x13,
    eXEndDR = 0x14,
    eXSir2 = 0x15,
    eXComment = 0x16,
    eXWait = 0x17,
};
constexpr size_t kXsvfCommandCount = 24;

// Outcomes of a run; XsvfErrorText gives their messages.
enum EXsvfError : int32_t
{
    eXsvfNoError = 0,
    eXsvfErrorUnknown = 1,   // also: the stream ended before XCOMPLETE
    eXsvfErrorTdoMismatch = 2,
    eXsvfErrorMaxRetries = 3,
    eXsvfErrorIllegalCommand = 4,
    eXsvfErrorIllegalState = 5,
    eXsvfErrorDataOverflow = 6,
};
constexpr int32_t kXsvfErrorCount = 7;

// The message of an outcome; codes outside the table read as "ERROR:  Unknown".
const char* XsvfErrorText(int32_t iError);

// The longest shift the player holds, in bytes.
constexpr size_t kXsvfMaxBytes = 7000;

// Bytes most significant first: the last byte is shifted out first, each byte from its low bit up.
struct StXsvfBitVector
{
    uint16_t m_usLength = 0;   // bytes of the value last stored
    uint8_t m_aucData[kXsvfMaxBytes] = {};
};

struct StXsvfInfo
{
    bool m_bComplete = false;
    uint8_t m_ucCommand = eXComplete;
    int32_t m_iErrorCode = eXsvfNoError;
    // The device's state is unknown when a run starts; the player resets it
    // first, which makes Test-Logic-Reset true.
    uint8_t m_ucTapState = eTapReset;
    // Shifts end in Run-Test/Idle until the stream asks for Pause.
    uint8_t m_ucEndIR = eTapIdle;
    uint8_t m_ucEndDR = eTapIdle;
    // One try per compare until the stream sets XREPEAT.
    uint8_t m_ucMaxRepeat = 0;
    uint32_t m_uiRunTestTime = 0;
    // No DR shift length until XSDRSIZE: a data shift before it moves no bits.
    uint32_t m_uiShiftBits = 0;
    int16_t m_sShiftBytes = 0;
    StXsvfBitVector m_aTdi;
    // All zeros: a plain XSDR checks nothing until the stream gives a mask.
    StXsvfBitVector m_aTdoMask;
    StXsvfBitVector m_aTdoExpected;
    StXsvfBitVector m_aTdoCaptured;
    StXsvfBitVector m_aAddressMask;
    StXsvfBitVector m_aDataMask;
    StXsvfBitVector m_aNextData;
};
