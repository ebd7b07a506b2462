#include "status/traffic.h"

#include <cinttypes>
#include <ifaddrs.h>
#include <linux/if_link.h>
#include <linux/ppp-ioctl.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <syslog.h>

#include "platform/board.h"
#include "platform/files.h"
#include "platform/uci.h"

namespace {

struct FreeAddresses {
    void operator()(ifaddrs *addresses) const { freeifaddrs(addresses); }
};
using Addresses = std::unique_ptr<ifaddrs, FreeAddresses>;

void add_bytes(json_object *result, double received, double sent)
{
    kjson_add_double(result, "download", received);
    kjson_add_double(result, "upload", sent);
}

bool is_passed_through()
{
    // Only the first character is read: any value that begins with 1 switches it on here.
    return kuci2_init().text<2>("devconf.passthrough.enable") == "1";
}

// @return false if device is not a PPP device
bool add_ppp_traffic(json_object *result, const char *device)
{
    const Fd socket_fd{socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
    ppp_stats stats = {};
    ifreq request = {};
    TextOut{request.ifr_name, sizeof request.ifr_name}.assign(device);
    request.ifr_data = reinterpret_cast<char *>(&stats);
    if (!socket_fd || ioctl(socket_fd.get(), SIOCGPPPSTATS, &request) != 0)
        return false;
    add_bytes(result, stats.p.ppp_ibytes, stats.p.ppp_obytes);
    return true;
}

bool add_ipv4(json_object *result, const ifaddrs &entry)
{
    Text<255> address;
    if (getnameinfo(entry.ifa_addr, sizeof(sockaddr_in), address.data(), address.capacity(), nullptr, 0,
                    NI_NUMERICHOST) != 0)
        return false;
    if (!is_passed_through())
        kjson_add_string(result, "ip_addr", address.c_str());
    Text<16> gateway;
    get_gateway_by_ifname(entry.ifa_name, gateway);
    kjson_add_string(result, "gateway", gateway.c_str());
    if ((entry.ifa_flags & IFF_POINTOPOINT) != 0 && !add_ppp_traffic(result, entry.ifa_name))
        add_net_dev_traffic(result, entry.ifa_name, "/proc/net/dev");
    return true;
}

} // namespace

int add_traffic(json_object *result, const char *device)
{
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0)
        return -1;
    const Addresses addresses{list};
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || strcmp(entry->ifa_name, device) != 0)
            continue;
        if (entry->ifa_addr->sa_family == AF_INET && !add_ipv4(result, *entry))
            return -1;
        if (entry->ifa_addr->sa_family == AF_PACKET && entry->ifa_data != nullptr) {
            const auto *link = static_cast<const rtnl_link_stats *>(entry->ifa_data);
            add_bytes(result, link->rx_bytes, link->tx_bytes);
        }
    }
    return 0;
}

void add_net_dev_traffic(json_object *result, const char *device, const char *path)
{
    const File file{fopen(path, "re")};
    if (file == nullptr) {
        // Log watchers search for this text, so it names another function and line on purpose.
        syslog(LOG_ERR, "Function:%s Line:%d can't open 'proc/net/dev': No such file or directory\n",
               "get_ppp_ifstats_by_proc_net_dev", 141);
        return;
    }
    Text<4> header; // two reads skip into the first heading line; what is left of the two headings matches no device
    for (int part = 0; part < 2; part++)
        if (fgets(header.data(), static_cast<int>(header.capacity()), file.get()) == nullptr)
            return;
    Text<1024> line;
    while (fgets(line.data(), static_cast<int>(line.capacity()), file.get()) != nullptr) {
        Text<32> name;
        Text<32> received;
        Text<32> sent;
        if (sscanf(line.c_str(), " %31[^:]: %31s %*s %*s %*s %*s %*s %*s %*s %31s", name.data(), received.data(),
                   sent.data()) != 3 ||
            name != device)
            continue;
        kjson_add_string(result, "download", received.c_str());
        kjson_add_string(result, "upload", sent.c_str());
        return;
    }
}

DeviceCounters read_device_counters(std::string_view device)
{
    DeviceCounters counters;
    const File file = open_regular_file("/proc/net/dev");
    Text<256> line;
    while (file != nullptr && fgets(line.data(), static_cast<int>(line.capacity()), file.get()) != nullptr) {
        Text<32> name;
        DeviceCounters found;
        if (sscanf(line.c_str(), " %31[^:]: %" SCNu64 " %" SCNu64 " %*s %*s %*s %*s %*s %*s %" SCNu64 " %" SCNu64,
                   name.data(), &found.rx_bytes, &found.rx_packets, &found.tx_bytes, &found.tx_packets) == 5 &&
            name == device)
            counters = found;
    }
    return counters;
}
