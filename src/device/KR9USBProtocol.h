// The command dialogue with one opened KR9: 65-byte reports that carry the
// session tag the device handed out, one command id and its arguments, and
// the grab sequences that pull a frame through the chunk pipe.
#pragma once

#include <cstdint>
#include <string>

#include "device/HIDInterface.h"

class ClKR9USBProtocol
{
public:
    // Command ids of the device.
    enum ECommand : uint8_t
    {
        eWriteRegister = 1,
        eReadRegister = 2,
        eGetFirmwareVersion = 4,
        eGrabFrameClosed = 5,
        eStartDevice = 8,
        eGrabFrame16 = 9,
        eIsFingerPresent = 10,
        eStopDevice = 16,
        eGetDeviceString0 = 18,
        eGetDeviceString1 = 20,
        eIsFrameReady = 26,
        eGrabFrame8 = 30,
        eGetDeviceString2 = 33,
    };

    static constexpr uint64_t kReportSize = 65;
    static constexpr int32_t kTimeoutMs = 5000;
    // The register whose value must survive a session and be 0 for a mode 2 frame.
    static constexpr uint8_t kRegister28 = 28;

    // The transport is borrowed; null raises -701.
    explicit ClKR9USBProtocol(ClHIDInterface* pInterface);
    virtual ~ClKR9USBProtocol() = default;

    // The first exchange after every open: the device hands out the session tag.
    void OpenSession();
    bool IsFingerPresent();
    uint8_t ReadRegister(uint8_t ucRegister);
    void WriteRegister(uint8_t ucRegister, uint8_t ucValue);
    // -202 unless the device confirms.
    void StartDevice();
    void StopDevice();
    bool IsFrameReady();
    void GetFirmwareVersion(uint32_t auiVersion[4]);
    // Kind 0: serial number (8 characters at most); 1: 12; 2: 32. Other kinds send 18 and give "".
    void GetDeviceString(std::string& strText, uint32_t uiKind);

    // The grabs of the four frame modes; each raises -62 when no frame is ready.
    // Pixels: 256 x 360 of 8 bits (GrabFrame8) or 16 bits (the others).
    void GrabFrame8(uint8_t* pPixels);
    void GrabFrame16(uint16_t* pPixels);
    void GrabFrame16RegisterOff(uint16_t* pPixels);
    void GrabFrame16Closed(uint16_t* pPixels);

    // The chunk readers: 46080 pixels a half, two halves; bExchangeHalves puts the first-sent half on the right.
    void ReadFrame8(uint8_t* pPixels, bool bExchangeHalves);
    void ReadFrame16(uint16_t* pPixels, bool bExchangeHalves);

private:
    // Report id, tag, reserved, command: the head of every request.
    void PrepareRequest(uint8_t* pucReport, uint8_t ucCommand) const;
    // Write the request, read the reply into the same buffer. Counts are not looked at:
    // after a time-out the buffer still holds the request, whose status byte is 0.
    void Exchange(uint8_t* pucReport);
    // A command with one status byte in its reply; true for 255.
    bool AskYesNo(uint8_t ucCommand);
    void SendGrab(uint8_t ucCommand);
    void RequireFrameReady();

    ClHIDInterface* m_pInterface;
    uint32_t m_uiSessionA = 0;
    uint16_t m_usSessionB = 0;
};
