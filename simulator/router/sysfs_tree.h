#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/modem/profile.h"

namespace simulator {

/// An interface of a plugged-in device with the names that the kernel gave its devices.
struct UsbInterface {
    int number = 0;
    Interface::Kind kind = Interface::Kind::none;
    std::string device; ///< "ttyUSB2", "cdc-wdm0"; empty without one
    std::string netdev; ///< "wwan0"; empty without one
};

struct UsbDevice {
    std::string bus; ///< "1-1.2"
    std::string product;
    uint16_t vendor_id = 0;
    uint16_t product_id = 0;
    std::vector<UsbInterface> interfaces;
};

/// "soc/8af8800.usb3/8a00000.dwc3/xhci-hcd.0.auto/usb1/1-1/1-1.2" for 1-1.2: where the device is below
/// /sys/devices/platform.
std::string usb_device_folder(const std::string &bus);

/// The fake /sys of a router, laid out as the kernel does. root is "/sys" in the router.
class SysfsTree {
  public:
    explicit SysfsTree(std::string root) : root_(std::move(root)) {}

    /// The platform's own folders and the USB controllers; extra_folders more of them.
    void build(size_t extra_folders) const;
    /// The hubs on the way come along.
    void add(const UsbDevice &device) const;
    void remove(const UsbDevice &device) const;

  private:
    void add_interface(const UsbDevice &device, const UsbInterface &interface) const;
    std::vector<std::string> class_links(const UsbDevice &device) const;

    std::string root_;
};

} // namespace simulator
