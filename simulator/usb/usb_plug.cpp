#include "simulator/usb/usb_plug.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "simulator/usb/uplink.h"

namespace simulator {

namespace {

namespace fs = std::filesystem;

constexpr int64_t look_for_names_ms = 20;
constexpr const char *serial_ids = "/sys/bus/usb-serial/drivers/option1/new_id";

/// The first entry of folder that begins like this; empty without one.
std::string find_entry(const fs::path &folder, std::string_view beginning)
{
    std::error_code not_there;
    for (const auto &entry : fs::directory_iterator(folder, not_there))
        if (const std::string name = entry.path().filename(); name.starts_with(beginning))
            return name;
    return {};
}

/// The kernel's drivers make a network device for QMI and what is a standard. A maker's own "none" has no driver here.
bool has_netdev(const Interface &interface)
{
    return !interface.netdev.empty() && (interface.has_channel() || interface.is_standard());
}

} // namespace

UsbPort::UsbPort(EventLoop &loop, Fd devices, LinkDemand demand, std::function<void()> netdevs_changed)
    : loop_(loop), devices_(std::move(devices)), demand_(std::move(demand)),
      netdevs_changed_(std::move(netdevs_changed))
{
    loop_.watch(devices_.get(), EPOLLIN, [this](uint32_t) { on_ready(); });
}

UsbPort::~UsbPort()
{
    loop_.unwatch(devices_.get());
}

uint8_t UsbPort::add(UsbPlug &plug)
{
    plugs_.push_back(&plug);
    return static_cast<uint8_t>(plugs_.size() - 1);
}

void UsbPort::send(const UsbMessage &message)
{
    send_message(devices_, message);
}

void UsbPort::on_ready()
{
    while (const auto message = take_message(devices_))
        if (message->modem < plugs_.size())
            plugs_[message->modem]->on_message(*message);
    char byte = 0;
    if (recv(devices_.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0)
        loop_.unwatch(devices_.get()); // it has ended: nothing more will come
}

UsbPlug::UsbPlug(UsbPort &port, const std::string &bus, const Profile &profile, Received received)
    : port_(port), profile_(profile), received_(std::move(received)), number_(port.add(*this))
{
    device_ = {.bus = bus,
               .product = profile.model,
               .vendor_id = profile.vendor_id,
               .product_id = profile.product_id,
               .interfaces = {}};
    for (const Interface &interface : profile.interfaces)
        device_.interfaces.push_back({.number = interface.number, .kind = interface.kind, .device = {}, .netdev = {}});
}

UsbPlug::~UsbPlug()
{
    port_.loop().cancel(timer_);
}

void UsbPlug::attach(bool, std::function<void()> plugged)
{
    plugged_ = std::move(plugged);
    port_.send({.kind = UsbMessage::Kind::plug, .modem = number_});
    wait_for_names();
}

/// A router's kernel knows more modems than Debian's: its drivers are told by the same file.
void UsbPlug::tell_driver()
{
    if (is_told_)
        return;
    is_told_ = true;
    std::array<char, 16> ids;
    snprintf(ids.data(), ids.size(), "%04x %04x", device_.vendor_id, device_.product_id);
    const Fd file(open(serial_ids, O_WRONLY | O_CLOEXEC));
    if (file && write(file.get(), ids.data(), strlen(ids.data())) < 0)
        return; // it cannot know them any better; what is missing is said at the end
}

void UsbPlug::wait_for_names()
{
    // The link comes when the kernel is through with all drivers that it knows. It is looked for first: a driver that
    // is told of a modem which another one knows takes that modem's network interfaces when it comes again.
    const bool is_probed = fs::exists("/sys/bus/usb/devices/" + device_.bus + "/port");
    if (!find_names()) {
        if (is_probed)
            tell_driver();
        timer_ = port_.loop().at(EventLoop::now_ms() + look_for_names_ms, [this] { wait_for_names(); });
        return;
    }
    port_.say_netdevs_changed();
    plugged_();
}

/// @return false as long as a driver has not made its device
bool UsbPlug::find_names()
{
    missing_.clear();
    for (size_t i = 0; i < device_.interfaces.size(); i++) {
        const Interface &interface = profile_.interfaces[i];
        UsbInterface &named = device_.interfaces[i];
        const fs::path folder = "/sys/bus/usb/devices/" + device_.bus + ":1." + std::to_string(interface.number);
        if (interface.has_channel())
            named.device = find_entry(folder / "usbmisc", "cdc-wdm");
        else if (interface.kind != Interface::Kind::none)
            named.device = find_entry(folder, "ttyUSB");
        if (has_netdev(interface))
            named.netdev = find_entry(folder / "net", "");
        const bool has_device = interface.kind != Interface::Kind::none || interface.has_channel();
        const bool is_device_missing = has_device && (named.device.empty() || !fs::exists("/dev/" + named.device));
        if (is_device_missing || (has_netdev(interface) && named.netdev.empty()))
            missing_ += ' ' + std::to_string(interface.number);
    }
    return missing_.empty();
}

void UsbPlug::detach()
{
    port_.loop().cancel(timer_);
    port_.send({.kind = UsbMessage::Kind::unplug, .modem = number_});
    port_.say_netdevs_changed();
}

bool UsbPlug::send(int interface, std::string_view bytes)
{
    for (size_t start = 0; start < bytes.size(); start += most_usb_bytes)
        port_.send({.kind = UsbMessage::Kind::bytes,
                    .modem = number_,
                    .interface = static_cast<uint8_t>(interface),
                    .bytes = std::string(bytes.substr(start, most_usb_bytes))});
    return true;
}

void UsbPlug::on_message(const UsbMessage &message)
{
    if (message.kind == UsbMessage::Kind::bytes)
        received_(message.interface, message.bytes);
    else if (message.kind == UsbMessage::Kind::call_news && !message.bytes.empty())
        called_(message.interface, static_cast<CallNews>(message.bytes[0]));
}

/// What the operator wants to know besides the APN is asked by PPP itself.
bool UsbPlug::may_call(const std::string &apn) const
{
    LinkDemand demand = port_.demand();
    demand.username.reset();
    demand.password.reset();
    return lets_in(demand, {.apn = apn, .context_apn = apn});
}

void UsbPlug::order(UsbMessage::Kind kind, int interface, const std::string &bytes)
{
    port_.send({.kind = kind, .modem = number_, .interface = static_cast<uint8_t>(interface), .bytes = bytes});
}

void UsbPlug::stick()
{
    port_.send({.kind = UsbMessage::Kind::stick, .modem = number_});
}

} // namespace simulator
