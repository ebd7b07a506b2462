#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/json.h"
#include "simulator/network/link_demand.h"
#include "simulator/network/name_servers.h"
#include "simulator/network/traffic.h"

namespace simulator {

class UbusServer;

/// How the protocol script of an interface goes (3g, qmi, dhcp ...).
struct LinkBehaviour {
    std::optional<int64_t> setup_ms = 1000; ///< nothing: it never comes up
    std::string error{}; ///< not empty: the setup ends with this code ("NO_DEVICE") and is not tried again by itself
    std::string l3_device{};           ///< empty: the usual one, "3g-<name>", "wwan0" ...
    std::string address = "10.64.1.2"; ///< empty: none
    int mask = 30;
    std::string gateway = "10.64.1.1"; ///< empty: none
    std::vector<std::string> dns{"10.64.1.1"};
    std::string data = "{}"; ///< a JSON object, the status's member "data"
    Traffic traffic{};       ///< of the device once the interface is up
    NameServers names{};     ///< that can be reached once the interface is up
    LinkDemand demand{};     ///< while it is not met the setup goes on without end
    bool companion = false;  ///< the interface itself gets no address, but a dynamic one named "<name>_4" does
};

struct InterfaceAddress {
    std::string address;
    int mask = 0;
    std::string peer{}; ///< the other end of a dial-up connection
};

/// A change to a network device: it must be there, up and have these addresses, or lose them and go down.
struct DeviceChange {
    std::string interface;
    std::string device;
    bool up = false;
    std::vector<InterfaceAddress> addresses{}; ///< IPv4 before IPv6
    std::string gateway{};                     ///< of the default route; empty: no such route
    int metric = 0;
    Traffic traffic{};   ///< that goes through it now
    NameServers names{}; ///< behind it
};

/// What the handler of an interface's protocol has to say.
struct HandlerReport {
    enum class Kind {
        up,     ///< the session is open, with these addresses
        failed, ///< it is not, for this reason
        ended   ///< the handler's last words: it starts again if it was not to end
    } kind = Kind::ended;
    std::string device{};
    std::string address{};
    int mask = 32;
    std::string gateway{};
    std::vector<std::string> dns{};
    std::string error{};
};

/// Everything that the network daemon does not know by itself. Only now and read_config must be set.
struct NetworkSurroundings {
    std::function<int64_t()> now; ///< milliseconds that never run backwards
    /// The interface sections in the file's order; nothing when there is no configuration file.
    std::function<std::optional<std::vector<InterfaceSection>>()> read_config;
    /// A network device ("wwan0"), or a modem's port ("/dev/ttyUSB3"). Unset: every device is there.
    std::function<bool(const std::string &device)> has_device{};
    std::function<bool(const std::string &device)> has_carrier{}; ///< unset: every device has
    std::function<void(const DeviceChange &change)> change_device{};
    /// The value of a variable ("apn_1") of an interface's modem; unset: none.
    std::function<std::string(const InterfaceSection &section, const std::string &variable)> modem_variable{};
    /// The network device of an interface's modem, empty if it has none; unset: none.
    std::function<std::string(const InterfaceSection &section)> modem_netdev{};
    /// Starts the handler that opens the session of an interface's modem; what it says goes to hear(). Unset, or false:
    /// the interface has none, and its setup only takes its time.
    std::function<bool(const InterfaceSection &section, const std::string &device)> start_handler{};
    std::function<void(const std::string &interface)> stop_handler{};
    /// advance() has something to do at that time; also times that have become void may come.
    std::function<void(int64_t at)> wake_at{};
};

/// netifd as a model: configuration, time and the state of devices go in, status documents and changes of devices come
/// out. Interfaces with a static address come up at once, those with a protocol script as their LinkBehaviour says.
///
///     NetworkDaemon daemon({.now = EventLoop::now_ms, .read_config = ..., .wake_at = ...});
///     register_network_daemon(server, daemon);
///     daemon.reload();
///
/// All commands give an ubus_msg_status.
class NetworkDaemon {
  public:
    /// Without interfaces, until the first reload.
    explicit NetworkDaemon(NetworkSurroundings surroundings);

    /// In force at the interface's next setup. Also for an interface that is not there yet.
    void set_behaviour(const std::string &name, LinkBehaviour behaviour);
    /// For interfaces without their own.
    void set_default_behaviour(LinkBehaviour behaviour) { default_behaviour_ = std::move(behaviour); }

    /// Takes in what the time has brought.
    void advance();
    /// Takes in that devices have come, gone, or changed their carrier.
    void check_devices();
    /// Takes in that a modem may have become what an interface's setup waits for.
    void check_demands();
    void hear(const std::string &name, const HandlerReport &report);

    /// 4 without a configuration: everything runs on then.
    int reload();
    /// Every interface goes down and starts again; dynamic ones disappear.
    int restart();
    int up(const std::string &name);
    int down(const std::string &name);
    /// 9 for an interface that is down, as for restart.
    int renew(const std::string &name);
    /// As a handler, or a script of its package, says that the device is there, or is not.
    int set_available(const std::string &name, bool available);
    /// As netifd since June 2026: takes a configured interface down and starts it again.
    int restart(const std::string &name);
    /// options is the message of "add_dynamic": name, proto, device, metric ...
    int add_dynamic(json_object *options);
    /// Takes a dynamic or a configured interface away; the latter until the next reload.
    int remove(const std::string &name);

    /// Null when there is no such interface.
    Json status(const std::string &name);
    /// {"interface": [{"interface": "<name>", <members of its status>}, ...]}
    Json dump();

    std::vector<std::string> interface_names() const;
    /// Called whenever an interface has come or gone.
    void set_interfaces_changed(std::function<void()> callback) { interfaces_changed_ = std::move(callback); }

    enum class State { down, pending, up };
    /// What the network daemon stores about an interface; read only.
    struct Interface {
        void set_error(const std::string &subsystem, const std::string &code)
        {
            error_subsystem = subsystem;
            error_code = code;
        }

        InterfaceSection section;
        bool dynamic = false;
        bool autostart = true;
        bool available = true;
        State state = State::down;
        int64_t up_since = 0;
        std::optional<int64_t> setup_ends{}; ///< of a pending one; nothing: never
        bool waits_for_demand = false;       ///< the setup goes on until its demand is met
        bool has_handler = false;            ///< a process opens its session, and keeps it open
        bool has_port = false;               ///< its modem's port was there when it was looked for last
        std::optional<int64_t> next_try{};   ///< when the handler starts again
        LinkBehaviour link{};                ///< of the setup under way or done
        std::string l3_device{};
        std::string error_subsystem{}; ///< empty: no error
        std::string error_code{};
    };

  private:
    void add(InterfaceSection section, bool dynamic);
    void erase(const std::string &name);
    void change(Interface &interface, const InterfaceSection &section);
    void begin(Interface &interface);
    void start(Interface &interface);
    void stop(Interface &interface);
    void begin_setup(Interface &interface);
    bool start_handler(Interface &interface);
    void come_up(Interface &interface, int64_t at);
    void finish_setup(Interface &interface);
    void check_device(Interface &interface);
    void check_port(Interface &interface);
    void add_companion(const Interface &interface);
    std::string l3_device_of(const Interface &interface) const;
    void tell_device(const Interface &interface, bool up, const Traffic &traffic = {}) const;
    bool device_is_there(const Interface &interface) const;
    void make_available(Interface &interface, bool available);
    bool port_is_there(const Interface &interface) const;
    Interface *find(const std::string &name);

    NetworkSurroundings surroundings_;
    LinkBehaviour default_behaviour_;
    std::map<std::string, LinkBehaviour> behaviours_;
    std::map<std::string, Interface> interfaces_;
    std::function<void()> interfaces_changed_;
};

/// Adds "network", "network.interface" and an object per interface, which come and go as the interfaces do. daemon must
/// live as long as server answers.
void register_network_daemon(UbusServer &server, NetworkDaemon &daemon);

} // namespace simulator
