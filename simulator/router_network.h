#pragma once

#include <memory>
#include <set>
#include <string>

#include "simulator/event_loop.h"
#include "simulator/journal.h"
#include "simulator/net_devices.h"
#include "simulator/network_daemon.h"
#include "simulator/options.h"
#include "simulator/ubus_server.h"

namespace simulator {

/// The router's network: ubus with the network daemon behind it, configured by /etc/config/network, on real network
/// devices.
class RouterNetwork {
  public:
    /// Throws std::system_error.
    RouterNetwork(EventLoop &loop, Journal &journal, const Options &options);
    RouterNetwork(const RouterNetwork &) = delete;
    RouterNetwork &operator=(const RouterNetwork &) = delete;
    ~RouterNetwork();

    /// A modem's network device has come or gone.
    void set_device(const std::string &name, bool present);

  private:
    NetworkSurroundings surroundings();
    void change_device(const DeviceChange &change);

    EventLoop &loop_;
    Journal &journal_;
    bool links_are_known_ = false; ///< only then are interfaces started
    NetDevices devices_;
    std::set<std::string> protocol_devices_; ///< that came with an interface ("3g-modem") and go with it
    std::unique_ptr<UbusServer> ubus_;
    std::unique_ptr<NetworkDaemon> daemon_;
};

} // namespace simulator
