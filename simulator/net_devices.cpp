#include "simulator/net_devices.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <ifaddrs.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <span>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace simulator {

namespace {

constexpr const char *kinds[] = {"dummy", "ifb", "bridge"};

struct IpAddress {
    int family = AF_UNSPEC;
    std::array<char, 16> bytes{};
    size_t size() const { return family == AF_INET ? 4 : 16; }
};

IpAddress parse_address(const std::string &text)
{
    IpAddress address;
    for (const int family : {AF_INET, AF_INET6})
        if (inet_pton(family, text.c_str(), address.bytes.data()) == 1)
            address.family = family;
    return address;
}

} // namespace

/// A message of rtnetlink that grows attribute by attribute.
class NetDevices::Request {
  public:
    template <typename Header> Request(uint16_t type, uint16_t flags, const Header &header)
    {
        nlmsghdr message{};
        message.nlmsg_type = type;
        message.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | NLM_F_ACK | flags);
        append(&message, sizeof message);
        append(&header, sizeof header);
    }

    void add(uint16_t type, const void *data, size_t size)
    {
        rtattr attribute{};
        attribute.rta_len = static_cast<uint16_t>(RTA_LENGTH(size));
        attribute.rta_type = type;
        append(&attribute, sizeof attribute);
        append(data, size);
    }
    void add_number(uint16_t type, uint32_t number) { add(type, &number, sizeof number); }
    void add_text(uint16_t type, const std::string &text) { add(type, text.c_str(), text.size() + 1); }

    /// The message with its length filled in.
    std::string bytes() const
    {
        std::string bytes = bytes_;
        const auto size = static_cast<uint32_t>(bytes.size());
        memcpy(bytes.data() + offsetof(nlmsghdr, nlmsg_len), &size, sizeof size);
        return bytes;
    }

  private:
    void append(const void *data, size_t size)
    {
        bytes_.append(static_cast<const char *>(data), size);
        bytes_.resize(NLMSG_ALIGN(bytes_.size()));
    }
    std::string bytes_;
};

NetDevices::NetDevices() : socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE))
{
    if (!socket_)
        throw std::system_error(errno, std::generic_category(), "rtnetlink");
}

bool NetDevices::send(const Request &request)
{
    const std::string bytes = request.bytes();
    std::array<char, 8192> answer;
    if (::send(socket_.get(), bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        return false;
    const ssize_t count = recv(socket_.get(), answer.data(), answer.size(), 0);
    if (count < static_cast<ssize_t>(NLMSG_LENGTH(sizeof(nlmsgerr))))
        return false;
    nlmsghdr header;
    nlmsgerr error;
    memcpy(&header, answer.data(), sizeof header);
    memcpy(&error, answer.data() + NLMSG_HDRLEN, sizeof error);
    return header.nlmsg_type == NLMSG_ERROR && error.error == 0;
}

bool NetDevices::exists(const std::string &name)
{
    return if_nametoindex(name.c_str()) != 0;
}

bool NetDevices::create(const std::string &name)
{
    if (name.size() >= IFNAMSIZ)
        return false;
    for (const std::string kind : kinds) {
        Request request(RTM_NEWLINK, NLM_F_CREATE | NLM_F_EXCL, ifinfomsg{});
        request.add_text(IFLA_IFNAME, name);
        rtattr of_kind{};
        of_kind.rta_len = static_cast<uint16_t>(RTA_LENGTH(kind.size()));
        of_kind.rta_type = IFLA_INFO_KIND;
        std::string info(reinterpret_cast<const char *>(&of_kind), sizeof of_kind);
        info += kind;
        info.resize(RTA_ALIGN(info.size()));
        request.add(IFLA_LINKINFO, info.data(), info.size());
        if (send(request))
            return true;
    }
    return false;
}

bool NetDevices::remove(const std::string &name)
{
    ifinfomsg header{};
    header.ifi_index = static_cast<int>(if_nametoindex(name.c_str()));
    return header.ifi_index != 0 && send(Request(RTM_DELLINK, 0, header));
}

bool NetDevices::set_up(const std::string &name, bool up)
{
    ifinfomsg header{};
    header.ifi_index = static_cast<int>(if_nametoindex(name.c_str()));
    header.ifi_change = IFF_UP;
    header.ifi_flags = up ? IFF_UP : 0;
    return header.ifi_index != 0 && send(Request(RTM_NEWLINK, 0, header));
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
    Request request(RTM_NEWADDR, NLM_F_CREATE | NLM_F_REPLACE, header);
    request.add(IFA_LOCAL, ip.bytes.data(), ip.size());
    request.add(IFA_ADDRESS, ip.bytes.data(), ip.size());
    return send(request);
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
        Request request(RTM_DELADDR, 0, header);
        if (family == AF_INET)
            request.add(IFA_LOCAL, &reinterpret_cast<const sockaddr_in *>(entry->ifa_addr)->sin_addr, 4);
        else
            request.add(IFA_LOCAL, &reinterpret_cast<const sockaddr_in6 *>(entry->ifa_addr)->sin6_addr, 16);
        all = send(request) && all;
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
    rtmsg header{};
    header.rtm_family = static_cast<uint8_t>(ip.family);
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_protocol = RTPROT_STATIC;
    header.rtm_scope = RT_SCOPE_UNIVERSE;
    header.rtm_type = RTN_UNICAST;
    header.rtm_flags = RTNH_F_ONLINK;
    Request request(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_REPLACE, header);
    request.add(RTA_GATEWAY, ip.bytes.data(), ip.size());
    request.add_number(RTA_OIF, index);
    request.add_number(RTA_PRIORITY, static_cast<uint32_t>(metric));
    return send(request);
}

} // namespace simulator
