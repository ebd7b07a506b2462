#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/files.h"
#include "simulator/network/far_side.h"
#include "simulator/network/name_servers.h"
#include "simulator/network/netlink.h"
#include "simulator/network/traffic.h"
#include "simulator/router/event_loop.h"

namespace simulator {

struct NetAddress {
    std::string address; ///< IPv4 or IPv6
    int mask = 0;
    int metric = 0;     ///< of the route to its subnet
    std::string peer{}; ///< the other end of a point-to-point line
};

/// Network devices of the router's namespace: real ones of the kernel, so that counters, addresses and routes are the
/// kernel's own. If the kernel refuses a change, nothing changes and the result says so.
class NetDevices {
  public:
    enum class Kind {
        board,          ///< leads nowhere
        link_layer,     ///< speaks Ethernet (veth)
        point_to_point, ///< has neither a hardware address nor its own link statistics (TUN)
    };

    /// Throws std::system_error.
    explicit NetDevices(EventLoop &loop);
    NetDevices(const NetDevices &) = delete;
    NetDevices &operator=(const NetDevices &) = delete;
    ~NetDevices();

    static bool exists(const std::string &name);
    /// Of that kind, or of the next simpler one that this kernel has.
    bool create(const std::string &name, Kind kind);
    bool remove(const std::string &name);
    bool set_up(const std::string &name, bool up);
    bool add_address(const std::string &name, const NetAddress &address);
    /// All its addresses and routes go.
    bool clear_addresses(const std::string &name);
    bool add_default_route(const std::string &name, const std::string &gateway, int metric);
    /// Sends packets of this total size (0, or at least 14 bytes) through a device that is up.
    bool move_traffic(const std::string &name, const Traffic &traffic);
    /// From now on these answer what a device of the kind link_layer sends.
    void serve_names(const std::string &name, const NameServers &servers);

  private:
    bool create_tunnel(const std::string &name);
    bool create_pair(const std::string &name);
    bool create_simple(const std::string &name);
    bool add_subnet_route(unsigned index, const NetAddress &address);
    bool receive(const std::string &name, size_t bytes);
    bool send(const std::string &name, size_t bytes);
    void answer_frames();

    EventLoop &loop_;
    NetlinkSocket kernel_;
    FrameSocket frames_;
    std::unique_ptr<FarSide> far_side_;          ///< null if the kernel does not allow one
    std::map<std::string, Fd> tunnels_;          ///< the far ends of devices of the kind point_to_point
    std::map<std::string, NameServers> servers_; ///< of devices that have some
};

} // namespace simulator
