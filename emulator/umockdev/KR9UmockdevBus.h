// Virtual KR9s on an emulated USB bus: umockdev's testbed gives each one a
// sysfs record and a /dev/bus/usb node, and the usbfs requests that libusb
// sends to the node are answered by the same device model that serves the
// in-process virtual scanners. So the real Linux transport runs, unchanged,
// against a scanner that is not there.
//
// The program must have umockdev's preload library loaded from its start
// (linked with --no-as-needed, or run under umockdev-wrapper); one bus per
// process; libusb contexts are made after the bus and gone before it (the
// destructor releases the SDK's shared one).
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "emulator/KR9DeviceModel.h"

typedef struct _UMockdevTestbed UMockdevTestbed;

class ClKR9UmockdevDevice;

class ClKR9UmockdevBus
{
public:
    struct StUsbIds
    {
        uint16_t usVendorId;
        uint16_t usProductId;
    };

    // Whether umockdev's preload library is in this process; without it the
    // bus would reach for real devices, so callers skip instead.
    static bool PreloadActive();

    // std::runtime_error when the testbed cannot be made or does not take effect.
    ClKR9UmockdevBus();
    ~ClKR9UmockdevBus();
    ClKR9UmockdevBus(const ClKR9UmockdevBus&) = delete;
    ClKR9UmockdevBus& operator=(const ClKR9UmockdevBus&) = delete;

    // A KR9 with the configured USB ids, answered by the model; a model with an
    // empty serial gives a device without serial string.
    ClKR9UmockdevDevice& AddScanner(std::shared_ptr<ClKR9DeviceModel> pModel);
    // Another HID device (a keyboard, say): an interrupt IN endpoint that never
    // reports, no OUT endpoint, no serial string.
    ClKR9UmockdevDevice& AddOtherHidDevice(StUsbIds ids);
    // The device vanishes as at an unplug: transfers under way fail, later
    // requests find no device, and udev announces the removal.
    void Unplug(ClKR9UmockdevDevice& device);

private:
    ClKR9UmockdevDevice& Add(std::shared_ptr<ClKR9DeviceModel> pModel, StUsbIds ids);

    struct StTestbedRelease
    {
        void operator()(UMockdevTestbed* pTestbed) const;
    };

    std::unique_ptr<UMockdevTestbed, StTestbedRelease> m_pTestbed;
    std::vector<std::unique_ptr<ClKR9UmockdevDevice>> m_devices;
    uint32_t m_uiNextDeviceNumber = 2;   // 1 is the root hub's on a real bus
};

// One device on the bus, as the tests look at it.
class ClKR9UmockdevDevice
{
public:
    ~ClKR9UmockdevDevice();

    // "usb:1-<port>:1.0", the path the libusb transport lists it under.
    const std::string& Path() const { return m_strPath; }
    // Null for a device that is not a KR9.
    const std::shared_ptr<ClKR9DeviceModel>& Model() const { return m_pModel; }
    // Whether the kernel's HID driver holds the interface (it does until an open detaches it).
    bool DriverBound();
    // Whether an open claims the interface.
    bool Claimed();

private:
    friend class ClKR9UmockdevBus;
    struct StClient;
    struct StHandler;

    ClKR9UmockdevDevice() = default;

    std::shared_ptr<ClKR9DeviceModel> m_pModel;
    ClKR9UmockdevBus::StUsbIds m_ids{};
    std::string m_strPath;
    std::string m_strSysPath;
    std::string m_strNode;
    std::unique_ptr<StHandler> m_pHandler;
};
