#include "simulator/usb/operator_network.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <system_error>

#include "simulator/usb/operator_server.h"
#include "simulator/usb/uplink.h"

namespace simulator {

namespace {

[[noreturn]] void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), "the operator's network: " + what);
}

} // namespace

OperatorNetwork::OperatorNetwork(EventLoop &loop)
{
    if (unshare(CLONE_NEWNET) != 0)
        fail("unshare");
    devices_.emplace(loop);
    bool done = devices_->set_up("lo", true);
    for (const char *address : {server, name_server, second_name_server})
        done = done && devices_->add_address("lo", {.address = address, .mask = 32});
    // Its servers are reached by IPv4 if the kernel has no IPv6.
    for (const char *address : {server6, name_server6})
        devices_->add_address("lo", {.address = address, .mask = 128});
    if (!done)
        fail("lo");
    start_operator_servers();
}

Fd OperatorNetwork::line(int number)
{
    const std::string name = "modem" + std::to_string(number);
    Fd line(open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK));
    ifreq request{};
    name.copy(request.ifr_name, IFNAMSIZ - 1);
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    if (!line || ioctl(line.get(), TUNSETIFF, &request) != 0)
        fail("/dev/net/tun");
    const Session session = session_of(number);
    devices_->add_address(name, {.address = session.gateway6, .mask = session.mask6});
    if (!devices_->set_up(name, true) ||
        !devices_->add_address(name, {.address = session.gateway, .mask = session.mask}))
        fail(name);
    return line;
}

} // namespace simulator
