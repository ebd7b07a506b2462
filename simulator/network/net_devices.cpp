#include "simulator/network/net_devices.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <fcntl.h>
#include <ifaddrs.h>
#include <linux/if_link.h>
#include <linux/if_tun.h>
#include <linux/rtnetlink.h>
#include <linux/veth.h>
#include <net/if.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace simulator {

namespace {

constexpr const char *simple_kinds[] = {"dummy", "ifb", "bridge"};
constexpr size_t packet_bytes = 1400;

struct IpAddress {
    int family = AF_UNSPEC;
    std::string bytes{};
};

IpAddress parse_address(const std::string &text)
{
    for (const int family : {AF_INET, AF_INET6}) {
        std::string bytes(family == AF_INET ? 4 : 16, '\0');
        if (inet_pton(family, text.c_str(), bytes.data()) == 1)
            return {family, bytes};
    }
    return {};
}

/// In the machine's byte order.
uint32_t ipv4_number(const IpAddress &ip)
{
    uint32_t number = 0;
    memcpy(&number, ip.bytes.data(), sizeof number);
    return ntohl(number);
}

uint32_t netmask(int length)
{
    return length == 0 ? 0 : ~uint32_t{0} << (32 - length);
}

/// As netifd writes routes; without a target yet.
NetlinkRequest new_route(int family, uint8_t target_length, uint8_t scope, unsigned index, int metric)
{
    rtmsg header{};
    header.rtm_family = static_cast<uint8_t>(family);
    header.rtm_dst_len = target_length;
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_protocol = RTPROT_STATIC;
    header.rtm_scope = scope;
    header.rtm_type = RTN_UNICAST;
    NetlinkRequest request(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_REPLACE, header);
    request.add_number(RTA_OIF, index);
    request.add_number(RTA_PRIORITY, static_cast<uint32_t>(metric));
    return request;
}

/// Takes what the kernel has sent; only then does it count as sent.
void drain(int tunnel)
{
    std::array<char, 2048> packet;
    while (read(tunnel, packet.data(), packet.size()) > 0) {
    }
}

/// Of the packets that make up bytes, each at least as long as an Ethernet header, the first one's length.
size_t first_packet(uint64_t bytes)
{
    if (bytes <= packet_bytes)
        return bytes;
    return std::min<uint64_t>(packet_bytes, bytes - ethernet_header_bytes);
}

} // namespace

NetDevices::NetDevices(EventLoop &loop) : loop_(loop), far_side_(FarSide::make()) {}

NetDevices::~NetDevices()
{
    for (const auto &[name, tunnel] : tunnels_)
        loop_.unwatch(tunnel.get());
    if (!servers_.empty())
        loop_.unwatch(far_side_->frames().descriptor());
}

bool NetDevices::exists(const std::string &name)
{
    return if_nametoindex(name.c_str()) != 0;
}

bool NetDevices::create(const std::string &name, Kind kind)
{
    if (name.empty() || name.size() >= IFNAMSIZ)
        return false;
    if (kind == Kind::point_to_point && create_tunnel(name))
        return true;
    if (kind != Kind::board && create_pair(name))
        return true;
    return create_simple(name);
}

bool NetDevices::remove(const std::string &name)
{
    if (const auto tunnel = tunnels_.find(name); tunnel != tunnels_.end()) {
        loop_.unwatch(tunnel->second.get());
        tunnels_.erase(tunnel); // and with its far end the device
        return true;
    }
    ifinfomsg header{};
    header.ifi_index = static_cast<int>(if_nametoindex(name.c_str()));
    return header.ifi_index != 0 && kernel_.send(NetlinkRequest(RTM_DELLINK, 0, header));
}

bool NetDevices::create_tunnel(const std::string &name)
{
    Fd tunnel(open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK));
    ifreq request{};
    name.copy(request.ifr_name, IFNAMSIZ - 1);
    request.ifr_flags = IFF_TUN; // each packet with its protocol in front
    if (!tunnel || ioctl(tunnel.get(), TUNSETIFF, &request) != 0)
        return false;
    silence_device(kernel_, static_cast<int>(if_nametoindex(name.c_str())));
    loop_.watch(tunnel.get(), EPOLLIN, [descriptor = tunnel.get()](uint32_t) { drain(descriptor); });
    tunnels_[name] = std::move(tunnel);
    return true;
}

/// The other end of a pair lies in a namespace of its own, where nobody sees it.
bool NetDevices::create_pair(const std::string &name)
{
    if (!far_side_)
        return false;
    NetlinkRequest request(RTM_NEWLINK, NLM_F_CREATE | NLM_F_EXCL, ifinfomsg{});
    request.add_text(IFLA_IFNAME, name);
    const std::string peer = netlink_bytes(ifinfomsg{}) + netlink_attribute(IFLA_IFNAME, name + '\0') +
                             netlink_attribute(IFLA_NET_NS_FD, netlink_bytes(far_side_->name_space()));
    request.add(IFLA_LINKINFO, netlink_attribute(IFLA_INFO_KIND, "veth") +
                                   netlink_attribute(IFLA_INFO_DATA, netlink_attribute(VETH_INFO_PEER, peer)));
    if (!kernel_.send(request))
        return false;
    silence_device(kernel_, static_cast<int>(if_nametoindex(name.c_str())));
    return far_side_->take(name);
}

bool NetDevices::create_simple(const std::string &name)
{
    for (const std::string kind : simple_kinds) {
        NetlinkRequest request(RTM_NEWLINK, NLM_F_CREATE | NLM_F_EXCL, ifinfomsg{});
        request.add_text(IFLA_IFNAME, name);
        request.add(IFLA_LINKINFO, netlink_attribute(IFLA_INFO_KIND, kind));
        if (kernel_.send(request))
            return true;
    }
    return false;
}

bool NetDevices::set_up(const std::string &name, bool up)
{
    ifinfomsg header{};
    header.ifi_index = static_cast<int>(if_nametoindex(name.c_str()));
    header.ifi_change = IFF_UP;
    header.ifi_flags = up ? IFF_UP : 0;
    return header.ifi_index != 0 && kernel_.send(NetlinkRequest(RTM_NEWLINK, 0, header));
}

bool NetDevices::add_address(const std::string &name, const NetAddress &address)
{
    const IpAddress ip = parse_address(address.address);
    ifaddrmsg header{};
    header.ifa_family = static_cast<uint8_t>(ip.family);
    header.ifa_prefixlen = static_cast<uint8_t>(address.mask);
    header.ifa_index = if_nametoindex(name.c_str());
    header.ifa_flags = ip.family == AF_INET6 ? IFA_F_NODAD : 0;
    if (ip.family == AF_UNSPEC || header.ifa_index == 0)
        return false;
    const IpAddress peer = parse_address(address.peer);
    const bool has_subnet = ip.family == AF_INET && peer.family == AF_UNSPEC && address.mask < 31;
    NetlinkRequest request(RTM_NEWADDR, NLM_F_CREATE | NLM_F_REPLACE, header);
    request.add(IFA_LOCAL, ip.bytes);
    request.add(IFA_ADDRESS, peer.family == ip.family ? peer.bytes : ip.bytes);
    request.add_number(IFA_RT_PRIORITY, static_cast<uint32_t>(address.metric));
    if (has_subnet) {
        // netifd writes the route to the subnet itself.
        request.add_number(IFA_FLAGS, IFA_F_NOPREFIXROUTE);
        request.add(IFA_BROADCAST, netlink_bytes(htonl(ipv4_number(ip) | ~netmask(address.mask))));
    }
    return kernel_.send(request) && (!has_subnet || add_subnet_route(header.ifa_index, address));
}

bool NetDevices::add_subnet_route(unsigned index, const NetAddress &address)
{
    NetlinkRequest request =
        new_route(AF_INET, static_cast<uint8_t>(address.mask), RT_SCOPE_LINK, index, address.metric);
    const uint32_t subnet = ipv4_number(parse_address(address.address)) & netmask(address.mask);
    request.add(RTA_DST, netlink_bytes(htonl(subnet)));
    return kernel_.send(request);
}

bool NetDevices::clear_addresses(const std::string &name)
{
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0)
        return false;
    bool all = true;
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || name != entry->ifa_name)
            continue;
        const int family = entry->ifa_addr->sa_family;
        if (family != AF_INET && family != AF_INET6)
            continue;
        ifaddrmsg header{};
        header.ifa_family = static_cast<uint8_t>(family);
        header.ifa_index = if_nametoindex(name.c_str());
        NetlinkRequest request(RTM_DELADDR, 0, header);
        if (family == AF_INET)
            request.add(IFA_LOCAL, netlink_bytes(reinterpret_cast<const sockaddr_in *>(entry->ifa_addr)->sin_addr));
        else
            request.add(IFA_LOCAL, netlink_bytes(reinterpret_cast<const sockaddr_in6 *>(entry->ifa_addr)->sin6_addr));
        all = kernel_.send(request) && all;
    }
    freeifaddrs(list);
    return all;
}

bool NetDevices::add_default_route(const std::string &name, const std::string &gateway, int metric)
{
    const IpAddress ip = parse_address(gateway);
    const unsigned index = if_nametoindex(name.c_str());
    if (ip.family == AF_UNSPEC || index == 0)
        return false;
    NetlinkRequest request = new_route(ip.family, 0, RT_SCOPE_UNIVERSE, index, metric);
    request.add(RTA_GATEWAY, ip.bytes);
    return kernel_.send(request);
}

bool NetDevices::move_traffic(const std::string &name, const Traffic &traffic)
{
    Traffic left = traffic;
    while (left.received > 0) {
        const size_t bytes = first_packet(left.received);
        if (!receive(name, bytes))
            return false;
        left.received -= bytes;
    }
    while (left.sent > 0) {
        const size_t bytes = first_packet(left.sent);
        if (!send(name, bytes))
            return false;
        left.sent -= bytes;
    }
    return true;
}

void NetDevices::serve_names(const std::string &name, const NameServers &servers)
{
    if (!far_side_ || servers.own.way == NameServers::Way::none)
        return;
    if (servers_.empty() && far_side_->frames().listen())
        loop_.watch(far_side_->frames().descriptor(), EPOLLIN, [this](uint32_t) { answer_frames(); });
    servers_[name] = servers;
}

void NetDevices::answer_frames()
{
    for (FrameSocket::Received got; far_side_->frames().receive(got);)
        for (auto &[name, servers] : servers_)
            if (far_side_->frames().index_of(name) == got.index)
                if (const std::string answer = answer_frame(got.frame, servers); !answer.empty())
                    far_side_->send(name, answer);
}

bool NetDevices::receive(const std::string &name, size_t bytes)
{
    const auto tunnel = tunnels_.find(name);
    if (tunnel == tunnels_.end())
        return far_side_ && far_side_->send(name, ethernet_frame(bytes));
    const tun_pi protocol{.flags = 0, .proto = htons(nobodys_protocol)};
    const std::string packet = netlink_bytes(protocol) + std::string(bytes, '\0');
    return write(tunnel->second.get(), packet.data(), packet.size()) == static_cast<ssize_t>(packet.size());
}

bool NetDevices::send(const std::string &name, size_t bytes)
{
    if (!frames_.send(name, ethernet_frame(bytes)))
        return false;
    if (const auto tunnel = tunnels_.find(name); tunnel != tunnels_.end())
        drain(tunnel->second.get());
    return true;
}

} // namespace simulator
