#include "device/KR9USBProtocol.h"

#include <cstring>

#include "sdk/Exception.h"

using namespace KR9Wire;

ClKR9USBProtocol::ClKR9USBProtocol(ClHIDInterface* pInterface, int32_t nTimeoutMs)
    : m_pInterface(pInterface), m_nTimeoutMs(nTimeoutMs)
{
    if (pInterface == nullptr)
        throw ClExQuorvane(ZRT_ERROR_BAD_POINTER, KR9_SITE);
}

void ClKR9USBProtocol::PrepareRequest(uint8_t* pucReport, uint8_t ucCommand) const
{
    // Bytes a command does not name mean nothing to the device; zero also makes a
    // status byte that was never answered read as "no".
    memset(pucReport, 0, kReportSize);
    pucReport[0] = kReportId;
    memcpy(pucReport + kSessionOffset, &m_uiSessionA, sizeof(m_uiSessionA));
    memcpy(pucReport + kSessionOffset + sizeof(m_uiSessionA), &m_usSessionB, sizeof(m_usSessionB));
    pucReport[kCommandOffset] = ucCommand;
}

void ClKR9USBProtocol::Exchange(uint8_t* pucReport)
{
    m_pInterface->Write(pucReport, kReportSize, m_nTimeoutMs);
    m_pInterface->Read(pucReport, kReportSize, m_nTimeoutMs);
}

void ClKR9USBProtocol::OpenSession()
{
    uint8_t aucReport[kReportSize];
    aucReport[0] = kReportId;
    memset(aucReport + 1, kOpenSessionFill, kReportSize - 1);
    Exchange(aucReport);
    // The tag is opaque: kept as the bytes came and sent back the same way.
    static_assert(sizeof(m_uiSessionA) + sizeof(m_usSessionB) == kSessionSize, "the two fields hold the whole tag");
    memcpy(&m_uiSessionA, aucReport + kSessionOffset, sizeof(m_uiSessionA));
    memcpy(&m_usSessionB, aucReport + kSessionOffset + sizeof(m_uiSessionA), sizeof(m_usSessionB));
}

bool ClKR9USBProtocol::AskYesNo(uint8_t ucCommand)
{
    uint8_t aucReport[kReportSize];
    PrepareRequest(aucReport, ucCommand);
    Exchange(aucReport);
    return aucReport[kArgumentOffset] == kStatusYes;
}

bool ClKR9USBProtocol::IsFingerPresent()
{
    return AskYesNo(eIsFingerPresent);
}

bool ClKR9USBProtocol::IsFrameReady()
{
    return AskYesNo(eIsFrameReady);
}

void ClKR9USBProtocol::StartDevice()
{
    if (!AskYesNo(eStartDevice))
        throw ClExQuorvane(ZRT_ERROR_WRITE_FAIL, KR9_SITE);
}

void ClKR9USBProtocol::StopDevice()
{
    AskYesNo(eStopDevice);
}

uint8_t ClKR9USBProtocol::ReadRegister(uint8_t ucRegister)
{
    uint8_t aucReport[kReportSize];
    PrepareRequest(aucReport, eReadRegister);
    aucReport[kArgumentOffset] = ucRegister;
    Exchange(aucReport);
    return aucReport[kArgumentOffset + 1];
}

void ClKR9USBProtocol::WriteRegister(uint8_t ucRegister, uint8_t ucValue)
{
    uint8_t aucReport[kReportSize];
    PrepareRequest(aucReport, eWriteRegister);
    aucReport[kArgumentOffset] = ucRegister;
    aucReport[kArgumentOffset + 1] = ucValue;
    Exchange(aucReport);
}

void ClKR9USBProtocol::GetFirmwareVersion(uint32_t auiVersion[4])
{
    uint8_t aucReport[kReportSize];
    PrepareRequest(aucReport, eGetFirmwareVersion);
    Exchange(aucReport);
    for (size_t i = 0; i < 4; ++i)
        auiVersion[i] = aucReport[kArgumentOffset + i];
}

void ClKR9USBProtocol::GetDeviceString(std::string& strText, uint32_t uiKind)
{
    const bool bKnownKind = uiKind < kDeviceStringKinds;
    uint8_t aucReport[kReportSize];
    PrepareRequest(aucReport, bKnownKind ? kDeviceStringCommands[uiKind] : eGetDeviceString0);
    Exchange(aucReport);
    if (!bKnownKind) {
        strText.clear();
        return;
    }
    // Up to the first zero byte or the limit of the kind: a full-length field needs no terminator.
    const char* pszField = reinterpret_cast<const char*>(aucReport + kArgumentOffset);
    strText.assign(pszField, strnlen(pszField, kDeviceStringLimits[uiKind]));
}

void ClKR9USBProtocol::SendGrab(uint8_t ucCommand)
{
    // A grab is answered by chunks, not by a report: nothing is read here.
    uint8_t aucReport[kReportSize];
    PrepareRequest(aucReport, ucCommand);
    aucReport[kArgumentOffset] = kGrabArgument;
    m_pInterface->Write(aucReport, kReportSize, m_nTimeoutMs);
}

void ClKR9USBProtocol::RequireFrameReady()
{
    if (!IsFrameReady())
        throw ClExQuorvane(ZRT_ERROR_DEVICE_INTERNAL, KR9_SITE);
}

void ClKR9USBProtocol::GrabFrame8(uint8_t* pPixels)
{
    RequireFrameReady();
    SendGrab(eGrabFrame8);
    ReadFrame8(pPixels, true);
}

void ClKR9USBProtocol::GrabFrame16(uint16_t* pPixels)
{
    RequireFrameReady();
    SendGrab(eGrabFrame16);
    ReadFrame16(pPixels, false);
}

void ClKR9USBProtocol::GrabFrame16RegisterOff(uint16_t* pPixels)
{
    const uint8_t ucKept = ReadRegister(kRegister28);
    if (ucKept != 0)
        WriteRegister(kRegister28, 0);
    // When no frame is ready the register stays 0: the session's close writes the value found at open back.
    RequireFrameReady();
    SendGrab(eGrabFrame16);
    ReadFrame16(pPixels, false);
    if (ucKept != 0)
        WriteRegister(kRegister28, ucKept);
}

void ClKR9USBProtocol::GrabFrame16Closed(uint16_t* pPixels)
{
    RequireFrameReady();
    SendGrab(eGrabFrameClosed);
    ReadFrame16(pPixels, false);
    // The device closes this kind of frame with one report; its content means nothing.
    uint8_t aucReport[kReportSize];
    m_pInterface->Read(aucReport, kReportSize, m_nTimeoutMs);
}
