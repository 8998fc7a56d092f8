#include "emulator/KR9EmulatorRegistry.h"

#include <algorithm>

#include "device/KR9DeviceIds.h"
#include "device/transport/TransportFactory.h"
#include "emulator/EmulatedHIDInterface.h"

namespace {

constexpr size_t kMaxSerialLength = 8;

KR9EMU_Device* PointerOf(uint64_t uiNumber)
{
    return reinterpret_cast<KR9EMU_Device*>(static_cast<uintptr_t>(uiNumber));
}

}  // namespace

ClKR9EmulatorRegistry& ClKR9EmulatorRegistry::Instance()
{
    // Never destroyed: a capture thread may still talk to a device while the process exits.
    static TpNeverDestroyed<ClKR9EmulatorRegistry> s_registry;
    return s_registry.Get();
}

ClKR9EmulatorRegistry::ClKR9EmulatorRegistry()
{
    // From the first use of virtual scanners on, the scanner layer's transports serve them too.
    AddHIDBackend(&ClEmulatedHIDInterface::OwnsPath,
                  []() -> std::unique_ptr<ClHIDInterface> { return std::make_unique<ClEmulatedHIDInterface>(); });
}

KR9EMU_Device* ClKR9EmulatorRegistry::Plug(const std::string& strSerial)
{
    return Plug(strSerial, KR9_USB_VENDOR_ID, KR9_USB_PRODUCT_ID);
}

KR9EMU_Device* ClKR9EmulatorRegistry::Plug(const std::string& strSerial, uint16_t usVendorId, uint16_t usProductId)
{
    if (strSerial.size() > kMaxSerialLength)
        return nullptr;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const StDevice& device : m_devices)
        if (device.plugged.pModel->GetSerial() == strSerial)
            return nullptr;
    const uint64_t uiNumber = m_uiNextNumber;
    m_devices.push_back({uiNumber, {kPathPrefix + std::to_string(uiNumber),
                                    std::make_shared<ClKR9DeviceModel>(strSerial), usVendorId, usProductId}});
    ++m_uiNextNumber;
    return PointerOf(uiNumber);
}

std::vector<ClKR9EmulatorRegistry::StDevice>::iterator ClKR9EmulatorRegistry::Lookup(const KR9EMU_Device* pDevice)
{
    return std::find_if(m_devices.begin(), m_devices.end(),
                        [pDevice](const StDevice& device) { return PointerOf(device.uiNumber) == pDevice; });
}

bool ClKR9EmulatorRegistry::Unplug(const KR9EMU_Device* pDevice)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = Lookup(pDevice);
    if (it == m_devices.end())
        return false;
    // Open transports keep the model alive; they see it gone from now on.
    it->plugged.pModel->Unplug();
    m_devices.erase(it);
    return true;
}

void ClKR9EmulatorRegistry::UnplugAll()
{
    std::vector<StDevice> devices;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        devices.swap(m_devices);
    }
    for (StDevice& device : devices)
        device.plugged.pModel->Unplug();
}

std::shared_ptr<ClKR9DeviceModel> ClKR9EmulatorRegistry::Find(const KR9EMU_Device* pDevice)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = Lookup(pDevice);
    return it != m_devices.end() ? it->plugged.pModel : nullptr;
}

std::string ClKR9EmulatorRegistry::FindPath(const KR9EMU_Device* pDevice)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = Lookup(pDevice);
    return it != m_devices.end() ? it->plugged.strPath : std::string();
}

std::shared_ptr<ClKR9DeviceModel> ClKR9EmulatorRegistry::FindByPath(const std::string& strPath)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const StDevice& device : m_devices)
        if (device.plugged.strPath == strPath)
            return device.plugged.pModel;
    return nullptr;
}

std::vector<ClKR9EmulatorRegistry::StPlugged> ClKR9EmulatorRegistry::List()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<StPlugged> plugged;
    for (const StDevice& device : m_devices)
        plugged.push_back(device.plugged);
    return plugged;
}
