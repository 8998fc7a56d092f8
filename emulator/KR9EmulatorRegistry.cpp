#include "KR9EmulatorRegistry.h"

#include <algorithm>

#include "device/KR9DeviceIds.h"

namespace {
constexpr size_t kMaxSerialLength = 8;
}

ClKR9EmulatorRegistry& ClKR9EmulatorRegistry::Instance()
{
    // Never destroyed: a capture thread may still talk to a device while the process exits.
    static ClKR9EmulatorRegistry* s_pRegistry = new ClKR9EmulatorRegistry();
    return *s_pRegistry;
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
    for (const auto& pDevice : m_devices)
        if (pDevice->pModel->GetSerial() == strSerial)
            return nullptr;
    auto pDevice = std::make_unique<KR9EMU_Device>();
    pDevice->pModel = std::make_shared<ClKR9DeviceModel>(strSerial);
    pDevice->strPath = kPathPrefix + std::to_string(m_uiNextId++);
    pDevice->usVendorId = usVendorId;
    pDevice->usProductId = usProductId;
    m_devices.push_back(std::move(pDevice));
    return m_devices.back().get();
}

bool ClKR9EmulatorRegistry::Unplug(KR9EMU_Device* pDevice)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = std::find_if(m_devices.begin(), m_devices.end(),
                           [pDevice](const std::unique_ptr<KR9EMU_Device>& p) { return p.get() == pDevice; });
    if (it == m_devices.end())
        return false;
    // Open transports keep the model alive; they see it gone from now on.
    (*it)->pModel->Unplug();
    m_devices.erase(it);
    return true;
}

std::shared_ptr<ClKR9DeviceModel> ClKR9EmulatorRegistry::Find(const KR9EMU_Device* pDevice)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& p : m_devices)
        if (p.get() == pDevice)
            return p->pModel;
    return nullptr;
}

std::shared_ptr<ClKR9DeviceModel> ClKR9EmulatorRegistry::FindByPath(const std::string& strPath)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& p : m_devices)
        if (p->strPath == strPath)
            return p->pModel;
    return nullptr;
}

std::vector<ClKR9EmulatorRegistry::StPlugged> ClKR9EmulatorRegistry::List()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<StPlugged> plugged;
    for (const auto& p : m_devices)
        plugged.push_back({p->strPath, p->pModel, p->usVendorId, p->usProductId});
    return plugged;
}
