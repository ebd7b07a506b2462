#pragma once

#include <cstdint>

/// USB vendor and product id of the device on bus. Without a bus: of the device at 1-1.2, 1-1.3 or 1-1. An empty id
/// file leaves its output as it is.
/// @return 0; -1 when there is no such device or an id file cannot be read (the product id may have been written by
/// then)
int read_usb_ids(const char *bus, uint32_t &vid, uint32_t &pid);

/// The same of the device whose sysfs folder is directory.
int read_ids_in(const char *directory, uint32_t &vid, uint32_t &pid);
