// Makes the transport the scanner layer works with: one object that serves
// every backend at once. Enumeration lists the devices of all backends, and
// Open goes to the backend that the device's path names.
//
// USB hardware is always served. Other backends (the virtual scanners) add
// themselves when they first have a device to offer, so this layer knows
// nothing of them.
#pragma once

#include <memory>
#include <string>

#include "device/HIDInterface.h"

using HIDPathTest = bool (*)(const std::string& strPath);
using HIDBackendMaker = std::unique_ptr<ClHIDInterface> (*)();

// Transports made from now on include this backend; adding the same one again changes nothing.
void AddHIDBackend(HIDPathTest ownsPath, HIDBackendMaker make);

std::unique_ptr<ClHIDInterface> CreateHIDInterface();
