#include "device/transport/TransportFactory.h"

#include <array>
#include <mutex>
#include <utility>
#include <vector>

#include "device/transport/CompositeHIDInterface.h"
#include "device/transport/LibusbHIDInterface.h"
#include "sdk/Exception.h"
#include "sdk/NeverDestroyed.h"

namespace {

struct StBackendKind
{
    HIDPathTest ownsPath;
    HIDBackendMaker make;
};

// A fixed table, not a vector: the library can be unloaded and loaded again,
// and storage that is never destroyed must not hold heap memory that would
// then be lost. The emulator is the only other backend today.
constexpr size_t kMaxBackendKinds = 4;

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
        for (size_t i = 0; i < m_uiCount; ++i)
            if (m_kinds[i].ownsPath == kind.ownsPath)
                return;
        if (m_uiCount == kMaxBackendKinds)
            throw ClException("Too many transport backends", ZRT_ERROR_INTERNAL, true, KR9_SITE);
        m_kinds[m_uiCount++] = kind;
    }

    // A copy, so that the makers run outside the lock.
    std::array<StBackendKind, kMaxBackendKinds> List(size_t& uiCount)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        uiCount = m_uiCount;
        return m_kinds;
    }

private:
    friend class TpNeverDestroyed<ClBackendKinds>;
    ClBackendKinds() = default;

    std::mutex m_mutex;
    std::array<StBackendKind, kMaxBackendKinds> m_kinds{};
    size_t m_uiCount = 0;
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
    size_t uiCount = 0;
    const auto kinds = ClBackendKinds::Instance().List(uiCount);
    for (size_t i = 0; i < uiCount; ++i)
        backends.push_back({kinds[i].ownsPath, kinds[i].make()});
    return std::make_unique<ClCompositeHIDInterface>(std::move(backends));
}
