#include "simulator/network/name_servers.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <linux/if_ether.h>
#include <netinet/if_ether.h>
#include <netinet/ip.h>
#include <netinet/ip_icmp.h>
#include <netinet/udp.h>

namespace simulator {

namespace {

constexpr uint8_t own_hardware_address[ETH_ALEN] = {2, 0, 0, 0, 0, 1};
constexpr uint16_t dns_port = 53;
constexpr size_t dns_header_bytes = 12;
constexpr uint8_t is_an_answer = 0x80;
constexpr uint8_t server_failure = 2;

/// The frame has these bytes at offset as a T. Nothing if it is too short.
template <typename T> bool take(const std::string &frame, size_t offset, T &out)
{
    if (frame.size() < offset + sizeof out)
        return false;
    memcpy(&out, frame.data() + offset, sizeof out);
    return true;
}

template <typename T> void put(std::string &frame, size_t offset, const T &value)
{
    memcpy(frame.data() + offset, &value, sizeof value);
}

void turn_around(std::string &frame)
{
    frame.replace(0, ETH_ALEN, frame, ETH_ALEN, ETH_ALEN);
    frame.replace(ETH_ALEN, ETH_ALEN, reinterpret_cast<const char *>(own_hardware_address), ETH_ALEN);
}

std::string answer_search(std::string frame)
{
    ether_arp search{};
    if (!take(frame, ETH_HLEN, search) || ntohs(search.arp_op) != ARPOP_REQUEST)
        return "";
    search.arp_op = htons(ARPOP_REPLY);
    memcpy(search.arp_tha, search.arp_sha, sizeof search.arp_tha);
    memcpy(search.arp_sha, own_hardware_address, sizeof search.arp_sha);
    std::swap(search.arp_spa, search.arp_tpa);
    put(frame, ETH_HLEN, search);
    turn_around(frame);
    return frame;
}

/// The answer repeats the question and has no address: that is enough for a program that wants any answer.
bool answer_question(std::string &frame, size_t offset, NameServers::Behaviour &server)
{
    udphdr udp{};
    const size_t message = offset + sizeof udp;
    if (!take(frame, offset, udp) || ntohs(udp.dest) != dns_port || frame.size() < message + dns_header_bytes)
        return false;
    if (server.way == NameServers::Way::silent || server.questions == 0)
        return false;
    server.questions -= server.questions > 0 ? 1 : 0;
    std::swap(udp.source, udp.dest);
    udp.check = 0;
    put(frame, offset, udp);
    frame[message + 2] = static_cast<char>(frame[message + 2] | is_an_answer);
    if (server.way == NameServers::Way::failure)
        frame[message + 3] = static_cast<char>(frame[message + 3] | server_failure);
    return true;
}

bool answer_echo(std::string &frame, size_t offset)
{
    icmphdr echo{};
    if (!take(frame, offset, echo) || echo.type != ICMP_ECHO)
        return false;
    echo.type = ICMP_ECHOREPLY;
    const uint32_t sum = uint32_t{ntohs(echo.checksum)} + (ICMP_ECHO << 8);
    echo.checksum = htons(static_cast<uint16_t>((sum & 0xffff) + (sum >> 16)));
    put(frame, offset, echo);
    return true;
}

std::string answer_packet(std::string frame, NameServers &servers)
{
    iphdr ip{};
    if (!take(frame, ETH_HLEN, ip))
        return "";
    const size_t offset = ETH_HLEN + size_t{ip.ihl} * 4;
    const bool is_own = ip.daddr == inet_addr(servers.own_address.c_str());
    NameServers::Behaviour &server = is_own ? servers.own : servers.others;
    const bool is_answered = ip.protocol == IPPROTO_UDP
                                 ? answer_question(frame, offset, server)
                                 : ip.protocol == IPPROTO_ICMP && server.questions != 0 && answer_echo(frame, offset);
    if (!is_answered)
        return "";
    std::swap(ip.saddr, ip.daddr); // which leaves the header's checksum as it is
    put(frame, ETH_HLEN, ip);
    turn_around(frame);
    return frame;
}

} // namespace

std::string answer_frame(const std::string &frame, NameServers &servers)
{
    ethhdr header{};
    if (servers.own.way == NameServers::Way::none || !take(frame, 0, header))
        return "";
    switch (ntohs(header.h_proto)) {
    case ETH_P_ARP:
        return answer_search(frame);
    case ETH_P_IP:
        return answer_packet(frame, servers);
    default:
        return "";
    }
}

} // namespace simulator
