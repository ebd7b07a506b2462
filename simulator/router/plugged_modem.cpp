#include "simulator/router/plugged_modem.h"

#include <algorithm>

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

PluggedModem::PluggedModem(RouterParts &parts, std::string bus, Modem modem) : parts_(parts), modem_(std::move(modem))
{
    const Profile &profile = modem_.profile();
    device_.bus = std::move(bus);
    device_.product = profile.model;
    device_.vendor_id = profile.vendor_id;
    device_.product_id = profile.product_id;
    name_devices();
    attach();
    wait_for_next();
}

PluggedModem::~PluggedModem()
{
    parts_.loop.cancel(timer_);
}

bool PluggedModem::has_device(std::string_view name) const
{
    return std::ranges::any_of(device_.interfaces, [&](const UsbInterface &interface) {
        return (!interface.device.empty() && name == "/dev/" + interface.device) ||
               (!interface.netdev.empty() && name == interface.netdev);
    });
}

std::string PluggedModem::netdev_of(std::string_view name) const
{
    std::string first;
    for (const UsbInterface &interface : device_.interfaces) {
        if (!interface.netdev.empty() && name == "/dev/" + interface.device)
            return interface.netdev;
        if (first.empty())
            first = interface.netdev;
    }
    return first;
}

void PluggedModem::name_devices()
{
    device_.interfaces.clear();
    for (const Interface &interface : modem_.profile().interfaces) {
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

void PluggedModem::attach()
{
    for (const UsbInterface &interface : device_.interfaces) {
        if (!interface.device.empty()) {
            const bool serial = interface.kind != Interface::Kind::cdc_wdm;
            terminals_[interface.number] = std::make_unique<Terminal>(
                parts_.loop, "/dev/" + interface.device,
                serial ? Terminal::Manner::serial : Terminal::Manner::transparent,
                [this, number = interface.number](std::string_view bytes) { on_received(number, bytes); });
        }
        if (!interface.netdev.empty())
            parts_.set_netdev(interface.netdev, true);
    }
    parts_.sysfs.add(device_);
}

void PluggedModem::detach()
{
    parts_.sysfs.remove(device_);
    for (const UsbInterface &interface : device_.interfaces)
        if (!interface.netdev.empty())
            parts_.set_netdev(interface.netdev, false);
    for (const auto &[interface, terminal] : terminals_)
        terminal->remove_node();
    terminals_.clear();
}

/// The modem's answers leave from on_due, so that a device that disappears with its answer is not destroyed while it is
/// being read.
void PluggedModem::on_received(int interface, std::string_view bytes)
{
    parts_.log.add(device_name(interface), ">", bytes);
    modem_.receive(interface, bytes, EventLoop::now_ms());
    report_unknown();
    wait_for_next();
}

void PluggedModem::on_due()
{
    for (const Event &event : modem_.take_due(EventLoop::now_ms())) {
        if (event.kind == Event::Kind::bytes) {
            send(event);
        } else if (event.kind == Event::Kind::gone) {
            parts_.journal.add("device", device_.bus, "gone");
            detach();
        } else {
            if (event.renumbered) {
                const UsbDevice before = device_;
                name_devices();
                for (const UsbInterface &interface : before.interfaces) {
                    parts_.names.release(interface.device);
                    parts_.names.release(interface.netdev);
                }
            }
            attach();
            parts_.journal.add("device", device_.bus, "back");
        }
    }
    report_unknown();
    wait_for_next();
}

void PluggedModem::send(const Event &event)
{
    const auto terminal = terminals_.find(event.interface);
    if (terminal == terminals_.end())
        return;
    const bool arrived = terminal->second->send(event.bytes);
    parts_.log.add(device_name(event.interface), arrived ? "<" : "lost", event.bytes);
}

void PluggedModem::report_unknown()
{
    const auto &unknown = modem_.unknown_commands();
    for (; reported_unknown_ < unknown.size(); reported_unknown_++)
        parts_.journal.add("unknown", device_.bus, unknown[reported_unknown_].command);
}

void PluggedModem::wait_for_next()
{
    parts_.loop.cancel(timer_);
    if (const auto due = modem_.next_due())
        timer_ = parts_.loop.at(*due, [this] { on_due(); });
}

std::string PluggedModem::device_name(int interface) const
{
    const auto found = std::ranges::find(device_.interfaces, interface, &UsbInterface::number);
    return found == device_.interfaces.end() ? std::string("?") : found->device;
}

} // namespace simulator
