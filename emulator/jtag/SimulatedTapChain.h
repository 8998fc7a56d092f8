// A JTAG chain without hardware: the device end of the player's packet pipe.
// It decodes the pin packets (0xA1 pin states, 0xA2 TDI bytes), replays every
// pin change on an IEEE 1149.1 TAP controller with one device in the chain,
// and answers the TDO read (0xA0) with the bit the device drives. The device
// has an instruction register and a data register of configurable lengths, an
// IDCODE register that the IDCODE instruction (and a reset) selects, and the
// one-bit BYPASS register of the all-ones instruction; any other instruction
// selects the data register, which keeps what Update-DR latched and gives it
// back at Capture-DR. Not thread-safe: one link, one player.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "device/jtag/JtagLink.h"

class ClSimulatedTapChain : public ClJtagPipe
{
public:
    struct StConfig
    {
        uint32_t uiIrLength = 8;
        uint32_t uiDrLength = 24;
        uint32_t uiIdcode = 0x0A5C3093;   // bit 0 set, as every IDCODE has
        uint32_t uiIdcodeInstruction = 0x01;
        uint8_t ucPipe = 2;               // the pipe the packets must come on
    };
    struct StStats
    {
        uint64_t uiPackets = 0;          // all packets, TDO reads included
        uint64_t uiTdoReads = 0;
        uint64_t uiRisingEdges = 0;
        uint64_t uiBadPackets = 0;       // unknown kind, count above 62, wrong pipe
    };

    explicit ClSimulatedTapChain(const StConfig& config);

    // ---- the pipe ----------------------------------------------------------
    uint64_t WritePipe(uint8_t ucPipe, const uint8_t* pPacket, uint64_t uiSize, uint32_t uiTimeoutMs) override;
    // The 0xA0 exchange; false for another request or past the packet limit.
    bool Exchange(const uint8_t* pRequest, uint8_t* pReply);

    // ---- what a test looks at or sets ---------------------------------------
    // After this many packets the device stops taking any, as an unplugged one would.
    void SetPacketLimit(uint64_t uiPackets) { m_uiPacketLimit = uiPackets; }
    // Keeps a copy of every packet written from now on.
    void RecordPackets(bool bRecord) { m_bRecordPackets = bRecord; }
    const std::vector<std::array<uint8_t, 64>>& GetPackets() const { return m_packets; }
    const StStats& GetStats() const { return m_stats; }
    // TAP state, numbered as XSVF streams number them.
    uint8_t GetTapState() const { return m_ucState; }
    uint64_t GetInstruction() const { return m_uiInstruction; }
    // What Update-DR last latched into the data register (its low 64 bits).
    uint64_t GetDataRegister() const;
    void SetDataRegister(uint64_t uiValue);

private:
    // A shift register as a ring, so a shift of thousands of bits costs the same per bit as one of eight.
    struct StShiftRegister
    {
        std::vector<uint8_t> aucBits;   // one bit a byte, the bit at aucBits[uiHead] next out on TDO
        size_t uiHead = 0;
        void Load(const std::vector<uint8_t>& aucValue);
        std::vector<uint8_t> Value() const;
        bool Out() const { return aucBits.empty() || aucBits[uiHead] != 0; }
        void ShiftIn(bool bTdi);
    };

    bool TakePacket(uint8_t ucPipe, const uint8_t* pPacket);
    void SetPins(uint8_t ucPins);
    void RisingEdge(bool bTms, bool bTdi);
    enum class ERegister { eBypass, eIdcode, eData };
    // The data register the present instruction puts between TDI and TDO.
    ERegister Selected() const;
    StShiftRegister& ShiftRegisterOf(ERegister eRegister);
    void CaptureData();
    bool Tdo() const;

    StConfig m_config;
    StStats m_stats;
    uint64_t m_uiPacketLimit = UINT64_MAX;
    bool m_bRecordPackets = false;
    std::vector<std::array<uint8_t, 64>> m_packets;

    uint8_t m_ucPins = 0;
    uint8_t m_ucState = 0;
    uint64_t m_uiInstruction;
    StShiftRegister m_instructionShift;
    StShiftRegister m_idcodeShift;
    StShiftRegister m_bypassShift;
    StShiftRegister m_dataShift;
    std::vector<uint8_t> m_aucDataLatch;
};

// The player's link to a simulated chain.
class ClSimulatedJtagLink : public ClJtagLink
{
public:
    explicit ClSimulatedJtagLink(ClSimulatedTapChain& chain, uint8_t ucPipe = ClSimulatedTapChain::StConfig().ucPipe)
        : ClJtagLink(chain, ucPipe), m_chain(chain)
    {
    }
    bool Transfer(const uint8_t* pRequest, uint8_t* pReply, uint32_t /*uiTimeoutMs*/) override
    {
        return m_chain.Exchange(pRequest, pReply);
    }

private:
    ClSimulatedTapChain& m_chain;
};
