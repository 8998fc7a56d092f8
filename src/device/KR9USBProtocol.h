// The command dialogue with one opened KR9: 65-byte reports that carry the
// session tag the device handed out, one command id and its arguments, and
// the grab sequences that pull a frame through the chunk pipe.
#pragma once

#include <cstdint>
#include <string>

#include "device/HIDInterface.h"
#include "device/KR9WireProtocol.h"

class ClKR9USBProtocol
{
public:
    // How long one write or read of a report may take in the product.
    static constexpr int32_t kTimeoutMs = 5000;

    // The transport is borrowed; null raises ZRT_ERROR_BAD_POINTER. The time-out
    // of each write and read is kTimeoutMs everywhere in the product; tests of a
    // silent device pass a shorter one so as not to wait for it.
    explicit ClKR9USBProtocol(ClHIDInterface* pInterface, int32_t nTimeoutMs = kTimeoutMs);
    virtual ~ClKR9USBProtocol() = default;

    // The first exchange after every open: the device hands out the session tag.
    void OpenSession();
    bool IsFingerPresent();
    uint8_t ReadRegister(uint8_t ucRegister);
    void WriteRegister(uint8_t ucRegister, uint8_t ucValue);
    // ZRT_ERROR_WRITE_FAIL unless the device confirms.
    void StartDevice();
    void StopDevice();
    bool IsFrameReady();
    void GetFirmwareVersion(uint32_t auiVersion[4]);
    // Kind 0: serial number (8 characters at most); 1: 12; 2: 32. Other kinds ask
    // as for the serial number (eGetDeviceString0) and give "".
    void GetDeviceString(std::string& strText, uint32_t uiKind);

    // The grabs of the four frame modes; each raises ZRT_ERROR_DEVICE_INTERNAL when
    // no frame is ready. Pixels: 256 x 360 of 8 bits (GrabFrame8) or 16 bits (the others).
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
    const int32_t m_nTimeoutMs;
};
