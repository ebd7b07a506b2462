#include "simulator/router/terminal_plug.h"

namespace simulator {

namespace {

const char *prefix_of(Interface::Kind kind)
{
    switch (kind) {
    case Interface::Kind::ttyUSB:
        return "ttyUSB";
    case Interface::Kind::ttyACM:
        return "ttyACM";
    case Interface::Kind::cdc_wdm:
        return "cdc-wdm";
    case Interface::Kind::none:
        break;
    }
    return nullptr;
}

} // namespace

std::string DeviceNames::take(const std::string &prefix, int first)
{
    for (int number = first;; number++)
        if (const auto [name, is_new] = taken_.insert(prefix + std::to_string(number)); is_new)
            return *name;
}

TerminalPlug::TerminalPlug(TerminalParts &parts, const std::string &bus, const Profile &profile, Received received)
    : parts_(parts), profile_(profile), received_(std::move(received))
{
    device_.bus = bus;
    device_.product = profile.model;
    device_.vendor_id = profile.vendor_id;
    device_.product_id = profile.product_id;
    name_devices();
}

void TerminalPlug::name_devices()
{
    device_.interfaces.clear();
    for (const Interface &interface : profile_.interfaces) {
        UsbInterface named{.number = interface.number, .kind = interface.kind, .device = {}, .netdev = {}};
        if (const char *prefix = prefix_of(interface.kind))
            named.device = parts_.names.take(prefix);
        if (!interface.netdev.empty()) {
            const size_t digits = interface.netdev.find_last_not_of("0123456789") + 1;
            const std::string number = interface.netdev.substr(digits, 4);
            named.netdev =
                parts_.names.take(interface.netdev.substr(0, digits), number.empty() ? 0 : std::stoi(number));
        }
        device_.interfaces.push_back(named);
    }
}

void TerminalPlug::attach(bool renumbered, std::function<void()> plugged)
{
    if (renumbered) {
        const UsbDevice before = device_;
        name_devices();
        for (const UsbInterface &interface : before.interfaces) {
            parts_.names.release(interface.device);
            parts_.names.release(interface.netdev);
        }
    }
    for (const UsbInterface &interface : device_.interfaces) {
        if (!interface.device.empty()) {
            const bool serial = interface.kind != Interface::Kind::cdc_wdm;
            terminals_[interface.number] = std::make_unique<Terminal>(
                parts_.loop, "/dev/" + interface.device,
                serial ? Terminal::Manner::serial : Terminal::Manner::transparent,
                [this, number = interface.number](std::string_view bytes) { received_(number, bytes); });
        }
        if (!interface.netdev.empty())
            parts_.set_netdev(interface.netdev, true);
    }
    parts_.sysfs.add(device_);
    parts_.devices_changed();
    plugged();
}

void TerminalPlug::detach()
{
    parts_.sysfs.remove(device_);
    for (const UsbInterface &interface : device_.interfaces)
        if (!interface.netdev.empty())
            parts_.set_netdev(interface.netdev, false);
    for (const auto &[interface, terminal] : terminals_)
        terminal->remove_node();
    terminals_.clear();
    parts_.devices_changed();
}

bool TerminalPlug::send(int interface, std::string_view bytes)
{
    const auto terminal = terminals_.find(interface);
    return terminal != terminals_.end() && terminal->second->send(bytes);
}

} // namespace simulator
