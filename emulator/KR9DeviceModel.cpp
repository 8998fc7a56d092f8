#include "emulator/KR9DeviceModel.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "emulator/SyntheticFinger.h"

namespace {

using namespace KR9Wire;

// Where the fields lie in a report as the device sees it, without the report id byte.
constexpr size_t kTagAt = Travelling(kSessionOffset);
constexpr size_t kCommandAt = Travelling(kCommandOffset);
constexpr size_t kArgumentAt = Travelling(kArgumentOffset);   // first argument of a request, status byte of a reply

static_assert(KR9EMU_REPORT_BYTES == kTravellingSize, "the emulator's reports are the device's");
static_assert(KR9EMU_FRAME_WIDTH == kFrameWidth && KR9EMU_FRAME_HEIGHT == kFrameHeight,
              "the emulator's pictures are the sensor's");

constexpr uint8_t kChunkPadding = 0xEE;   // never part of an image; makes a misplaced tail visible
constexpr size_t kReportLogLimit = 4096;

// What the device-string commands answer besides the serial number.
constexpr char s_szProductString[] = "KR9-EMULATED";
constexpr char s_szDescriptionString[] = "Quorvane KR9 virtual scanner";
static_assert(sizeof(s_szProductString) - 1 <= kDeviceStringLimits[1] &&
                  sizeof(s_szDescriptionString) - 1 <= kDeviceStringLimits[2],
              "the device strings fit their fields");

constexpr uint8_t kInitialRegister28 = 0x5A;

// Appends one half (128 columns starting at nFirstColumn) as whole chunks.
void AppendHalf(std::vector<uint8_t>& stream, const uint8_t* pPicture, size_t uiFirstColumn, size_t uiBytesPerPixel)
{
    const size_t uiStart = stream.size();
    stream.resize(uiStart + ChunksPerHalf(uiBytesPerPixel) * kChunkSize, kChunkPadding);
    uint8_t* pOut = stream.data() + uiStart;
    for (size_t r = 0; r < kFrameHeight; ++r) {
        for (size_t c = 0; c < kHalfColumns; ++c) {
            const uint8_t ucValue = pPicture[r * kFrameWidth + uiFirstColumn + c];
            if (uiBytesPerPixel == 1) {
                *pOut++ = ucValue;
            } else {
                // Sixteen-bit samples are the 8-bit value times 257, high byte first.
                const uint16_t usValue = static_cast<uint16_t>(ucValue * 257u);
                *pOut++ = static_cast<uint8_t>(usValue >> 8);
                *pOut++ = static_cast<uint8_t>(usValue & 0xFF);
            }
        }
    }
}

}  // namespace

ClKR9DeviceModel::ClKR9DeviceModel(const std::string& strSerial)
    : m_strSerial(strSerial),
      m_syntheticFinger(KR9EMU_FRAME_BYTES),
      m_emptySensor(KR9EMU_FRAME_BYTES, kEmptySensorValue),
      m_touchPicture(KR9EMU_FRAME_BYTES, kEmptySensorValue)
{
    m_aucRegisters[kRegister28] = kInitialRegister28;
    uint32_t uiSeed = 0;
    for (char c : strSerial)
        uiSeed = uiSeed * 31u + static_cast<uint8_t>(c);
    RenderSyntheticFinger(m_syntheticFinger.data(), KR9EMU_FRAME_WIDTH / 2, KR9EMU_FRAME_HEIGHT / 2, uiSeed);
}

// ---- test side ----------------------------------------------------------------

void ClKR9DeviceModel::SetFingerPresent(bool bPresent)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bFingerPresent = bPresent;
    m_pTouch.reset();
}

void ClKR9DeviceModel::Touch(uint32_t uiSeed, uint32_t uiPressMs, uint32_t uiHoldMs)
{
    auto pTouch = uiHoldMs == 0 ? nullptr
                                : std::make_unique<ClScriptedTouch>(uiSeed, uiPressMs, uiHoldMs, Clock::now());
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pTouch = std::move(pTouch);
    m_bFingerPresent = false;
    m_uiFrameCount = 0;
    m_frames.clear();
}

bool ClKR9DeviceModel::IsFingerPresent() const
{
    return m_pTouch != nullptr ? m_pTouch->IsPresent(Clock::now()) : m_bFingerPresent;
}

void ClKR9DeviceModel::SetFrames(const uint8_t* pFrames, uint32_t uiCount)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_frames.assign(pFrames, pFrames + static_cast<size_t>(uiCount) * KR9EMU_FRAME_BYTES);
    m_uiFrameCount = uiCount;
    m_uiNextFrame = 0;
    m_pTouch.reset();
}

void ClKR9DeviceModel::SetTiming(uint32_t uiFrameMs, uint32_t uiReplyMs)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_uiFrameMs = uiFrameMs;
    m_uiReplyMs = uiReplyMs;
}

void ClKR9DeviceModel::SetRegister(uint8_t ucRegister, uint8_t ucValue)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_aucRegisters[ucRegister] = ucValue;
}

void ClKR9DeviceModel::SetFirmwareVersion(const std::array<uint8_t, 4>& version)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_aucFirmware = version;
}

void ClKR9DeviceModel::SetFault(int32_t nFault, int32_t nCount)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (nCount == 0)
        m_faults.erase(nFault);
    else
        m_faults[nFault] = nCount;
}

void ClKR9DeviceModel::GetStats(KR9EMU_Stats& stats)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    stats = m_stats;
    std::copy(m_aucRegisters.begin(), m_aucRegisters.end(), stats.registers);
    stats.started = m_bStarted ? 1 : 0;
    stats.fingerPresent = IsFingerPresent() ? 1 : 0;
}

std::vector<ClKR9DeviceModel::Report> ClKR9DeviceModel::GetReportLog()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::vector<Report>(m_reportLog.begin(), m_reportLog.end());
}

void ClKR9DeviceModel::ClearReportLog()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_reportLog.clear();
}

void ClKR9DeviceModel::Unplug()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_bPlugged = false;
    m_changed.notify_all();
}

// ---- host side ----------------------------------------------------------------

bool ClKR9DeviceModel::Connect(uint32_t& uiConnection)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_bPlugged)
        return false;
    uiConnection = m_uiNextConnection++;
    m_connections[uiConnection] = StConnection();
    return true;
}

void ClKR9DeviceModel::Disconnect(uint32_t uiConnection)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_connections.erase(uiConnection);
    m_changed.notify_all();
}

ClKR9DeviceModel::ETransfer ClKR9DeviceModel::ReceiveOutputReport(uint32_t uiConnection, const uint8_t* pReport)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_connections.find(uiConnection);
    if (!m_bPlugged || it == m_connections.end())
        return ETransfer::eGone;

    Report request;
    std::copy(pReport, pReport + KR9EMU_REPORT_BYTES, request.begin());
    m_reportLog.push_back(request);
    if (m_reportLog.size() > kReportLogLimit)
        m_reportLog.pop_front();
    ++m_stats.reportsReceived;
    HandleCommand(it->second, request);
    m_changed.notify_all();
    return ETransfer::eDone;
}

ClKR9DeviceModel::ETransfer ClKR9DeviceModel::WaitForInputReport(uint32_t uiConnection, uint8_t* pReport,
                                                                 int32_t nTimeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const bool bBounded = nTimeoutMs >= 0;
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(bBounded ? nTimeoutMs : 0);
    for (;;) {
        auto it = m_connections.find(uiConnection);
        if (!m_bPlugged || it == m_connections.end())
            return ETransfer::eGone;
        std::deque<StPendingReply>& replies = it->second.replies;
        // A read without a time-out cannot time out, so a late reply is just a reply to it.
        if (!bBounded && !replies.empty())
            replies.front().bLate = false;
        const Clock::time_point now = Clock::now();
        if (!replies.empty() && !replies.front().bLate && replies.front().readyAt <= now) {
            std::copy(replies.front().report.begin(), replies.front().report.end(), pReport);
            replies.pop_front();
            return ETransfer::eDone;
        }
        if (bBounded && now >= deadline) {
            // A late reply shows up just after the read that waited for it gave up.
            if (!replies.empty() && replies.front().bLate)
                replies.front().bLate = false;
            return ETransfer::eTimedOut;
        }
        Clock::time_point wakeAt = bBounded ? deadline : Clock::time_point::max();
        if (!replies.empty() && !replies.front().bLate)
            wakeAt = std::min(wakeAt, replies.front().readyAt);
        if (wakeAt == Clock::time_point::max())
            m_changed.wait(lock);
        else
            m_changed.wait_until(lock, wakeAt);
    }
}

ClKR9DeviceModel::ETransfer ClKR9DeviceModel::FetchChunk(uint32_t uiConnection, uint8_t* pBuffer, uint64_t uiSize)
{
    std::chrono::microseconds chunkTime{0};
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_connections.find(uiConnection);
        if (!m_bPlugged || it == m_connections.end())
            return ETransfer::eGone;
        StConnection& connection = it->second;
        if (connection.uiChunkOffset >= connection.chunkStream.size())
            return ETransfer::eTimedOut;   // no frame under way: the request stalls
        const size_t uiChunks = connection.chunkStream.size() / kChunkSize;
        chunkTime = std::chrono::microseconds(static_cast<int64_t>(m_uiFrameMs) * 1000 / static_cast<int64_t>(uiChunks));

        const uint8_t* pChunk = connection.chunkStream.data() + connection.uiChunkOffset;
        connection.uiChunkOffset += kChunkSize;
        const bool bLastChunk = connection.uiChunkOffset >= connection.chunkStream.size();
        if (bLastChunk && connection.bClosingReportDue) {
            connection.bClosingReportDue = false;
            Report closing{};
            std::copy(connection.aucSessionTag.begin(), connection.aucSessionTag.end(), closing.begin() + kTagAt);
            closing[kCommandAt] = eGrabFrameClosed;
            closing[kArgumentAt] = kStatusYes;
            QueueReply(connection, closing);
        }
        if (ConsumeFault(KR9EMU_FAULT_CHUNK_FAIL))
            return ETransfer::eTimedOut;   // this chunk is lost
        std::copy(pChunk, pChunk + std::min<uint64_t>(uiSize, kChunkSize), pBuffer);
        ++m_stats.chunksServed;
    }
    // The transfer time of a chunk on the bus, spent outside the lock so the device stays responsive.
    if (chunkTime.count() > 0)
        std::this_thread::sleep_for(chunkTime);
    return ETransfer::eDone;
}

// ---- firmware -------------------------------------------------------------------

void ClKR9DeviceModel::HandleCommand(StConnection& connection, const Report& request)
{
    const bool bOpenSession =
        std::all_of(request.begin(), request.end(), [](uint8_t b) { return b == kOpenSessionFill; });
    Report reply{};
    if (bOpenSession) {
        ++m_stats.sessionsOpened;
        connection.aucSessionTag = NextSessionTag();
        connection.bSessionOpen = true;
        connection.replies.clear();
        connection.chunkStream.clear();
        connection.uiChunkOffset = 0;
        std::copy(connection.aucSessionTag.begin(), connection.aucSessionTag.end(), reply.begin() + kTagAt);
        QueueReply(connection, reply);
        return;
    }

    const uint8_t ucCommand = request[kCommandAt];
    ++m_stats.commandsById[ucCommand];
    std::copy(request.begin(), request.begin() + kArgumentAt, reply.begin());

    // A report that does not carry this connection's tag is refused: the
    // device answers "no" and does nothing.
    const bool bTagValid = connection.bSessionOpen &&
                           std::equal(connection.aucSessionTag.begin(), connection.aucSessionTag.end(),
                                      request.begin() + kTagAt);
    if (!bTagValid) {
        reply[kArgumentAt] = kStatusNo;
        QueueReply(connection, reply);
        return;
    }

    uint8_t* pResult = reply.data() + kArgumentAt;
    switch (ucCommand) {
    case eWriteRegister:
        // Register replies echo the register and its value; they have no status byte.
        m_aucRegisters[request[kArgumentAt]] = request[kArgumentAt + 1];
        pResult[0] = request[kArgumentAt];
        pResult[1] = request[kArgumentAt + 1];
        break;
    case eReadRegister:
        pResult[0] = request[kArgumentAt];
        pResult[1] = m_aucRegisters[request[kArgumentAt]];
        break;
    case eGetFirmwareVersion:
        std::copy(m_aucFirmware.begin(), m_aucFirmware.end(), pResult);
        break;
    case eStartDevice:
        m_bStarted = true;
        pResult[0] = kStatusYes;
        break;
    case eStopDevice:
        m_bStarted = false;
        pResult[0] = kStatusYes;
        break;
    case eIsFingerPresent:
        pResult[0] = IsFingerPresent() ? kStatusYes : kStatusNo;
        break;
    case eIsFrameReady:
        pResult[0] = m_bStarted ? kStatusYes : kStatusNo;
        break;
    case eGetDeviceString0:
        // A serial of the field's full length has no terminator in the reply.
        std::copy(m_strSerial.begin(), m_strSerial.begin() + std::min(m_strSerial.size(), kDeviceStringLimits[0]),
                  pResult);
        break;
    case eGetDeviceString1:
        memcpy(pResult, s_szProductString, sizeof(s_szProductString) - 1);
        break;
    case eGetDeviceString2:
        memcpy(pResult, s_szDescriptionString, sizeof(s_szDescriptionString) - 1);
        break;
    case eGrabFrame8:
        StartFrame(connection, EGrab::eFrame8);
        return;   // grabs answer with chunks, not with a report
    case eGrabFrame16:
        StartFrame(connection, EGrab::eFrame16);
        return;
    case eGrabFrameClosed:
        StartFrame(connection, EGrab::eFrame16Closing);
        return;
    default:
        pResult[0] = kStatusNo;
        break;
    }
    QueueReply(connection, reply);
}

void ClKR9DeviceModel::QueueReply(StConnection& connection, Report reply)
{
    if (ConsumeFault(KR9EMU_FAULT_SWALLOW_REPLY))
        return;
    if (reply[kArgumentAt] == kStatusYes && ConsumeFault(KR9EMU_FAULT_STATUS_254))
        reply[kArgumentAt] = 254;
    const bool bLate = ConsumeFault(KR9EMU_FAULT_LATE_REPLY);
    connection.replies.push_back({reply, Clock::now() + std::chrono::milliseconds(m_uiReplyMs), bLate});
}

bool ClKR9DeviceModel::ConsumeFault(int32_t nFault)
{
    auto it = m_faults.find(nFault);
    if (it == m_faults.end())
        return false;
    if (it->second > 0 && --it->second == 0)
        m_faults.erase(it);
    return true;
}

void ClKR9DeviceModel::StartFrame(StConnection& connection, EGrab grab)
{
    const uint8_t* pPicture = CurrentPicture();
    connection.chunkStream.clear();
    connection.uiChunkOffset = 0;
    if (grab == EGrab::eFrame8) {
        // The 8-bit stream sends the right half of the sensor first.
        AppendHalf(connection.chunkStream, pPicture, kHalfColumns, 1);
        AppendHalf(connection.chunkStream, pPicture, 0, 1);
    } else {
        AppendHalf(connection.chunkStream, pPicture, 0, 2);
        AppendHalf(connection.chunkStream, pPicture, kHalfColumns, 2);
    }
    connection.bClosingReportDue = grab == EGrab::eFrame16Closing;
}

const uint8_t* ClKR9DeviceModel::CurrentPicture()
{
    if (m_pTouch != nullptr) {
        m_pTouch->Render(m_touchPicture.data(), Clock::now());
        return m_touchPicture.data();
    }
    if (m_uiFrameCount == 0)
        return m_bFingerPresent ? m_syntheticFinger.data() : m_emptySensor.data();
    const uint32_t uiIndex = std::min(m_uiNextFrame, m_uiFrameCount - 1);
    if (m_uiNextFrame < m_uiFrameCount)
        ++m_uiNextFrame;
    return m_frames.data() + static_cast<size_t>(uiIndex) * KR9EMU_FRAME_BYTES;
}

ClKR9DeviceModel::SessionTag ClKR9DeviceModel::NextSessionTag()
{
    // Distinct per session and per device, and never the all-0xFF opening pattern.
    uint64_t uiMix = ++m_uiSessionCounter * 0x9E3779B97F4A7C15ull;
    for (char c : m_strSerial)
        uiMix = (uiMix ^ static_cast<uint8_t>(c)) * 0x100000001B3ull;
    SessionTag tag;
    for (size_t i = 0; i < tag.size(); ++i)
        tag[i] = static_cast<uint8_t>(uiMix >> (8 * i));
    tag[0] &= 0x7F;
    return tag;
}
