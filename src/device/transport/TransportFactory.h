// Makes the transport the scanner layer works with: one object that serves
// every backend at once. Enumeration lists the devices of all backends, and
// Open goes to the backend that the device's path names.
#pragma once

#include "device/HIDInterface.h"

ClHIDInterface* CreateHIDInterface();
