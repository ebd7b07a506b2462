#include "simulator/network/far_side.h"

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <linux/if_ether.h>
#include <linux/if_link.h>
#include <linux/if_packet.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>

namespace simulator {

namespace {

Fd open_name_space()
{
    return Fd(open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC));
}

} // namespace

void silence_device(NetlinkSocket &kernel, int index)
{
    ifinfomsg header{};
    header.ifi_index = index;
    NetlinkRequest request(RTM_SETLINK, 0, header);
    const uint8_t no_address = IN6_ADDR_GEN_MODE_NONE;
    request.add(IFLA_AF_SPEC,
                netlink_attribute(AF_INET6, netlink_attribute(IFLA_INET6_ADDR_GEN_MODE, netlink_bytes(no_address))));
    kernel.send(request);
}

std::string ethernet_frame(size_t bytes)
{
    std::string frame(bytes, '\0');
    frame[12] = static_cast<char>(nobodys_protocol >> 8);
    frame[13] = static_cast<char>(nobodys_protocol & 0xff);
    return frame;
}

FrameSocket::FrameSocket() : socket_(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0))
{
    // The queue of a device that has just come up may still throw everything away.
    const int on = 1;
    setsockopt(socket_.get(), SOL_PACKET, PACKET_QDISC_BYPASS, &on, sizeof on);
}

int FrameSocket::index_of(const std::string &device) const
{
    ifreq request{};
    device.copy(request.ifr_name, IFNAMSIZ - 1);
    return ioctl(socket_.get(), SIOCGIFINDEX, &request) == 0 ? request.ifr_ifindex : 0;
}

bool FrameSocket::send(const std::string &device, const std::string &frame) const
{
    sockaddr_ll where{};
    where.sll_family = AF_PACKET;
    where.sll_protocol = htons(nobodys_protocol);
    where.sll_ifindex = index_of(device);
    return where.sll_ifindex != 0 &&
           sendto(socket_.get(), frame.data(), frame.size(), 0, reinterpret_cast<const sockaddr *>(&where),
                  sizeof where) == static_cast<ssize_t>(frame.size());
}

bool FrameSocket::listen() const
{
    sockaddr_ll all{};
    all.sll_family = AF_PACKET;
    all.sll_protocol = htons(ETH_P_ALL);
    return bind(socket_.get(), reinterpret_cast<const sockaddr *>(&all), sizeof all) == 0;
}

bool FrameSocket::receive(Received &out) const
{
    for (;;) {
        out.frame.resize(2048);
        sockaddr_ll from{};
        socklen_t size = sizeof from;
        const ssize_t got = recvfrom(socket_.get(), out.frame.data(), out.frame.size(), MSG_DONTWAIT,
                                     reinterpret_cast<sockaddr *>(&from), &size);
        if (got < 0)
            return false;
        if (from.sll_pkttype == PACKET_OUTGOING)
            continue;
        out.frame.resize(static_cast<size_t>(got));
        out.index = from.sll_ifindex;
        return true;
    }
}

std::unique_ptr<FarSide> FarSide::make()
{
    const Fd own = open_name_space();
    if (!own || unshare(CLONE_NEWNET) != 0)
        return nullptr;
    std::unique_ptr<FarSide> side(new FarSide(open_name_space()));
    if (setns(own.get(), CLONE_NEWNET) != 0)
        throw std::system_error(errno, std::generic_category(), "setns");
    return side->name_space_ && side->frames_ ? std::move(side) : nullptr;
}

bool FarSide::take(const std::string &device)
{
    ifinfomsg header{};
    header.ifi_index = frames_.index_of(device);
    if (header.ifi_index == 0)
        return false;
    silence_device(kernel_, header.ifi_index);
    header.ifi_change = IFF_UP;
    header.ifi_flags = IFF_UP;
    return kernel_.send(NetlinkRequest(RTM_NEWLINK, 0, header));
}

} // namespace simulator
