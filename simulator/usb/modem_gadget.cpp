#include "simulator/usb/modem_gadget.h"

#include <algorithm>

namespace simulator {

namespace {

// Requests of the class of communication devices.
constexpr uint8_t to_interface = 0x21;
constexpr uint8_t from_interface = 0xa1;
constexpr uint8_t send_message_request = 0x00;
constexpr uint8_t get_message_request = 0x01;
constexpr uint8_t set_line_state = 0x22;
constexpr uint16_t dtr = 1;
constexpr uint8_t reset_function = 0x05;
constexpr uint8_t set_packet_filter = 0x43;
constexpr uint8_t get_ntb_parameters = 0x80;
constexpr uint8_t get_ntb_format = 0x83;
constexpr uint8_t set_ntb_format = 0x84;
constexpr uint8_t get_ntb_input_size = 0x85;
constexpr uint8_t set_ntb_input_size = 0x86;
constexpr uint8_t get_checksum_mode = 0x89;
constexpr uint8_t set_checksum_mode = 0x8a;

// Notifications.
constexpr char network_connection = 0x00;
constexpr char message_there = 0x01;
constexpr char speed_change = 0x2a;
constexpr uint32_t bits_per_second = 150'000'000;

/// More would only wait in front of a host that is slow.
constexpr size_t most_waiting_frames = size_t{32} * 1024;
constexpr size_t most_waiting_messages = 64;

/// The requests of network interfaces that have an answer and change nothing here.
std::optional<std::string> network_answer(const UsbRequest &request)
{
    if (request.type == to_interface)
        for (const uint8_t accepted :
             {reset_function, set_packet_filter, set_ntb_format, set_ntb_input_size, set_checksum_mode})
            if (request.request == accepted)
                return std::string();
    if (request.type != from_interface)
        return std::nullopt;
    switch (request.request) {
    case get_ntb_parameters:
        return ntb_parameters();
    case get_ntb_input_size:
        return little_endian(most_ntb_bytes, 4);
    case get_ntb_format:
    case get_checksum_mode:
        return little_endian(0, 2);
    default:
        return std::nullopt;
    }
}

} // namespace

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
    if (!endpoints->has_messages)
        return send(endpoints->in, bytes);
    std::deque<std::string> &messages = messages_[interface];
    if (messages.size() >= most_waiting_messages)
        return;
    messages.emplace_back(bytes);
    tell_of_message(*endpoints);
}

void ModemGadget::tell_of_message(const InterfaceEndpoints &endpoints)
{
    send(endpoints.notify, std::string{static_cast<char>(from_interface), message_there} + little_endian(0, 2) +
                               little_endian(static_cast<uint32_t>(endpoints.interface), 2) + little_endian(0, 2));
}

void ModemGadget::send_frame(int interface, std::string_view frame)
{
    const InterfaceEndpoints *endpoints = find(interface);
    if (endpoints == nullptr || !endpoints->is_network)
        return;
    if (endpoints->blocks)
        send(endpoints->in, ntb_of({&frame, 1}, *endpoints->blocks, sequence_++));
    else
        send(endpoints->in, frame);
}

void ModemGadget::set_connected(int interface, bool connected)
{
    const InterfaceEndpoints *endpoints = find(interface);
    if (endpoints == nullptr || !endpoints->is_network || endpoints->has_messages)
        return;
    const std::string index = little_endian(static_cast<uint32_t>(interface), 2);
    // NCM tells its speed first, in both directions.
    if (connected && endpoints->blocks)
        send(endpoints->notify, std::string{static_cast<char>(from_interface), speed_change} + little_endian(0, 2) +
                                    index + little_endian(8, 2) + little_endian(bits_per_second, 4) +
                                    little_endian(bits_per_second, 4));
    send(endpoints->notify, std::string{static_cast<char>(from_interface), network_connection} +
                                little_endian(connected ? 1 : 0, 2) + index + little_endian(0, 2));
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
    const bool has_messages = endpoints != nullptr && endpoints->has_messages;
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
        // The driver may have heard of it just when its channel was closed. Without another word the next program would
        // get the answers one too late.
        if (!messages.empty() && kept_bytes(endpoints->notify) == 0)
            tell_of_message(*endpoints);
        return message;
    }
    return endpoints != nullptr && endpoints->is_network ? network_answer(request) : std::nullopt;
}

void ModemGadget::on_bytes(int endpoint, std::string_view bytes)
{
    const auto found = std::ranges::find(endpoints_, endpoint, &InterfaceEndpoints::out);
    if (found == endpoints_.end())
        return;
    if (found->blocks)
        for (const std::string_view frame : datagrams_of(bytes, *found->blocks))
            events_.frame(found->interface, frame);
    else if (found->is_network)
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
