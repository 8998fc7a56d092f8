#include "device/transport/TransportFactory.h"

#include "device/transport/CompositeHIDInterface.h"
#include "device/transport/EmulatedHIDInterface.h"

ClHIDInterface* CreateHIDInterface()
{
    std::vector<ClCompositeHIDInterface::StBackend> backends;
    backends.push_back({&ClEmulatedHIDInterface::OwnsPath, std::make_unique<ClEmulatedHIDInterface>()});
    return new ClCompositeHIDInterface(std::move(backends));
}
