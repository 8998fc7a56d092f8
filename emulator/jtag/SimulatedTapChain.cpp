#include "emulator/jtag/SimulatedTapChain.h"

#include <cstring>

namespace {

enum : uint8_t
{
    kPinTck = 1,
    kPinTms = 2,
    kPinTdi = 4,
};
constexpr uint8_t kPacketReadTdo = 0xA0;
constexpr uint8_t kPacketPins = 0xA1;
constexpr uint8_t kPacketTdiBytes = 0xA2;
constexpr uint8_t kMaxPayload = 62;

// The controller's states, and where the rising edge of TCK leads from each with TMS 0 and 1.
enum : uint8_t
{
    kReset, kIdle, kSelectDR, kCaptureDR, kShiftDR, kExit1DR, kPauseDR, kExit2DR, kUpdateDR,
    kSelectIR, kCaptureIR, kShiftIR, kExit1IR, kPauseIR, kExit2IR, kUpdateIR,
};
constexpr uint8_t kTransitions[16][2] = {
    {kIdle, kReset},         {kIdle, kSelectDR},     {kCaptureDR, kSelectIR}, {kShiftDR, kExit1DR},
    {kShiftDR, kExit1DR},    {kPauseDR, kUpdateDR},  {kPauseDR, kExit2DR},    {kShiftDR, kUpdateDR},
    {kIdle, kSelectDR},      {kCaptureIR, kReset},   {kShiftIR, kExit1IR},    {kShiftIR, kExit1IR},
    {kPauseIR, kUpdateIR},   {kPauseIR, kExit2IR},   {kShiftIR, kUpdateIR},   {kIdle, kSelectDR},
};

std::vector<uint8_t> BitsOf(uint64_t uiValue, uint32_t uiLength)
{
    std::vector<uint8_t> aucBits(uiLength);
    for (uint32_t i = 0; i < uiLength && i < 64; ++i)
        aucBits[i] = static_cast<uint8_t>((uiValue >> i) & 1);
    return aucBits;
}

uint64_t ValueOf(const std::vector<uint8_t>& aucBits)
{
    uint64_t uiValue = 0;
    for (size_t i = 0; i < aucBits.size() && i < 64; ++i)
        uiValue |= static_cast<uint64_t>(aucBits[i]) << i;
    return uiValue;
}

}  // namespace

void ClSimulatedTapChain::StShiftRegister::Load(const std::vector<uint8_t>& aucValue)
{
    aucBits = aucValue;
    uiHead = 0;
}

std::vector<uint8_t> ClSimulatedTapChain::StShiftRegister::Value() const
{
    std::vector<uint8_t> aucValue(aucBits.size());
    for (size_t i = 0; i < aucBits.size(); ++i)
        aucValue[i] = aucBits[(uiHead + i) % aucBits.size()];
    return aucValue;
}

// The bit at TDO leaves, everything moves one place toward TDO, and TDI enters at the far end.
void ClSimulatedTapChain::StShiftRegister::ShiftIn(bool bTdi)
{
    if (aucBits.empty())
        return;
    aucBits[uiHead] = bTdi ? 1 : 0;
    uiHead = (uiHead + 1) % aucBits.size();
}

ClSimulatedTapChain::ClSimulatedTapChain(const StConfig& config)
    : m_config(config), m_uiInstruction(config.uiIdcodeInstruction), m_aucDataLatch(config.uiDrLength)
{
    m_instructionShift.Load(BitsOf(0, config.uiIrLength));
    m_bypassShift.Load(BitsOf(0, 1));
    m_idcodeShift.Load(BitsOf(config.uiIdcode, 32));
    m_dataShift.Load(m_aucDataLatch);
}

uint64_t ClSimulatedTapChain::WritePipe(uint8_t ucPipe, const uint8_t* pPacket, uint64_t uiSize,
                                        uint32_t /*uiTimeoutMs*/)
{
    if (uiSize != ClJtagLink::kPacketSize) {
        ++m_stats.uiBadPackets;
        return 0;
    }
    return TakePacket(ucPipe, pPacket) ? uiSize : 0;
}

bool ClSimulatedTapChain::TakePacket(uint8_t ucPipe, const uint8_t* pPacket)
{
    if (m_stats.uiPackets >= m_uiPacketLimit)
        return false;
    ++m_stats.uiPackets;
    if (m_bRecordPackets) {
        m_packets.emplace_back();
        memcpy(m_packets.back().data(), pPacket, ClJtagLink::kPacketSize);
    }
    const uint8_t ucCount = pPacket[1];
    if (ucPipe != m_config.ucPipe || ucCount > kMaxPayload ||
        (pPacket[0] != kPacketPins && pPacket[0] != kPacketTdiBytes)) {
        ++m_stats.uiBadPackets;
        return true;
    }
    for (uint8_t i = 0; i < ucCount; ++i) {
        const uint8_t ucByte = pPacket[2 + i];
        if (pPacket[0] == kPacketPins) {
            SetPins(ucByte & 0x0F);
            SetPins(ucByte >> 4);
            continue;
        }
        // The device clocks a TDI byte out itself, low bit first, TMS held low.
        for (int iBit = 0; iBit < 8; ++iBit) {
            const uint8_t ucTdi = ((ucByte >> iBit) & 1) != 0 ? kPinTdi : 0;
            SetPins(ucTdi);
            SetPins(ucTdi | kPinTck);
        }
    }
    if (pPacket[0] == kPacketTdiBytes)
        SetPins(kPinTdi);
    return true;
}

bool ClSimulatedTapChain::Exchange(const uint8_t* pRequest, uint8_t* pReply)
{
    if (m_stats.uiPackets >= m_uiPacketLimit)
        return false;
    ++m_stats.uiPackets;
    if (pRequest[0] != kPacketReadTdo) {
        ++m_stats.uiBadPackets;
        return false;
    }
    ++m_stats.uiTdoReads;
    memset(pReply, 0, ClJtagLink::kPacketSize);
    pReply[3] = Tdo() ? 1 : 0;
    return true;
}

void ClSimulatedTapChain::SetPins(uint8_t ucPins)
{
    if ((m_ucPins & kPinTck) == 0 && (ucPins & kPinTck) != 0)
        RisingEdge((ucPins & kPinTms) != 0, (ucPins & kPinTdi) != 0);
    m_ucPins = ucPins;
}

// What the controller does on the rising edge in its present state, then where it goes.
void ClSimulatedTapChain::RisingEdge(bool bTms, bool bTdi)
{
    ++m_stats.uiRisingEdges;
    switch (m_ucState) {
    case kCaptureDR:
        CaptureData();
        break;
    case kShiftDR:
        ShiftRegisterOf(Selected()).ShiftIn(bTdi);
        break;
    case kCaptureIR:
        // Every instruction register captures ...01 so a chain can be counted.
        m_instructionShift.Load(BitsOf(1, m_config.uiIrLength));
        break;
    case kShiftIR:
        m_instructionShift.ShiftIn(bTdi);
        break;
    default:
        break;
    }
    m_ucState = kTransitions[m_ucState][bTms ? 1 : 0];
    if (m_ucState == kReset)
        m_uiInstruction = m_config.uiIdcodeInstruction;
    else if (m_ucState == kUpdateIR)
        m_uiInstruction = ValueOf(m_instructionShift.Value());
    else if (m_ucState == kUpdateDR && Selected() == ERegister::eData)
        m_aucDataLatch = m_dataShift.Value();
}

ClSimulatedTapChain::ERegister ClSimulatedTapChain::Selected() const
{
    const uint64_t uiAllOnes = m_config.uiIrLength >= 64 ? UINT64_MAX : (uint64_t{1} << m_config.uiIrLength) - 1;
    if (m_uiInstruction == uiAllOnes)
        return ERegister::eBypass;
    if (m_uiInstruction == m_config.uiIdcodeInstruction)
        return ERegister::eIdcode;
    return ERegister::eData;
}

ClSimulatedTapChain::StShiftRegister& ClSimulatedTapChain::ShiftRegisterOf(ERegister eRegister)
{
    switch (eRegister) {
    case ERegister::eBypass: return m_bypassShift;
    case ERegister::eIdcode: return m_idcodeShift;
    default: return m_dataShift;
    }
}

void ClSimulatedTapChain::CaptureData()
{
    const ERegister eRegister = Selected();
    if (eRegister == ERegister::eBypass)
        m_bypassShift.Load(BitsOf(0, 1));
    else if (eRegister == ERegister::eIdcode)
        m_idcodeShift.Load(BitsOf(m_config.uiIdcode, 32));
    else
        m_dataShift.Load(m_aucDataLatch);
}

// TDO is driven only while shifting; otherwise the line's pull-up gives 1.
bool ClSimulatedTapChain::Tdo() const
{
    if (m_ucState == kShiftDR) {
        const ERegister eRegister = Selected();
        return eRegister == ERegister::eBypass ? m_bypassShift.Out()
               : eRegister == ERegister::eIdcode ? m_idcodeShift.Out() : m_dataShift.Out();
    }
    if (m_ucState == kShiftIR)
        return m_instructionShift.Out();
    return true;
}

uint64_t ClSimulatedTapChain::GetDataRegister() const
{
    return ValueOf(m_aucDataLatch);
}

void ClSimulatedTapChain::SetDataRegister(uint64_t uiValue)
{
    m_aucDataLatch = BitsOf(uiValue, m_config.uiDrLength);
}
