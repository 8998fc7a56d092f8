// The virtual scanners that are plugged in right now. The emulated transport
// lists and opens them; the KR9EMU_ functions plug and unplug them.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "KR9DeviceModel.h"

// What a KR9EMU_Device pointer points at.
struct KR9EMU_Device
{
    std::shared_ptr<ClKR9DeviceModel> pModel;
    std::string strPath;
    // The USB ids the device reports: the KR9's, unless a test wants another HID device beside it.
    uint16_t usVendorId;
    uint16_t usProductId;
};

class ClKR9EmulatorRegistry
{
public:
    struct StPlugged
    {
        std::string strPath;
        std::shared_ptr<ClKR9DeviceModel> pModel;
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
    bool Unplug(KR9EMU_Device* pDevice);
    // The model behind a plugged device, or null for a pointer that is not one.
    std::shared_ptr<ClKR9DeviceModel> Find(const KR9EMU_Device* pDevice);
    std::shared_ptr<ClKR9DeviceModel> FindByPath(const std::string& strPath);
    // In the order they were plugged.
    std::vector<StPlugged> List();

private:
    ClKR9EmulatorRegistry() = default;

    std::mutex m_mutex;
    std::vector<std::unique_ptr<KR9EMU_Device>> m_devices;
    uint64_t m_uiNextId = 1;
};
