#include "simulator/router/sysfs_tree.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

namespace simulator {

namespace {

namespace fs = std::filesystem;

void put(const fs::path &file, const std::string &text)
{
    std::ofstream(file) << text << '\n';
}

/// A relative link, as all links of sysfs are.
void link(const fs::path &from, const fs::path &to)
{
    std::error_code exists;
    fs::create_directories(from.parent_path());
    fs::create_symlink(to.lexically_relative(from.parent_path()), from, exists);
}

/// A folder with the members that every device's folder has.
void make_device(const fs::path &folder, const std::string &uevent)
{
    fs::create_directories(folder / "power");
    put(folder / "power/control", "auto");
    put(folder / "power/runtime_status", "active");
    put(folder / "uevent", uevent);
}

std::string hex(int digits, unsigned number)
{
    char text[16];
    snprintf(text, sizeof text, "%0*x", digits, number);
    return text;
}

std::string controller_folder(const std::string &usb_number)
{
    if (usb_number == "1")
        return "soc/8af8800.usb3/8a00000.dwc3/xhci-hcd.0.auto/usb1";
    if (usb_number == "2")
        return "soc/60f8800.usb2/6000000.dwc3/xhci-hcd.1.auto/usb2";
    return "soc/8af8800.usb3/8a00000.dwc3/xhci-hcd.0.auto/usb" + usb_number;
}

const char *driver_of(const UsbInterface &interface)
{
    switch (interface.kind) {
    case Interface::Kind::ttyUSB:
        return "option";
    case Interface::Kind::ttyACM:
        return "cdc_acm";
    case Interface::Kind::cdc_wdm:
        return "qmi_wwan";
    case Interface::Kind::none:
        break;
    }
    return interface.netdev.empty() ? "" : "cdc_ether";
}

/// Where the device's folder is below the interface's.
std::string device_folder(const UsbInterface &interface)
{
    switch (interface.kind) {
    case Interface::Kind::ttyUSB:
        return interface.device + "/tty/" + interface.device;
    case Interface::Kind::ttyACM:
        return "tty/" + interface.device;
    case Interface::Kind::cdc_wdm:
        return "usbmisc/" + interface.device;
    case Interface::Kind::none:
        break;
    }
    return {};
}

const char *class_of(const UsbInterface &interface)
{
    return interface.kind == Interface::Kind::cdc_wdm ? "usbmisc" : "tty";
}

// Every device that is plugged in gets a new number.
int last_device_number = 0;

void make_usb_device(const fs::path &folder, uint16_t vendor, uint16_t product, const std::string &name)
{
    make_device(folder, "DEVTYPE=usb_device\nDRIVER=usb");
    put(folder / "idVendor", hex(4, vendor));
    put(folder / "idProduct", hex(4, product));
    put(folder / "product", name);
    put(folder / "devnum", std::to_string(++last_device_number));
    put(folder / "speed", "480");
    put(folder / "bConfigurationValue", "1");
    put(folder / "authorized", "1");
}

constexpr const char *platform_folders[] = {"cpus/power",
                                            "gpio-keys/input/input0",
                                            "leds/leds/green:power",
                                            "leds/leds/green:modem",
                                            "regulatory.0",
                                            "reg-dummy/power",
                                            "soc/1000000.pinctrl/gpio/gpiochip0",
                                            "soc/78af000.serial/tty/ttyMSM0",
                                            "soc/78b5000.spi/spi_master/spi0/spi0.0/mtd/mtd0",
                                            "soc/a000000.wifi/ieee80211/phy0",
                                            "soc/a000000.wifi/net/wlan0",
                                            "soc/c080000.edma/net/eth0/statistics",
                                            "soc/c080000.edma/net/eth1/statistics"};

} // namespace

std::string usb_device_folder(const std::string &bus)
{
    std::string folder = controller_folder(bus.substr(0, bus.find('-')));
    for (size_t dot = bus.find('.'); dot != std::string::npos; dot = bus.find('.', dot + 1))
        folder += '/' + bus.substr(0, dot);
    return folder + '/' + bus;
}

void SysfsTree::build(size_t extra_folders) const
{
    const fs::path root = root_;
    const fs::path platform = root / "devices/platform";
    for (const char *folder : platform_folders)
        fs::create_directories(platform / folder);
    for (const char *folder :
         {"bus/usb/devices", "bus/usb/drivers", "bus/usb-serial/devices", "class/tty", "class/net", "class/usbmisc",
          "class/leds", "class/gpio", "kernel", "firmware", "fs", "module", "block"})
        fs::create_directories(root / folder);
    for (const char *name : {"1", "2"}) {
        const fs::path controller = platform / controller_folder(name);
        make_usb_device(controller, 0x1d6b, 2, "xHCI Host Controller");
        link(root / "bus/usb/devices" / controller.filename(), controller);
    }
    for (size_t i = 0; i < extra_folders; i++)
        fs::create_directories(platform / "soc" /
                               (hex(7, 0x7000000 + static_cast<unsigned>(i) * 0x1000) + ".peripheral"));
}

void SysfsTree::add(const UsbDevice &device) const
{
    const fs::path root = root_;
    const fs::path folder = root / "devices/platform" / usb_device_folder(device.bus);
    for (fs::path hub = folder.parent_path(); !fs::exists(hub); hub = hub.parent_path()) {
        make_usb_device(hub, 0x05e3, 0x0610, "USB2.1 Hub");
        link(root / "bus/usb/devices" / hub.filename(), hub);
    }
    make_usb_device(folder, device.vendor_id, device.product_id, device.product);
    link(root / "bus/usb/devices" / device.bus, folder);
    link(folder / "subsystem", root / "bus/usb");
    for (const UsbInterface &interface : device.interfaces)
        add_interface(device, interface);
}

void SysfsTree::add_interface(const UsbDevice &device, const UsbInterface &interface) const
{
    const fs::path root = root_;
    const std::string name = device.bus + ":1." + std::to_string(interface.number);
    const fs::path folder = root / "devices/platform" / usb_device_folder(device.bus) / name;
    make_device(folder, "DEVTYPE=usb_interface");
    put(folder / "bInterfaceNumber", hex(2, static_cast<unsigned>(interface.number)));
    put(folder / "bInterfaceClass", interface.kind == Interface::Kind::ttyACM ? "02" : "ff");
    link(folder / "subsystem", root / "bus/usb");
    link(root / "bus/usb/devices" / name, folder);
    if (const std::string driver = driver_of(interface); !driver.empty()) {
        fs::create_directories(root / "bus/usb/drivers" / driver);
        link(folder / "driver", root / "bus/usb/drivers" / driver);
    }
    if (!interface.device.empty()) {
        const fs::path node = folder / device_folder(interface);
        make_device(node, "DEVNAME=" + interface.device);
        link(node / "device", node.parent_path().parent_path());
        link(root / "class" / class_of(interface) / interface.device, node);
    }
    if (!interface.netdev.empty()) {
        const fs::path node = folder / "net" / interface.netdev;
        make_device(node, "INTERFACE=" + interface.netdev);
        fs::create_directories(node / "statistics");
        link(node / "device", folder);
        link(root / "class/net" / interface.netdev, node);
    }
}

void SysfsTree::remove(const UsbDevice &device) const
{
    for (const std::string &path : class_links(device))
        fs::remove(root_ + path);
    fs::remove_all(fs::path(root_) / "devices/platform" / usb_device_folder(device.bus));
}

std::vector<std::string> SysfsTree::class_links(const UsbDevice &device) const
{
    std::vector<std::string> links{"/bus/usb/devices/" + device.bus};
    for (const UsbInterface &interface : device.interfaces) {
        links.push_back("/bus/usb/devices/" + device.bus + ":1." + std::to_string(interface.number));
        if (!interface.device.empty())
            links.push_back(std::string("/class/") + class_of(interface) + '/' + interface.device);
        if (!interface.netdev.empty())
            links.push_back("/class/net/" + interface.netdev);
    }
    return links;
}

} // namespace simulator
