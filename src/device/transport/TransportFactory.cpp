#include "device/transport/TransportFactory.h"

#include "device/transport/CompositeHIDInterface.h"
#include "device/transport/EmulatedHIDInterface.h"
#include "device/transport/LibusbHIDInterface.h"

ClHIDInterface* CreateHIDInterface()
{
    std::vector<ClCompositeHIDInterface::StBackend> backends;
    backends.push_back({&ClLibusbHIDInterface::OwnsPath, std::make_unique<ClLibusbHIDInterface>()});
    backends.push_back({&ClEmulatedHIDInterface::OwnsPath, std::make_unique<ClEmulatedHIDInterface>()});
    return new ClCompositeHIDInterface(std::move(backends));
}
