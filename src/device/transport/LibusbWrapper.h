// libusb-1.0 bound at run time. The SDK does not link libusb: a machine
// without it still loads the library and serves virtual scanners, and the
// USB transport reports why it has no devices. The header of libusb gives the
// types and constants only; every function comes through a pointer resolved
// here, the way the Windows build resolves hid.dll.
#pragma once

#include <libusb.h>

#include "support/DynamicLibraryLoader.h"

class ClLibusbWrapper : public ClDynamicLibraryLoader
{
public:
    static constexpr const char* kLibraryName = "libusb-1.0.so.0";

    // Loads the library and resolves every function below, in order; the loader's
    // exceptions on failure (ZRT_ERROR_FILE_OPEN_FAIL library missing,
    // ZRT_ERROR_UNKNOWN_PARAMETER symbol missing).
    explicit ClLibusbWrapper(const char* pszLibraryName = kLibraryName);
    ~ClLibusbWrapper() override = default;

    // Public so that a test can put a failing function in place of one of them
    // (an open refused for lack of permission cannot be had otherwise as root).
    decltype(&libusb_init) init = nullptr;
    decltype(&libusb_exit) exit = nullptr;
    decltype(&libusb_get_device_list) get_device_list = nullptr;
    decltype(&libusb_free_device_list) free_device_list = nullptr;
    decltype(&libusb_get_device_descriptor) get_device_descriptor = nullptr;
    decltype(&libusb_get_active_config_descriptor) get_active_config_descriptor = nullptr;
    decltype(&libusb_free_config_descriptor) free_config_descriptor = nullptr;
    decltype(&libusb_get_bus_number) get_bus_number = nullptr;
    decltype(&libusb_get_port_numbers) get_port_numbers = nullptr;
    decltype(&libusb_open) open = nullptr;
    decltype(&libusb_close) close = nullptr;
    decltype(&libusb_get_string_descriptor_ascii) get_string_descriptor_ascii = nullptr;
    decltype(&libusb_kernel_driver_active) kernel_driver_active = nullptr;
    decltype(&libusb_detach_kernel_driver) detach_kernel_driver = nullptr;
    decltype(&libusb_attach_kernel_driver) attach_kernel_driver = nullptr;
    decltype(&libusb_claim_interface) claim_interface = nullptr;
    decltype(&libusb_release_interface) release_interface = nullptr;
    decltype(&libusb_alloc_transfer) alloc_transfer = nullptr;
    decltype(&libusb_free_transfer) free_transfer = nullptr;
    decltype(&libusb_submit_transfer) submit_transfer = nullptr;
    decltype(&libusb_cancel_transfer) cancel_transfer = nullptr;
    decltype(&libusb_handle_events_timeout_completed) handle_events_timeout_completed = nullptr;
    decltype(&libusb_control_transfer) control_transfer = nullptr;
};
