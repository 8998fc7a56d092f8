#include "device/jtag/JtagPinQueue.h"

#include <cstdio>
#include <cstring>

#include "sdk/Exception.h"
#include "sdk/OcqLogging.h"
#include "sdk/SDKLogger.h"
#include "device/jtag/JtagLink.h"

void ClJtagPinQueue::SetPin(EPin ePin, bool bHigh)
{
    if (m_nTdiBytes > 0)
        FlushTdiBytes();
    m_ucPinState = bHigh ? static_cast<uint8_t>(m_ucPinState | ePin) : static_cast<uint8_t>(m_ucPinState & ~ePin);
    uint8_t& ucPair = m_aucPinStates[m_nPinStates / 2];
    // The first state of a pair fills both nibbles, so a pair left half full
    // replays its last state twice, which changes nothing on the pins.
    if (m_nPinStates % 2 == 0)
        ucPair = static_cast<uint8_t>(m_ucPinState | (m_ucPinState << 4));
    else
        ucPair = static_cast<uint8_t>((ucPair & 0x0F) | (m_ucPinState << 4));
    if (++m_nPinStates == kMaxPinStates)
        FlushPinStates();
}

void ClJtagPinQueue::ClockPulse()
{
    SetPin(ePinTck, false);
    SetPin(ePinTck, true);
}

void ClJtagPinQueue::TmsTransition(bool bTms)
{
    SetPin(ePinTms, bTms);
    ClockPulse();
}

void ClJtagPinQueue::PutTdiByte(uint8_t ucByte)
{
    if (m_nPinStates > 0)
        FlushPinStates();
    m_aucTdiBytes[m_nTdiBytes++] = ucByte;
    if (m_nTdiBytes == kMaxPayload)
        FlushTdiBytes();
}

bool ClJtagPinQueue::ReadTdo()
{
    Flush();
    uint8_t aucRequest[ClJtagLink::kPacketSize] = {ePacketReadTdo};
    uint8_t aucReply[ClJtagLink::kPacketSize] = {};
    if (!m_link.Transfer(aucRequest, aucReply, ClJtagLink::kTdoTimeoutMs)) {
        ClSDKLogger::Log(eLogError, "JTAG: the device did not answer the TDO read");
        throw ClExQuorvane(ZRT_ERROR_DEVICE_INTERNAL, KR9_SITE);
    }
    return (aucReply[kTdoReplyByte] & 1) != 0;
}

void ClJtagPinQueue::Flush()
{
    if (m_nPinStates > 0)
        FlushPinStates();
    if (m_nTdiBytes > 0)
        FlushTdiBytes();
}

void ClJtagPinQueue::Discard()
{
    m_nPinStates = 0;
    m_nTdiBytes = 0;
    m_ucPinState = kPinStateAfterBytes;
}

void ClJtagPinQueue::FlushPinStates()
{
    const size_t nBytes = m_nPinStates / 2 + m_nPinStates % 2;
    m_nPinStates = 0;
    SendPacket(ePacketPins, m_aucPinStates.data(), nBytes);
}

void ClJtagPinQueue::FlushTdiBytes()
{
    // The packet's count byte cannot say more; the buffer is kept for whoever debugs this.
    if (m_nTdiBytes > kMaxPayload) {
        printf("%s(%d) : %02x\n", __FILE__, __LINE__, static_cast<unsigned>(m_nTdiBytes));
        return;
    }
    const size_t nBytes = m_nTdiBytes;
    m_nTdiBytes = 0;
    SendPacket(ePacketTdiBytes, m_aucTdiBytes.data(), nBytes);
    m_ucPinState = kPinStateAfterBytes;
}

void ClJtagPinQueue::SendPacket(EPacket ePacket, const uint8_t* pPayload, size_t nCount)
{
    uint8_t aucPacket[ClJtagLink::kPacketSize] = {ePacket, static_cast<uint8_t>(nCount)};
    memcpy(aucPacket + 2, pPayload, nCount);
    m_link.WritePacket(aucPacket);
}
