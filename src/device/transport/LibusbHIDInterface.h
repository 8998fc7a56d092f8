// The transport to USB HID devices on Linux, over libusb. A HID raw node would
// not do: the image chunks come by the HID class request for the Physical
// descriptor addressed to the interface, which the kernel refuses from user
// space while usbhid owns the interface. So an open detaches the kernel
// driver and claims the interface; the close gives the interface back.
//
// Paths look like "usb:1-3.2:1.0": bus, port chain, configuration, interface
// (the naming of sysfs), so a scanner keeps its path across replugs into the
// same port.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "device/HIDInterface.h"
#include "device/KR9WireProtocol.h"

struct libusb_context;
struct libusb_device;
struct libusb_device_handle;
struct libusb_transfer;
class ClLibusbWrapper;

// The process's libusb: the library bound at run time and one context, made on
// first use and shared by every transport. The process keeps a reference until
// it exits (or until Release); each open transport holds one more, so the
// context outlives the transports that use it.
class ClLibusbContext
{
public:
    // The shared context. The loader's exceptions when libusb is missing,
    // ZRT_ERROR_DEVICE_INTERNAL with "libusb_init (<code>)" when libusb cannot
    // start.
    static std::shared_ptr<ClLibusbContext> Get();
    // Drops the process's reference; the next Get makes a new context. Code that
    // provides the USB devices itself (an emulated bus) needs every context gone
    // before its devices are.
    static void Release();
    // The library the next context loads; the default is ClLibusbWrapper::kLibraryName.
    // A development aid: a missing name plays a machine without libusb.
    static void SetLibraryName(const std::string& strName);

    ~ClLibusbContext();
    ClLibusbContext(const ClLibusbContext&) = delete;
    ClLibusbContext& operator=(const ClLibusbContext&) = delete;

    ClLibusbWrapper& Usb() { return *m_pUsb; }
    libusb_context* Context() const { return m_pContext; }

private:
    explicit ClLibusbContext(const std::string& strLibraryName);

    std::unique_ptr<ClLibusbWrapper> m_pUsb;
    libusb_context* m_pContext = nullptr;
};

class ClLibusbHIDInterface : public ClHIDInterface
{
public:
    static constexpr const char* kPathPrefix = "usb:";

    ClLibusbHIDInterface();
    ~ClLibusbHIDInterface() override;
    ClLibusbHIDInterface(const ClLibusbHIDInterface&) = delete;
    ClLibusbHIDInterface& operator=(const ClLibusbHIDInterface&) = delete;

    static bool OwnsPath(const std::string& strPath);

    // Every HID interface of every device that can be opened. Without libusb
    // (or a USB system) the list stays as it was and one log line says why.
    void Enumerate(ClHIDDeviceList& devices) override;
    void Open(const StHIDDeviceInfo& device) override;
    void Close() override;
    uint64_t Read(void* pBuffer, uint64_t uiSize, int32_t nTimeoutMs) override;
    uint64_t Write(const void* pBuffer, uint64_t uiSize, uint32_t uiTimeoutMs) override;
    bool GetPhysicalDescriptor(void* pBuffer, uint64_t uiSize) override;

    // Bytes of a report on the wire; the host's buffer adds the report id in front.
    static constexpr uint32_t kReportBytes = KR9Wire::kTravellingSize;

private:
    // One asynchronous transfer per direction. A read that timed out stays
    // submitted, and the next Read waits for that same transfer.
    struct StTransfer
    {
        libusb_transfer* pTransfer = nullptr;
        int nCompleted = 0;           // set by libusb's callback while it handles events
        bool bPending = false;
        uint8_t aucData[kReportBytes] = {};
    };

    enum class EWait
    {
        eDone,
        eTimedOut,   // still submitted
        eFailed,     // libusb cannot handle events; still submitted
    };

    // Detach, claim, endpoints and transfers, once the device is open.
    void OpenLocated(libusb_device* pDevice, int nInterface);
    // Submits when nothing is pending; false when the submit fails at once.
    bool Start(StTransfer& transfer, uint8_t ucEndpoint, uint32_t uiLength);
    // Handles events until the transfer completes or the time-out passes (negative: no limit).
    EWait WaitFor(StTransfer& transfer, int64_t nTimeoutMs);
    void CancelAndReap(StTransfer& transfer);
    [[noreturn]] void ThrowOpenFailure(const char* pszStep, int nResult);

    std::shared_ptr<ClLibusbContext> m_pUsb;
    libusb_device_handle* m_pHandle = nullptr;
    int m_nInterface = -1;
    uint8_t m_ucInEndpoint = 0;
    uint8_t m_ucOutEndpoint = 0;     // 0: the device takes output reports as SET_REPORT requests
    bool m_bDriverDetached = false;
    StTransfer m_read;
    StTransfer m_write;
};
