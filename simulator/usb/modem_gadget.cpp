#include "simulator/usb/modem_gadget.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr uint8_t bulk = 2;
constexpr uint8_t interrupt = 3;
constexpr uint16_t bulk_bytes = 512;
constexpr uint16_t notification_bytes = 10;
constexpr uint8_t notification_interval = 9;

// Requests of the class of communication devices.
constexpr uint8_t to_interface = 0x21;
constexpr uint8_t from_interface = 0xa1;
constexpr uint8_t send_message_request = 0x00;
constexpr uint8_t get_message_request = 0x01;
constexpr uint8_t set_line_state = 0x22;
constexpr uint16_t dtr = 1;
constexpr char message_there = 1; ///< the notification of it

/// More would only wait in front of a host that is slow.
constexpr size_t most_waiting_frames = size_t{32} * 1024;
constexpr size_t most_waiting_messages = 64;

constexpr int maker_text = 1;
constexpr int product_text = 2;

/// The numbers by which drivers choose their interfaces.
struct InterfaceClass {
    uint8_t main;
    uint8_t sub;
    uint8_t protocol;
};
constexpr InterfaceClass makers_own{0xff, 0xff, 0xff};
constexpr InterfaceClass serial{0xff, 0, 0};

std::string interface_descriptor(int number, int endpoints, InterfaceClass kind)
{
    return std::string{9, 4, static_cast<char>(number), 0, static_cast<char>(endpoints)} +
           std::string{static_cast<char>(kind.main), static_cast<char>(kind.sub), static_cast<char>(kind.protocol), 0};
}

/// Gives each endpoint the next free number.
class EndpointNumbers {
  public:
    std::string bulk_pair(InterfaceEndpoints &endpoints)
    {
        endpoints.in = ++in_;
        endpoints.out = ++out_;
        return endpoint_descriptor(static_cast<uint8_t>(0x80 | endpoints.in), bulk, bulk_bytes, 0) +
               endpoint_descriptor(static_cast<uint8_t>(endpoints.out), bulk, bulk_bytes, 0);
    }
    std::string notification(InterfaceEndpoints &endpoints)
    {
        endpoints.notify = ++in_;
        return endpoint_descriptor(static_cast<uint8_t>(0x80 | endpoints.notify), interrupt, notification_bytes,
                                   notification_interval);
    }

  private:
    int in_ = 0;
    int out_ = 0;
};

} // namespace

ModemLayout modem_layout(const Profile &profile)
{
    ModemLayout layout;
    EndpointNumbers numbers;
    std::string interfaces;
    for (const Interface &interface : profile.interfaces) {
        InterfaceEndpoints own{.interface = interface.number};
        if (interface.kind == Interface::Kind::none) {
            interfaces += interface_descriptor(interface.number, 0, makers_own);
        } else if (interface.kind == Interface::Kind::ttyUSB && interface.number == 0) {
            // The diagnostics: what looks at the drivers' tables tells it from QMI by its two endpoints.
            interfaces += interface_descriptor(interface.number, 2, makers_own) + numbers.bulk_pair(own);
        } else {
            own.is_network = interface.kind == Interface::Kind::cdc_wdm;
            interfaces += interface_descriptor(interface.number, 3, own.is_network ? makers_own : serial);
            interfaces += numbers.notification(own);
            interfaces += numbers.bulk_pair(own);
        }
        layout.endpoints.push_back(own);
    }
    // A device of several functions, high speed; one configuration, powered by itself, up to 500 mA.
    layout.descriptors = {
        .device = std::string{18, 1} + little_endian(0x200, 2) + std::string{'\xef', 2, 1, 64} +
                  little_endian(profile.vendor_id, 2) + little_endian(profile.product_id, 2) + little_endian(0x318, 2) +
                  std::string{maker_text, product_text, 0, 1},
        .configuration = std::string{9, 2} + little_endian(static_cast<uint32_t>(9 + interfaces.size()), 2) +
                         std::string{static_cast<char>(profile.interfaces.size()), 1, 0, '\xe0', '\xfa'} + interfaces,
        .texts = {{maker_text, "Simulated"}, {product_text, profile.model}}};
    return layout;
}

ModemGadget::ModemGadget(EventLoop &loop, unsigned port, const ModemLayout &layout, GadgetEvents events)
    : UsbGadget(loop, port, layout.descriptors), endpoints_(layout.endpoints), events_(std::move(events))
{
}

const InterfaceEndpoints *ModemGadget::find(int interface) const
{
    const auto found = std::ranges::find(endpoints_, interface, &InterfaceEndpoints::interface);
    return found == endpoints_.end() ? nullptr : &*found;
}

void ModemGadget::send_to_host(int interface, std::string_view bytes)
{
    const InterfaceEndpoints *endpoints = find(interface);
    if (endpoints == nullptr || endpoints->in == 0)
        return;
    if (!endpoints->is_network)
        return send(endpoints->in, bytes);
    std::deque<std::string> &messages = messages_[interface];
    if (messages.size() >= most_waiting_messages)
        return;
    messages.emplace_back(bytes);
    send(endpoints->notify, std::string{static_cast<char>(from_interface), message_there} + little_endian(0, 2) +
                                little_endian(static_cast<uint32_t>(interface), 2) + little_endian(0, 2));
}

void ModemGadget::send_frame(int interface, std::string_view frame)
{
    if (const InterfaceEndpoints *endpoints = find(interface); endpoints != nullptr && endpoints->is_network)
        send(endpoints->in, frame);
}

bool ModemGadget::has_room(int interface) const
{
    const InterfaceEndpoints *endpoints = find(interface);
    return endpoints != nullptr && kept_bytes(endpoints->in) < most_waiting_frames;
}

void ModemGadget::forget_bytes(int interface)
{
    if (const InterfaceEndpoints *endpoints = find(interface))
        forget(endpoints->in);
}

void ModemGadget::set_stuck(bool stuck)
{
    for (const InterfaceEndpoints &endpoints : endpoints_)
        if (endpoints.out != 0)
            set_taking(endpoints.out, !stuck);
}

void ModemGadget::lose_messages()
{
    messages_.clear();
}

std::optional<std::string> ModemGadget::on_request(const UsbRequest &request, std::string_view data)
{
    const InterfaceEndpoints *endpoints = find(request.index);
    const bool has_messages = endpoints != nullptr && endpoints->is_network;
    if (request.type == to_interface && request.request == set_line_state) {
        if (endpoints != nullptr && !endpoints->is_network && (request.value & dtr) == 0)
            events_.dtr_lost(request.index);
        return std::string();
    }
    if (request.type == to_interface && request.request == send_message_request && has_messages) {
        events_.received(request.index, data);
        return std::string();
    }
    if (request.type == from_interface && request.request == get_message_request && has_messages) {
        std::deque<std::string> &messages = messages_[request.index];
        if (messages.empty())
            return std::string();
        std::string message = std::move(messages.front());
        messages.pop_front();
        return message;
    }
    return std::nullopt;
}

void ModemGadget::on_bytes(int endpoint, std::string_view bytes)
{
    const auto found = std::ranges::find(endpoints_, endpoint, &InterfaceEndpoints::out);
    if (found == endpoints_.end())
        return;
    if (found->is_network)
        events_.frame(found->interface, bytes);
    else
        events_.received(found->interface, bytes);
}

void ModemGadget::on_waiting(int endpoint)
{
    const auto found = std::ranges::find(endpoints_, endpoint, &InterfaceEndpoints::in);
    if (found != endpoints_.end() && has_room(found->interface))
        events_.room(found->interface);
}

} // namespace simulator
