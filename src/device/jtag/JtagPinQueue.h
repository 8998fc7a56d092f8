// The pins TCK, TMS and TDI as the device replays them, and the two queues
// that carry their changes in 64-byte packets: single pin states, two to a
// byte (0xA1), or whole TDI bytes that the device clocks out itself (0xA2).
// The device replays packets in the order they come, so one queue is always
// emptied before the other takes anything. TDO is read with a 0xA0 transfer
// once everything queued has gone out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

class ClJtagLink;

class ClJtagPinQueue
{
public:
    enum EPin : uint8_t
    {
        ePinTck = 1,
        ePinTms = 2,
        ePinTdi = 4,
    };
    enum EPacket : uint8_t
    {
        ePacketReadTdo = 0xA0,
        ePacketPins = 0xA1,
        ePacketTdiBytes = 0xA2,
    };
    // The device leaves its pins so after shifting whole bytes: TDI high, TMS and TCK low.
    static constexpr uint8_t kPinStateAfterBytes = ePinTdi;
    static constexpr size_t kMaxPayload = 62;
    static constexpr size_t kMaxPinStates = 2 * kMaxPayload;
    // Where the TDO bit stands in the reply of 0xA0.
    static constexpr size_t kTdoReplyByte = 3;

    // The link is borrowed and must outlive the queue.
    explicit ClJtagPinQueue(ClJtagLink& link) : m_link(link) {}

    // Drives one pin and queues the resulting pin state.
    void SetPin(EPin ePin, bool bHigh);
    // TCK low, then high: the device samples TMS and TDI on the rising edge.
    void ClockPulse();
    void TmsTransition(bool bTms);
    // Eight clocks of TDI from the byte's low bit up, with TMS low.
    void PutTdiByte(uint8_t ucByte);
    // Sends everything queued, then asks for the TDO bit; ZRT_ERROR_DEVICE_INTERNAL when the
    // device does not answer.
    bool ReadTdo();
    // Sends everything queued.
    void Flush();
    // Drops what is queued, for a new run after one that the link broke off.
    void Discard();

    uint8_t GetPinState() const { return m_ucPinState; }

private:
    void FlushPinStates();
    void FlushTdiBytes();
    void SendPacket(EPacket ePacket, const uint8_t* pPayload, size_t nCount);

    ClJtagLink& m_link;
    uint8_t m_ucPinState = kPinStateAfterBytes;
    std::array<uint8_t, kMaxPayload> m_aucPinStates{};
    size_t m_nPinStates = 0;   // queued states; two share a byte
    std::array<uint8_t, kMaxPayload> m_aucTdiBytes{};
    size_t m_nTdiBytes = 0;
};
