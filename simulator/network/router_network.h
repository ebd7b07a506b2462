#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "simulator/network/net_devices.h"
#include "simulator/network/network_daemon.h"
#include "simulator/network/protocol_handlers.h"
#include "simulator/network/ubus_server.h"
#include "simulator/router/event_loop.h"
#include "simulator/router/journal.h"
#include "simulator/router/options.h"
#include "simulator/router/plugged_modem.h"

namespace simulator {

/// The modem that has a device ("/dev/ttyUSB3", "wwan0"); null when none has.
using FindModem = std::function<const PluggedModem *(const std::string &device)>;

/// The router's network: ubus and the network daemon, configured by /etc/config/network, on real network devices.
class RouterNetwork {
  public:
    /// Throws std::system_error.
    RouterNetwork(EventLoop &loop, Journal &journal, const Options &options, FindModem find_modem);
    RouterNetwork(const RouterNetwork &) = delete;
    RouterNetwork &operator=(const RouterNetwork &) = delete;
    ~RouterNetwork();

    /// A modem's network device comes or goes; check_devices() takes it in.
    void set_device(const std::string &name, bool present);
    /// The sessions that real clients have opened end.
    void end_sessions();
    /// Devices have come or gone by themselves.
    void check_devices();
    /// A modem's stored settings may have become others by other ways than a command.
    void check_modems() { daemon_->check_demands(); }

  private:
    NetworkSurroundings surroundings();
    void change_device(const DeviceChange &change);
    void take_device_up(const DeviceChange &change);
    void take_device_down(const std::string &device);
    bool makes_folder(const std::string &device) const;
    void write_flags() const;
    const PluggedModem *modem_of(const InterfaceSection &section) const;

    EventLoop &loop_;
    Journal &journal_;
    FindModem find_modem_;
    bool links_are_known_ = false; ///< only then are interfaces started
    NetDevices devices_;
    std::set<std::string> protocol_devices_; ///< that came with an interface ("3g-modem") and go with it
    std::unique_ptr<UbusServer> ubus_;
    std::unique_ptr<NetworkDaemon> daemon_;
    std::optional<ProtocolHandlers> handlers_; ///< with --kernel
};

} // namespace simulator
