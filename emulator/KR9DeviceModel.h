// The firmware of a virtual KR9: what the device does with each report it
// receives, and the chunks it serves after a grab. Every host connection (an
// open transport) has its own session tag, reply queue and chunk stream, as
// the host side sees one device handle per open. All members are thread-safe.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "KR9Emulator.h"
#include "device/KR9WireProtocol.h"
#include "emulator/ScriptedTouch.h"

class ClKR9DeviceModel
{
public:
    using Report = std::array<uint8_t, KR9EMU_REPORT_BYTES>;

    // Outcome of a host-side transfer.
    enum class ETransfer
    {
        eDone,
        eTimedOut,   // no reply within the time-out / no chunk to serve
        eGone,       // the device was unplugged
    };

    explicit ClKR9DeviceModel(const std::string& strSerial);

    const std::string& GetSerial() const { return m_strSerial; }

    // ---- what a test does to the device ------------------------------------
    // Both end a scripted touch: the test takes over the sensor.
    void SetFingerPresent(bool bPresent);
    void SetFrames(const uint8_t* pFrames, uint32_t uiCount);
    // A finger that comes, presses, holds and goes in rounds from now on; a
    // hold of 0 ends it (no finger).
    void Touch(uint32_t uiSeed, uint32_t uiPressMs, uint32_t uiHoldMs);
    void SetTiming(uint32_t uiFrameMs, uint32_t uiReplyMs);
    void SetRegister(uint8_t ucRegister, uint8_t ucValue);
    void SetFirmwareVersion(const std::array<uint8_t, 4>& version);
    void SetFault(int32_t nFault, int32_t nCount);
    void GetStats(KR9EMU_Stats& stats);
    std::vector<Report> GetReportLog();
    void ClearReportLog();
    void Unplug();

    // ---- what the host's transport does ------------------------------------
    // A connection is one open of the device; false when it is unplugged.
    bool Connect(uint32_t& uiConnection);
    void Disconnect(uint32_t uiConnection);
    // One output report as it travels on the wire (64 bytes, no report id).
    ETransfer ReceiveOutputReport(uint32_t uiConnection, const uint8_t* pReport);
    // Waits for the next input report; a negative time-out waits without limit.
    ETransfer WaitForInputReport(uint32_t uiConnection, uint8_t* pReport, int32_t nTimeoutMs);
    // The next chunk of the frame that the last grab on this connection started.
    ETransfer FetchChunk(uint32_t uiConnection, uint8_t* pBuffer, uint64_t uiSize);

    // Content of a raw picture of the empty sensor.
    static constexpr uint8_t kEmptySensorValue = 250;

private:
    using Clock = std::chrono::steady_clock;
    using SessionTag = std::array<uint8_t, KR9Wire::kSessionSize>;

    struct StPendingReply
    {
        Report report;
        Clock::time_point readyAt;
        bool bLate;   // held back until a read has timed out on it
    };

    struct StConnection
    {
        SessionTag aucSessionTag{};
        bool bSessionOpen = false;
        std::deque<StPendingReply> replies;
        std::vector<uint8_t> chunkStream;   // the whole chunk run of the current frame
        size_t uiChunkOffset = 0;
        bool bClosingReportDue = false;     // a report follows the frame of a closing grab
    };

    enum class EGrab
    {
        eFrame8,
        eFrame16,
        eFrame16Closing,
    };

    void HandleCommand(StConnection& connection, const Report& request);
    void QueueReply(StConnection& connection, Report reply);
    bool ConsumeFault(int32_t nFault);
    void StartFrame(StConnection& connection, EGrab grab);
    const uint8_t* CurrentPicture();
    bool IsFingerPresent() const;
    SessionTag NextSessionTag();

    const std::string m_strSerial;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_bPlugged = true;
    bool m_bStarted = false;
    bool m_bFingerPresent = false;
    std::array<uint8_t, 256> m_aucRegisters{};
    std::array<uint8_t, 4> m_aucFirmware{{1, 2, 3, 4}};
    std::vector<uint8_t> m_frames;          // the test's pictures, back to back
    uint32_t m_uiFrameCount = 0;
    uint32_t m_uiNextFrame = 0;
    std::vector<uint8_t> m_syntheticFinger;
    std::vector<uint8_t> m_emptySensor;
    std::unique_ptr<ClScriptedTouch> m_pTouch;   // drives finger and pictures while set
    std::vector<uint8_t> m_touchPicture;
    uint32_t m_uiFrameMs = 100;
    uint32_t m_uiReplyMs = 2;
    std::map<int32_t, int32_t> m_faults;    // fault -> occurrences left (-1: until cleared)
    std::map<uint32_t, StConnection> m_connections;
    uint32_t m_uiNextConnection = 1;
    uint64_t m_uiSessionCounter = 0;
    KR9EMU_Stats m_stats{};
    std::deque<Report> m_reportLog;
};
