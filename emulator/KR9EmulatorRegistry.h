// The virtual scanners that are plugged in right now. The emulated transport
// lists and opens them; the KR9EMU_ functions plug and unplug them.
//
// A KR9EMU_Device pointer is not an address: its value is the device's number,
// and numbers are never given out twice in a process. A pointer kept after
// KR9EMU_Unplug therefore stays refused, even when the next device's memory
// lands where the old one was.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "emulator/KR9DeviceModel.h"
#include "sdk/NeverDestroyed.h"

class ClKR9EmulatorRegistry
{
public:
    struct StPlugged
    {
        std::string strPath;
        std::shared_ptr<ClKR9DeviceModel> pModel;
        // The USB ids the device reports: the KR9's, unless a test wants another HID device beside it.
        uint16_t usVendorId;
        uint16_t usProductId;
    };

    // Paths of virtual scanners begin with this, which tells the transport factory where they go.
    static constexpr const char* kPathPrefix = "kr9emu:";

    static ClKR9EmulatorRegistry& Instance();

    // Null for an overlong (more than 8 characters) or already plugged serial.
    KR9EMU_Device* Plug(const std::string& strSerial);
    // A device with other USB ids, as another HID device (a keyboard, say) would show up.
    KR9EMU_Device* Plug(const std::string& strSerial, uint16_t usVendorId, uint16_t usProductId);
    // False for a device that is not plugged.
    bool Unplug(const KR9EMU_Device* pDevice);
    // Unplugs and releases every device, for a library that is going away.
    void UnplugAll();
    // The model behind a plugged device, or null for a pointer that is not one.
    std::shared_ptr<ClKR9DeviceModel> Find(const KR9EMU_Device* pDevice);
    // The transport path of a plugged device; empty for a pointer that is not one.
    std::string FindPath(const KR9EMU_Device* pDevice);
    std::shared_ptr<ClKR9DeviceModel> FindByPath(const std::string& strPath);
    // In the order they were plugged.
    std::vector<StPlugged> List();

private:
    friend class TpNeverDestroyed<ClKR9EmulatorRegistry>;
    ClKR9EmulatorRegistry();

    struct StDevice
    {
        uint64_t uiNumber;
        StPlugged plugged;
    };
    // The device of a pointer; the caller holds the mutex.
    std::vector<StDevice>::iterator Lookup(const KR9EMU_Device* pDevice);

    std::mutex m_mutex;
    std::vector<StDevice> m_devices;
    uint64_t m_uiNextNumber = 1;
};
