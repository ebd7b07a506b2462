#include "simulator/router/plugged_modem.h"

#include <algorithm>

#include "simulator/usb/network_line.h"

namespace simulator {

PluggedModem::PluggedModem(RouterParts &parts, std::string bus, Modem modem)
    : parts_(parts), modem_(std::move(modem)),
      plug_(parts.make_plug(bus, modem_.profile(),
                            [this](int interface, std::string_view bytes) { on_received(interface, bytes); }))
{
    plug_->watch_calls([this](int interface, CallNews news) { on_call_news(interface, news); });
    start_control();
    attach(false, false);
    if (modem_.takes_no_bytes())
        plug_->stick();
    wait_for_next();
}

PluggedModem::~PluggedModem()
{
    parts_.loop.cancel(timer_);
}

bool PluggedModem::has_device(std::string_view name) const
{
    return std::ranges::any_of(plug_->device().interfaces, [&](const UsbInterface &interface) {
        return (!interface.device.empty() && name == "/dev/" + interface.device) ||
               (!interface.netdev.empty() && name == interface.netdev);
    });
}

std::string PluggedModem::netdev_of(std::string_view name) const
{
    std::string first;
    for (const UsbInterface &interface : plug_->device().interfaces) {
        if (!interface.netdev.empty() && name == "/dev/" + interface.device)
            return interface.netdev;
        if (first.empty())
            first = interface.netdev;
    }
    return first;
}

void PluggedModem::attach(bool renumbered, bool is_back)
{
    is_away_ = false;
    plug_->attach(renumbered, [this, is_back] {
        is_plugged_ = true;
        if (is_back)
            parts_.journal.add("device", bus(), "back");
    });
}

/// The modem's answers leave from on_due, so that a device that disappears with its answer is not destroyed while it is
/// being read.
void PluggedModem::on_received(int interface, std::string_view bytes)
{
    parts_.log.add(device_name(interface), ">", bytes);
    if (qmi_ && interface == qmi_interface_)
        qmi_->receive(bytes, EventLoop::now_ms());
    else if (mbim_ && interface == qmi_interface_)
        mbim_->receive(bytes, EventLoop::now_ms());
    else
        modem_.receive(interface, bytes, EventLoop::now_ms());
    if (qmi_)
        qmi_->look(EventLoop::now_ms());
    if (mbim_)
        mbim_->look();
    report_unknown();
    wait_for_next();
}

void PluggedModem::on_due()
{
    for (const Event &event : modem_.take_due(EventLoop::now_ms())) {
        switch (event.kind) {
        case Event::Kind::bytes:
            send(event);
            break;
        case Event::Kind::gone:
            parts_.journal.add("device", bus(), "gone");
            is_plugged_ = false;
            is_away_ = true;
            if (qmi_)
                qmi_->forget();
            if (mbim_)
                mbim_->forget();
            plug_->detach();
            break;
        case Event::Kind::back:
            attach(event.renumbered, true);
            break;
        default:
            work_call(event);
        }
    }
    if (qmi_ && is_plugged_)
        qmi_->look(EventLoop::now_ms());
    if (mbim_ && is_plugged_)
        mbim_->look();
    report_unknown();
    wait_for_next();
}

void PluggedModem::send(const Event &event)
{
    if (is_away_)
        return;
    const bool arrived = plug_->send(event.interface, event.bytes);
    parts_.log.add(device_name(event.interface), arrived ? "<" : "lost", event.bytes);
}

void PluggedModem::work_call(const Event &event)
{
    if (is_away_)
        return;
    if (event.kind == Event::Kind::online)
        return plug_->go_online(event.interface);
    if (event.kind == Event::Kind::hold)
        return plug_->hold_call(event.interface);
    if (event.kind == Event::Kind::hang_up)
        return plug_->hang_up(event.interface);
    if (event.kind == Event::Kind::open_data || event.kind == Event::Kind::close_data)
        return work_data(event);
    const bool may_call = plug_->may_call(modem_.variable("apn_" + event.context));
    modem_.answer_dial(event.interface, may_call, EventLoop::now_ms());
}

/// The session of the interface that needs no messages of its own to come online.
void PluggedModem::work_data(const Event &event)
{
    using Network = Interface::Network;
    const auto &interfaces = modem_.profile().interfaces;
    const auto found = std::ranges::find_if(interfaces, [](const Interface &interface) {
        return interface.network == Network::ecm || interface.network == Network::ncm;
    });
    if (found == interfaces.end())
        return;
    if (event.kind == Event::Kind::close_data)
        return plug_->close_line(found->number);
    const std::string apn = modem_.variable("apn_" + event.context);
    plug_->open_line(found->number,
                     line_order_text({.framing = Framing::ethernet,
                                      .credentials = {.apn = apn,
                                                      .user = modem_.variable("user_" + event.context),
                                                      .password = modem_.variable("password_" + event.context),
                                                      .context_apn = apn}}));
}

void PluggedModem::on_call_news(int interface, CallNews news)
{
    const int64_t now = EventLoop::now_ms();
    if (news == CallNews::escaped)
        modem_.escape(interface, now);
    else if (news == CallNews::dtr_lost)
        modem_.drop_dtr(interface, now);
    else
        modem_.end_call(interface, now);
    wait_for_next();
}

void PluggedModem::start_control()
{
    const auto &interfaces = modem_.profile().interfaces;
    const auto found = std::ranges::find_if(interfaces, &Interface::has_channel);
    const int number = plug_->line_number();
    if (number == 0 || found == interfaces.end())
        return;
    qmi_interface_ = found->number;
    const ControlHost host{
        .send =
            [this](std::string_view message) {
                plug_->send(qmi_interface_, message);
                parts_.log.add(device_name(qmi_interface_), "<", message);
            },
        .open_line = [this](const LineOrder &order) { plug_->open_line(qmi_interface_, line_order_text(order)); },
        .close_line = [this] { plug_->close_line(qmi_interface_); }};
    if (found->network == Interface::Network::mbim)
        mbim_.emplace(modem_, parts_.demand, number, host);
    else
        qmi_.emplace(modem_, parts_.demand, number, host);
}

void PluggedModem::report_unknown()
{
    const auto &unknown = modem_.unknown_commands();
    for (; reported_unknown_ < unknown.size(); reported_unknown_++)
        parts_.journal.add("unknown", bus(), unknown[reported_unknown_].command);
}

void PluggedModem::wait_for_next()
{
    parts_.loop.cancel(timer_);
    if (const auto due = modem_.next_due())
        timer_ = parts_.loop.at(*due, [this] { on_due(); });
}

std::string PluggedModem::device_name(int interface) const
{
    const auto found = std::ranges::find(plug_->device().interfaces, interface, &UsbInterface::number);
    return found == plug_->device().interfaces.end() || found->device.empty() ? std::string("?") : found->device;
}

} // namespace simulator
