// The packet pipe to the scanner's JTAG chain. The player sends pin changes
// as 64-byte packets on one pipe of the device and asks for the TDO bit with
// a transfer that has a reply. Which pipe that is, and how a reply travels,
// belongs to the device behind the link; the player only needs these two
// operations.
#pragma once

#include <cstdint>
#include <mutex>

// The device side of the link: whatever takes a packet on a numbered pipe.
class ClJtagPipe
{
public:
    // Waits as long as the device needs: a packet is never dropped half-way.
    static constexpr uint32_t kNoTimeout = UINT32_MAX;

    virtual ~ClJtagPipe() = default;
    // Returns the bytes the device took; anything short of uiSize means the device is gone.
    virtual uint64_t WritePipe(uint8_t ucPipe, const uint8_t* pPacket, uint64_t uiSize, uint32_t uiTimeoutMs) = 0;
};

class ClJtagLink
{
public:
    static constexpr uint64_t kPacketSize = 64;
    // The time-out of the TDO read, which the device answers at once.
    static constexpr uint32_t kTdoTimeoutMs = 50;

    // The pipe is borrowed and must outlive the link.
    ClJtagLink(ClJtagPipe& pipe, uint8_t ucPipe) : m_pipe(pipe), m_ucPipe(ucPipe) {}
    ClJtagLink(const ClJtagLink&) = delete;
    ClJtagLink& operator=(const ClJtagLink&) = delete;
    virtual ~ClJtagLink() = default;

    // One request packet out and its kPacketSize-byte reply in; false when no reply came in time.
    virtual bool Transfer(const uint8_t* pRequest, uint8_t* pReply, uint32_t uiTimeoutMs) = 0;

    // One packet of kPacketSize bytes, written whole under the link's lock so
    // that packets of two writers never interleave. Raises
    // ZRT_ERROR_DEVICE_DISCONNECTED when the device does not take it.
    void WritePacket(const uint8_t* pPacket);

private:
    ClJtagPipe& m_pipe;
    std::mutex m_writeLock;
    uint8_t m_ucPipe;
};
