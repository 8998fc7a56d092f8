// Plays an XSVF stream over a JTAG link: reads a command byte, runs its
// handler, and goes on until XCOMPLETE or the first error. Each handler reads
// its operands from the byte source, updates the run's StXsvfInfo, and
// returns the command's outcome, which also stands in m_iErrorCode.
//
// A player owns its pin queues and run state, so two players on two links do
// not disturb each other; one link carries one player at a time.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "device/jtag/JtagPinQueue.h"
#include "device/jtag/XsvfByteSource.h"
#include "device/jtag/XsvfInfo.h"
#include "device/jtag/XsvfTap.h"

// Where a run stands, after each command.
struct StXsvfProgress
{
    uint64_t uiCommands = 0;    // commands done
    uint64_t uiBytesRead = 0;   // bytes of the stream consumed
    uint64_t uiBytesTotal = 0;  // length of the stream, 0 when unknown
    uint8_t ucCommand = 0;      // the command just done
};
using XsvfProgressCallback = std::function<void(const StXsvfProgress&)>;

class ClXsvfPlayer
{
public:
    // The link is borrowed and must outlive the player.
    explicit ClXsvfPlayer(ClJtagLink& link);

    // Both return the run's outcome (EXsvfError; XsvfErrorText gives its
    // message). A file that cannot be opened raises ZRT_ERROR_FILE_OPEN_FAIL; a
    // link whose device stops answering raises ZRT_ERROR_DEVICE_DISCONNECTED or
    // ZRT_ERROR_DEVICE_INTERNAL. The progress callback is optional.
    int32_t PlayFile(const std::string& strPath, const XsvfProgressCallback& progress = nullptr);
    int32_t PlayMemory(const uint8_t* pData, size_t nSize, const XsvfProgressCallback& progress = nullptr);

    // The state the last run left.
    const StXsvfInfo& GetInfo() const { return *m_pInfo; }
    const StXsvfProgress& GetProgress() const { return m_progress; }

private:
    using Handler = int32_t (ClXsvfPlayer::*)(StXsvfInfo&);
    static const std::array<Handler, kXsvfCommandCount> s_aHandlers;

    int32_t Play(const XsvfProgressCallback& progress);
    // Records a non-zero outcome in the run state.
    int32_t Finish(StXsvfInfo& info, int32_t iError);
    int32_t StreamEnded(StXsvfInfo& info);
    bool ReadVector(StXsvfBitVector& vector, size_t nBytes);
    // A DR shift of the length in force, with the run's settings where the command uses them.
    int32_t ShiftDR(StXsvfInfo& info, uint8_t ucEndState, const uint8_t* pExpected, const uint8_t* pMask,
                    bool bWithRunTest);

    int32_t DoComplete(StXsvfInfo& info);
    int32_t DoTdoMask(StXsvfInfo& info);
    int32_t DoSir(StXsvfInfo& info);
    int32_t DoSdr(StXsvfInfo& info);
    int32_t DoRunTest(StXsvfInfo& info);
    int32_t DoReserved(StXsvfInfo& info);
    int32_t DoRepeat(StXsvfInfo& info);
    int32_t DoSdrSize(StXsvfInfo& info);
    int32_t DoSdrTdo(StXsvfInfo& info);
    int32_t DoSetSdrMasks(StXsvfInfo& info);
    int32_t DoSdrInc(StXsvfInfo& info);
    int32_t DoSdrBCE(StXsvfInfo& info);
    int32_t DoSdrTdoBCE(StXsvfInfo& info);
    int32_t DoState(StXsvfInfo& info);
    int32_t DoEndIR(StXsvfInfo& info);
    int32_t DoEndDR(StXsvfInfo& info);
    int32_t DoSir2(StXsvfInfo& info);
    int32_t DoComment(StXsvfInfo& info);
    int32_t DoWait(StXsvfInfo& info);
    int32_t SirOfLength(StXsvfInfo& info, uint32_t uiBits);

    ClJtagPinQueue m_pins;
    ClXsvfTap m_tap;
    ClXsvfByteSource m_source;
    // About 50 KB of vectors: on the heap.
    std::unique_ptr<StXsvfInfo> m_pInfo;
    StXsvfProgress m_progress;
};
