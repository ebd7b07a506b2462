#pragma once

#include <cstdint>
#include <string_view>

#include "platform/json.h"

/// Adds what the kernel reports about a network device ("wwan0", "3g-modem"): "download" and "upload", bytes since the
/// device came up, as numbers, and for its IPv4 address "ip_addr" (left out if the address is passed through to a host
/// of the LAN, devconf.passthrough.enable "1") and "gateway". For a device with a link-layer address these are the
/// link's statistics, 32 bits wide; for a point-to-point device those of PPP, or else the texts of /proc/net/dev.
/// @return 0, also for a device that does not exist; -1 when the addresses cannot be read
int add_traffic(json_object *result, const char *device);

/// Adds "download" and "upload" as texts from the first line of a file like /proc/net/dev that begins with device.
void add_net_dev_traffic(json_object *result, const char *device, const char *path);

/// What the kernel has counted on a network device since it came up, 64 bits wide.
struct DeviceCounters {
    uint64_t rx_bytes = 0;
    uint64_t rx_packets = 0;
    uint64_t tx_bytes = 0;
    uint64_t tx_packets = 0;
};

/// By /proc/net/dev; all 0 without such a device.
DeviceCounters read_device_counters(std::string_view device);
