#include "device/transport/TransportFactory.h"

#include <mutex>
#include <utility>
#include <vector>

#include "device/transport/CompositeHIDInterface.h"
#include "device/transport/LibusbHIDInterface.h"
#include "sdk/NeverDestroyed.h"

namespace {

struct StBackendKind
{
    HIDPathTest ownsPath;
    HIDBackendMaker make;
};

class ClBackendKinds
{
public:
    static ClBackendKinds& Instance()
    {
        // Never destroyed: a capture thread may still reopen a device while the process exits.
        static TpNeverDestroyed<ClBackendKinds> s_kinds;
        return s_kinds.Get();
    }

    void Add(const StBackendKind& kind)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (const StBackendKind& known : m_kinds)
            if (known.ownsPath == kind.ownsPath)
                return;
        m_kinds.push_back(kind);
    }

    std::vector<StBackendKind> List()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_kinds;
    }

private:
    friend class TpNeverDestroyed<ClBackendKinds>;
    ClBackendKinds() = default;

    std::mutex m_mutex;
    std::vector<StBackendKind> m_kinds;
};

}  // namespace

void AddHIDBackend(HIDPathTest ownsPath, HIDBackendMaker make)
{
    ClBackendKinds::Instance().Add({ownsPath, make});
}

std::unique_ptr<ClHIDInterface> CreateHIDInterface()
{
    std::vector<ClCompositeHIDInterface::StBackend> backends;
    backends.push_back({&ClLibusbHIDInterface::OwnsPath, std::make_unique<ClLibusbHIDInterface>()});
    for (const StBackendKind& kind : ClBackendKinds::Instance().List())
        backends.push_back({kind.ownsPath, kind.make()});
    return std::make_unique<ClCompositeHIDInterface>(std::move(backends));
}
