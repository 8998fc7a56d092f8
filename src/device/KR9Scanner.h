// One opened KR9 as the session sees it. Construction puts the device into
// working order (session, register 28 kept, started); destruction stops it and
// gives register 28 its value back. The static Enumerate lists the attached
// scanners under their display names, "KR9 " plus the serial number.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "device/HIDInterface.h"
#include "device/KR9USBProtocol.h"
#include "device/KR9WireProtocol.h"

class ClImage;

class ClKR9Scanner
{
public:
    static constexpr uint32_t kWidth = KR9Wire::kFrameWidth;
    static constexpr uint32_t kHeight = KR9Wire::kFrameHeight;
    static constexpr const char* kNamePrefix = "KR9 ";

    // Clears the list and fills it with the attached scanners, names replaced by
    // display names. Any failure on the way becomes ZRT_ERROR_DEVICE_OPEN_FAIL
    // with the cause's text.
    static void Enumerate(ClHIDDeviceList& devices);

    // Opens the scanner; a failure half way closes what was opened and passes the exception on.
    explicit ClKR9Scanner(const StHIDDeviceInfo& device);
    virtual ~ClKR9Scanner();
    ClKR9Scanner(const ClKR9Scanner&) = delete;
    ClKR9Scanner& operator=(const ClKR9Scanner&) = delete;

    // 256 and 360; ZRT_ERROR_BAD_POINTER for a null output.
    void GetImageSize(uint32_t* puiWidth, uint32_t* puiHeight) const;
    bool IsFingerPresent();
    // Mode 0: 8-bit image; 1: 16-bit; 2: 16-bit with register 28 at 0; 3: 16-bit
    // with a closing report. The image must be 256 x 360 of the mode's type
    // (ZRT_ERROR_INVALID_PARAMETER). Any other mode does nothing.
    void GetFrame(ClImage& image, uint32_t uiMode);
    void GetFirmwareVersion(uint32_t auiVersion[4]);
    // "KR9 " plus the serial number, asked from the device at every call.
    void GetSerialNumber(std::string& strSerial);

    // The device operations above may come from two threads at once: the
    // capture thread grabs while the application reads the serial number or
    // the version. Each runs whole under m_exchangeMutex, so that one thread
    // never reads the reply to the other's command.

private:
    void Close();

    // Declared in this order so that the protocol, which uses the transport, goes first.
    std::unique_ptr<ClHIDInterface> m_pInterface;
    std::unique_ptr<ClKR9USBProtocol> m_pProtocol;
    uint32_t m_uiWidth = kWidth;
    uint32_t m_uiHeight = kHeight;
    uint8_t m_ucRegister28 = 0;
    std::mutex m_exchangeMutex;
};
