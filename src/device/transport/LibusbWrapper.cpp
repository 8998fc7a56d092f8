#include "device/transport/LibusbWrapper.h"

ClLibusbWrapper::ClLibusbWrapper(const char* pszLibraryName)
{
    Load(nullptr, pszLibraryName);
    GetProc("libusb_init", init);
    GetProc("libusb_exit", exit);
    GetProc("libusb_get_device_list", get_device_list);
    GetProc("libusb_free_device_list", free_device_list);
    GetProc("libusb_get_device_descriptor", get_device_descriptor);
    GetProc("libusb_get_active_config_descriptor", get_active_config_descriptor);
    GetProc("libusb_free_config_descriptor", free_config_descriptor);
    GetProc("libusb_get_bus_number", get_bus_number);
    GetProc("libusb_get_port_numbers", get_port_numbers);
    GetProc("libusb_open", open);
    GetProc("libusb_close", close);
    GetProc("libusb_get_string_descriptor_ascii", get_string_descriptor_ascii);
    GetProc("libusb_kernel_driver_active", kernel_driver_active);
    GetProc("libusb_detach_kernel_driver", detach_kernel_driver);
    GetProc("libusb_attach_kernel_driver", attach_kernel_driver);
    GetProc("libusb_claim_interface", claim_interface);
    GetProc("libusb_release_interface", release_interface);
    GetProc("libusb_alloc_transfer", alloc_transfer);
    GetProc("libusb_free_transfer", free_transfer);
    GetProc("libusb_submit_transfer", submit_transfer);
    GetProc("libusb_cancel_transfer", cancel_transfer);
    GetProc("libusb_handle_events_timeout_completed", handle_events_timeout_completed);
    GetProc("libusb_control_transfer", control_transfer);
}
