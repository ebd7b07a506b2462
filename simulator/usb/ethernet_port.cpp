#include "simulator/usb/ethernet_port.h"

#include <cstdint>

#include "simulator/usb/bytes.h"

namespace simulator {

namespace {

constexpr size_t head_bytes = 14;
constexpr size_t hardware_bytes = 6;
enum FrameKind : uint16_t { ipv4 = 0x0800, arp = 0x0806, ipv6 = 0x86dd };

constexpr size_t ipv4_head_bytes = 20;
constexpr size_t ipv6_head_bytes = 40;
constexpr size_t udp_head_bytes = 8;
constexpr uint8_t udp = 17;
constexpr uint8_t icmp6 = 58;

// DHCP
constexpr uint16_t server_port = 67;
constexpr uint16_t client_port = 68;
constexpr size_t options_offset = 240;
enum DhcpKind : uint8_t { discover = 1, offer = 2, request = 3, acknowledged = 5, refused = 6 };
enum DhcpOption : uint8_t {
    filler = 0,
    netmask = 1,
    router = 3,
    name_servers = 6,
    wanted_address = 50,
    lease_time = 51,
    message_kind = 53,
    server = 54,
    options_end = 255
};

// ICMPv6
enum NeighbourMessage : uint8_t { router_search = 133, router_here = 134, search = 135, found = 136 };

uint16_t number_at(std::string_view bytes, size_t at)
{
    return static_cast<uint16_t>(static_cast<uint8_t>(bytes[at]) << 8 | static_cast<uint8_t>(bytes[at + 1]));
}

std::string number(uint32_t value, size_t bytes)
{
    std::string text(bytes, '\0');
    for (; bytes > 0; value >>= 8)
        text[--bytes] = static_cast<char>(value);
    return text;
}

/// The internet's sum of 16 bits.
std::string checksum(std::string bytes)
{
    bytes.resize((bytes.size() + 1) / 2 * 2);
    uint32_t sum = 0;
    for (size_t at = 0; at < bytes.size(); at += 2)
        sum += number_at(bytes, at);
    while (sum > 0xffff)
        sum = (sum & 0xffff) + (sum >> 16);
    return number(~sum & 0xffff, 2);
}

std::string ipv4_packet(const std::string &from, const std::string &to, const std::string &datagram)
{
    std::string head = number(0x4500, 2) + number(static_cast<uint32_t>(ipv4_head_bytes + datagram.size()), 2) +
                       number(0, 4) + number(64 << 8 | udp, 2) + number(0, 2) + from + to;
    head.replace(10, 2, checksum(head));
    return head + datagram;
}

std::string icmp6_packet(const std::string &from, std::string_view to, std::string message)
{
    const std::string ends = from + std::string(to);
    message.replace(2, 2,
                    checksum(ends + number(static_cast<uint32_t>(message.size()), 4) + number(icmp6, 4) + message));
    return number(0x60000000, 4) + number(static_cast<uint32_t>(message.size()), 2) + number(icmp6 << 8 | 255, 2) +
           ends + message;
}

/// A DHCP message's option; empty without it.
std::string_view option_of(std::string_view message, uint8_t wanted)
{
    for (size_t at = options_offset; at + 1 < message.size();) {
        const auto kind = static_cast<uint8_t>(message[at]);
        if (kind == options_end)
            break;
        if (kind == filler) {
            at++;
            continue;
        }
        const auto length = static_cast<uint8_t>(message[at + 1]);
        if (kind == wanted && at + 2 + length <= message.size())
            return message.substr(at + 2, length);
        at += 2U + length;
    }
    return {};
}

std::string option(uint8_t kind, const std::string &value)
{
    return std::string{static_cast<char>(kind), static_cast<char>(value.size())} + value;
}

} // namespace

EthernetPort::Taken EthernetPort::take(std::string_view frame)
{
    if (frame.size() < head_bytes)
        return {};
    host_ = frame.substr(hardware_bytes, hardware_bytes);
    // qmi_wwan takes a frame that begins with 4 or 6 for a packet without one, and the kernel gives one device in eight
    // such an address. In one that begins with 0 the driver puts its own. The standards' hosts have the address that
    // the modem chose.
    if ((host_[0] & 0xd0) == 0x40)
        host_[0] &= 0x0f;
    if (!session_)
        return {};
    const std::string_view content = frame.substr(head_bytes);
    switch (number_at(frame, 2 * hardware_bytes)) {
    case arp:
        return {.answer = answer_arp(content)};
    case ipv4:
        if (std::string answer = answer_dhcp(content); !answer.empty())
            return {.answer = std::move(answer)};
        return {.packet = content};
    case ipv6:
        if (std::string answer = answer_ipv6(content); !answer.empty())
            return {.answer = std::move(answer)};
        return {.packet = content};
    default:
        return {};
    }
}

std::string EthernetPort::frame_of(std::string_view packet) const
{
    return frame(!packet.empty() && packet[0] >> 4 == 6 ? ipv6 : ipv4, packet);
}

std::string EthernetPort::frame(uint16_t kind, std::string_view content) const
{
    return host_ + std::string(hardware_address) + number(kind, 2) + std::string(content);
}

std::string EthernetPort::answer_arp(std::string_view search_message) const
{
    // Ethernet, IPv4, six and four bytes, a search; the sender's two addresses, then the two of whom it looks for
    static const std::string head = number(1, 2) + number(ipv4, 2) + number(0x0604, 2);
    constexpr size_t message_bytes = 28;
    if (search_message.size() < message_bytes || !search_message.starts_with(head + number(1, 2)))
        return {};
    const std::string_view host = search_message.substr(8, 10);
    const std::string wanted(search_message.substr(24, 4));
    if (wanted == address_bytes(session_->address))
        return {}; // the host asks whether anybody else has its address
    return frame(arp, head + number(2, 2) + std::string(hardware_address) + wanted + std::string(host));
}

std::string EthernetPort::answer_dhcp(std::string_view packet) const
{
    if (packet.size() < ipv4_head_bytes || static_cast<uint8_t>(packet[9]) != udp)
        return {};
    const size_t ip_head = (packet[0] & 15U) * 4;
    if (packet.size() < ip_head + udp_head_bytes + options_offset || number_at(packet, ip_head + 2) != server_port)
        return {};
    const std::string_view message = packet.substr(ip_head + udp_head_bytes);
    const std::string_view asked = option_of(message, message_kind);
    const uint8_t kind = asked.size() == 1 ? static_cast<uint8_t>(asked[0]) : 0;
    if (message[0] != 1 || (kind != discover && kind != request))
        return {};
    const std::string own = address_bytes(session_->gateway);
    const std::string given = address_bytes(session_->address);
    // A request names the address in an option, or, to keep one, as the client's own.
    std::string_view wanted = option_of(message, wanted_address);
    if (wanted.empty())
        wanted = message.substr(12, 4);
    const DhcpKind answer = kind == discover ? offer : wanted == given ? acknowledged : refused;
    // an answer on Ethernet; the client's transaction, flags and hardware address
    std::string text = std::string{2, 1, 6, 0} + std::string(message.substr(4, 4)) + number(0, 2) +
                       std::string(message.substr(10, 2)) + number(0, 4) + (answer == refused ? number(0, 4) : given) +
                       own + number(0, 4) + std::string(message.substr(28, 16));
    text.resize(options_offset - 4);
    text += "\x63\x82\x53\x63" + option(message_kind, number(answer, 1)) + option(server, own);
    if (answer != refused)
        text +=
            option(lease_time, number(7200, 4)) + option(netmask, number(~uint32_t{0} << (32 - session_->mask), 4)) +
            option(router, own) +
            option(name_servers, address_bytes(session_->name_servers[0]) + address_bytes(session_->name_servers[1]));
    text += static_cast<char>(options_end);
    const std::string datagram = number(server_port, 2) + number(client_port, 2) +
                                 number(static_cast<uint32_t>(udp_head_bytes + text.size()), 2) + number(0, 2) + text;
    return frame(ipv4, ipv4_packet(own, std::string(4, '\xff'), datagram));
}

std::string EthernetPort::answer_ipv6(std::string_view packet) const
{
    if (packet.size() < ipv6_head_bytes + 8 || static_cast<uint8_t>(packet[6]) != icmp6)
        return {};
    const std::string_view from = packet.substr(8, 16);
    const std::string_view message = packet.substr(ipv6_head_bytes);
    // one unit of eight bytes
    const std::string own_hardware = std::string{2, 1} + std::string(hardware_address);
    const auto kind = static_cast<uint8_t>(message[0]);
    const std::string router = address_bytes("fe80::1");
    if (kind == router_search) {
        // 64 hops, for 1800 s; the subnet's first 64 bits for addresses and for the link itself, for two hours
        const std::string subnet = address_bytes(session_->gateway6).substr(0, 8) + number(0, 4) + number(0, 4);
        const std::string text = number(router_here << 24, 4) + number(64U << 24 | 1800, 4) + number(0, 4) +
                                 number(0, 4) + std::string{3, 4, static_cast<char>(session_->mask6), '\xc0'} +
                                 number(7200, 4) + number(7200, 4) + number(0, 4) + subnet + std::string{1, 1} +
                                 std::string(hardware_address);
        return frame(ipv6, icmp6_packet(router, address_bytes("ff02::1"), text));
    }
    constexpr size_t search_bytes = 24;
    if (kind != search || message.size() < search_bytes || from == std::string(16, '\0'))
        return {}; // from nobody: the host asks whether anybody else has its address
    const std::string wanted(message.substr(8, 16));
    if (wanted == from || wanted == address_bytes(session_->address6))
        return {};
    // a router, asked for, to be believed
    return frame(ipv6, icmp6_packet(wanted, from,
                                    number(uint32_t{found} << 24, 4) + number(0xe0000000, 4) + wanted + own_hardware));
}

} // namespace simulator
