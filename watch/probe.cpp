#include "watch/probe.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>

#include "platform/clock.h"
#include "platform/files.h"

namespace {

constexpr int answer_limit_ms = 3000;
constexpr uint16_t dns_port = 53;
constexpr in_addr_t far_host = 0x09090909; // 9.9.9.9, in no private network
constexpr uint32_t own_way = 0x3f00;       // mwan3 sends what has no mark by the way that it prefers, or nowhere

union Address {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

bool read_address(const char *text, Address &address)
{
    address = {};
    if (inet_pton(AF_INET, text, &address.v4.sin_addr) == 1) {
        address.v4.sin_family = AF_INET;
        return true;
    }
    if (inet_pton(AF_INET6, text, &address.v6.sin6_addr) != 1)
        return false;
    address.v6.sin6_family = AF_INET6;
    return true;
}

Fd open_probe(ProbeKind kind, const char *device, Address &address)
{
    const int family = address.any.sa_family;
    Fd probe{kind == ProbeKind::dns ? socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0)
                                    : socket(family, SOCK_RAW | SOCK_CLOEXEC,
                                             family == AF_INET ? int{IPPROTO_ICMP} : int{IPPROTO_ICMPV6})};
    if (!probe)
        return probe;
    // Another way out would answer for this one.
    if (*device != '\0' &&
        setsockopt(probe.get(), SOL_SOCKET, SO_BINDTODEVICE, device, static_cast<socklen_t>(strlen(device) + 1)) != 0)
        return Fd{};
    setsockopt(probe.get(), SOL_SOCKET, SO_MARK, &own_way, sizeof own_way);
    if (kind == ProbeKind::dns)
        (family == AF_INET ? address.v4.sin_port : address.v6.sin6_port) = htons(dns_port);
    const socklen_t size = family == AF_INET ? sizeof address.v4 : sizeof address.v6;
    return connect(probe.get(), &address.any, size) == 0 ? std::move(probe) : Fd{};
}

uint16_t checksum(std::span<const uint8_t> bytes)
{
    uint32_t sum = 0;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
        sum += static_cast<uint32_t>(bytes[i] << 8 | bytes[i + 1]);
    return static_cast<uint16_t>(~((sum & 0xffff) + (sum >> 16)));
}

} // namespace

in_addr_t find_way_out()
{
    const Fd way{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    setsockopt(way.get(), SOL_SOCKET, SO_MARK, &own_way, sizeof own_way);
    Address address = {};
    address.v4.sin_family = AF_INET;
    address.v4.sin_addr.s_addr = htonl(far_host);
    socklen_t size = sizeof address.v4;
    const bool is_found =
        connect(way.get(), &address.any, size) == 0 && getsockname(way.get(), &address.any, &size) == 0;
    return is_found ? address.v4.sin_addr.s_addr : INADDR_ANY;
}

size_t compose_dns_question(uint16_t id, std::span<uint8_t, 40> out)
{
    // Recursion wanted, one question; the name; type A, class IN.
    static constexpr char rest[] = "\1\0\0\1\0\0\0\0\0\0\1a\14root-servers\3net\0\0\1\0\1";
    out[0] = static_cast<uint8_t>(id >> 8);
    out[1] = static_cast<uint8_t>(id);
    memcpy(&out[2], rest, sizeof rest - 1);
    return 2 + sizeof rest - 1;
}

bool is_dns_answer(std::span<const uint8_t> packet, uint16_t id)
{
    constexpr size_t header = 12;
    return packet.size() >= header && (packet[0] << 8 | packet[1]) == id && (packet[2] & 0x80) != 0;
}

size_t compose_echo(int family, uint16_t id, std::span<uint8_t, 40> out)
{
    constexpr size_t size = 16;
    constexpr uint8_t request_v4 = 8;
    constexpr uint8_t request_v6 = 128;
    memset(out.data(), 0, size);
    out[0] = family == AF_INET ? request_v4 : request_v6;
    out[4] = static_cast<uint8_t>(id >> 8);
    out[5] = static_cast<uint8_t>(id);
    if (family == AF_INET) { // the kernel makes that of IPv6
        const uint16_t sum = checksum(out.first<size>());
        out[2] = static_cast<uint8_t>(sum >> 8);
        out[3] = static_cast<uint8_t>(sum);
    }
    return size;
}

bool is_echo_answer(int family, std::span<const uint8_t> packet, uint16_t id)
{
    constexpr uint8_t reply_v4 = 0;
    constexpr uint8_t reply_v6 = 129;
    const size_t header = family != AF_INET || packet.empty() ? 0 : size_t{packet[0] & 0xfU} * 4;
    if (packet.size() < header + 8)
        return false;
    const std::span<const uint8_t> echo = packet.last(packet.size() - header);
    return echo[0] == (family == AF_INET ? reply_v4 : reply_v6) && (echo[4] << 8 | echo[5]) == id;
}

bool ask_server(ProbeKind kind, const char *device, const char *text)
{
    Address address;
    if (!read_address(text, address))
        return false;
    const int family = address.any.sa_family;
    const Fd probe = open_probe(kind, device, address);
    uint16_t id = 0;
    // Without random bytes, as on a router that has just started, the id is 0, as good as another one.
    [[maybe_unused]] const ssize_t taken = getrandom(&id, sizeof id, GRND_NONBLOCK);
    std::array<uint8_t, 40> question;
    const size_t size =
        kind == ProbeKind::dns ? compose_dns_question(id, question) : compose_echo(family, id, question);
    if (!probe || send(probe.get(), question.data(), size, MSG_NOSIGNAL) < 0)
        return false;
    const int64_t deadline = monotonic_ms() + answer_limit_ms;
    for (int64_t left = answer_limit_ms; left > 0; left = deadline - monotonic_ms()) {
        pollfd input{.fd = probe.get(), .events = POLLIN, .revents = 0};
        std::array<uint8_t, 128> packet;
        if (poll(&input, 1, static_cast<int>(left)) <= 0)
            continue;
        const ssize_t got = recv(probe.get(), packet.data(), packet.size(), 0);
        if (got < 0)
            return false; // the host is there and has no name server, or the way is closed
        const std::span<const uint8_t> answer{packet.data(), static_cast<size_t>(got)};
        if (kind == ProbeKind::dns ? is_dns_answer(answer, id) : is_echo_answer(family, answer, id))
            return true;
    }
    return false;
}

const char *probe_network(WatchProbe probe, const char *device, std::span<const char *const> addresses)
{
    for (const char *address : addresses)
        for (const ProbeKind kind : {ProbeKind::dns, ProbeKind::ping}) {
            const bool is_wanted =
                probe == WatchProbe::both || (probe == WatchProbe::ping) == (kind == ProbeKind::ping);
            if (is_wanted && *address != '\0' && ask_server(kind, device, address))
                return address;
        }
    return nullptr;
}
