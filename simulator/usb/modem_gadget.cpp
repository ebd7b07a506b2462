#include "simulator/usb/modem_gadget.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr uint8_t bulk = 2;
constexpr uint8_t interrupt = 3;
constexpr uint16_t bulk_bytes = 512;
constexpr uint16_t notification_bytes = 16;
constexpr uint8_t notification_interval = 9;

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

constexpr int maker_text = 1;
constexpr int product_text = 2;
constexpr int address_text = 3;
/// The host's end; the second digit makes it one that no maker has given away, so that the kernel's name is usb0.
constexpr const char *host_address = "02000000000A";

/// The numbers by which drivers choose their interfaces.
struct InterfaceClass {
    uint8_t main;
    uint8_t sub;
    uint8_t protocol;
};
constexpr InterfaceClass makers_own{0xff, 0xff, 0xff};
constexpr InterfaceClass serial{0xff, 0, 0};

std::string interface_descriptor(int number, int endpoints, InterfaceClass kind, int alternate = 0)
{
    return std::string{9, 4, static_cast<char>(number), static_cast<char>(alternate), static_cast<char>(endpoints)} +
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

/// What parts the standards: the classes of the two interfaces, and what they say of themselves.
struct NetworkKind {
    InterfaceClass control;
    InterfaceClass data;
    std::string functions; ///< beside the header and what binds the two interfaces
    std::optional<NtbContent> blocks;
};

NetworkKind network_kind(Interface::Network network)
{
    // the text with the address, no statistics, frames of 1514 bytes, no filters
    const std::string ethernet =
        std::string{13, 0x24, 15, address_text} + little_endian(0, 4) + little_endian(1514, 2) + little_endian(0, 3);
    switch (network) {
    case Interface::Network::ncm:
        // version 1.0, takes packet filters
        return {{2, 13, 0}, {10, 0, 1}, ethernet + std::string{6, 0x24, 26, 0, 1, 1}, NtbContent::ethernet};
    case Interface::Network::mbim:
        // version 1.0, messages of 4096 bytes, 16 filters of 128 bytes, packets of 2048 bytes, NTB input sizes of 8
        // bytes
        return {{2, 14, 0},
                {10, 0, 2},
                std::string{12, 0x24, 27, 0, 1} + little_endian(4096, 2) + std::string{16, '\x80'} +
                    little_endian(2048, 2) + std::string{0x20},
                NtbContent::packets};
    default:
        return {{2, 6, 0}, {10, 0, 0}, ethernet, std::nullopt};
    }
}

/// Two interfaces: notifications and requests on the first, data on the second, once the host has turned that on.
std::string network_function(Interface::Network network, InterfaceEndpoints &own, EndpointNumbers &numbers)
{
    const NetworkKind kind = network_kind(network);
    const auto first = static_cast<char>(own.interface);
    const auto second = static_cast<char>(own.interface + 1);
    own.is_network = true;
    own.has_messages = network == Interface::Network::mbim;
    own.blocks = kind.blocks;
    std::string text = std::string{8, 11, first, 2, 2, static_cast<char>(kind.control.sub), 0, 0};
    text += interface_descriptor(own.interface, 1, kind.control);
    // the version of the class, 1.10, and which interface belongs to which
    text += std::string{5, 0x24, 0, 0x10, 1} + std::string{5, 0x24, 6, first, second} + kind.functions;
    text += numbers.notification(own);
    text += interface_descriptor(own.interface + 1, 0, kind.data);
    return text + interface_descriptor(own.interface + 1, 2, kind.data, 1) + numbers.bulk_pair(own);
}

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

bool is_function(const Interface &interface)
{
    return interface.network != Interface::Network::makers_own;
}

} // namespace

ModemLayout modem_layout(const Profile &profile)
{
    ModemLayout layout;
    EndpointNumbers numbers;
    std::string interfaces;
    size_t count = 0;
    for (const Interface &interface : profile.interfaces) {
        InterfaceEndpoints own{.interface = interface.number};
        if (const Interface *before = profile.interface(interface.number - 1);
            before != nullptr && is_function(*before))
            continue; // its second interface
        count++;
        if (is_function(interface)) {
            interfaces += network_function(interface.network, own, numbers);
            count++;
        } else if (interface.kind == Interface::Kind::none) {
            interfaces += interface_descriptor(interface.number, 0, makers_own);
        } else if (interface.kind == Interface::Kind::ttyUSB && interface.number == 0) {
            // The diagnostics: what looks at the drivers' tables tells it from QMI by its two endpoints.
            interfaces += interface_descriptor(interface.number, 2, makers_own) + numbers.bulk_pair(own);
        } else {
            own.is_network = own.has_messages = interface.kind == Interface::Kind::cdc_wdm;
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
                         std::string{static_cast<char>(count), 1, 0, '\xe0', '\xfa'} + interfaces,
        .texts = {{maker_text, "Simulated"}, {product_text, profile.model}, {address_text, host_address}}};
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
    if (!endpoints->has_messages)
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
