#pragma once

#include "simulator/network/network_daemon.h"

namespace simulator {

/// How an interface of a protocol comes up.
enum class ProtocolKind {
    none,  ///< needs a device with carrier; also every unknown protocol
    fixed, ///< addresses from the configuration, needs a device
    wired, ///< a script that needs a device
    modem, ///< a script that names its device itself
};
ProtocolKind protocol_kind(const InterfaceSection &section);

/// True if a modem's interface cannot be set up without the port that its option device names.
bool names_port(const InterfaceSection &section);
/// True if a modem's interface goes down with its modem's port, and comes up with it again.
bool follows_port(const InterfaceSection &section);

/// First value of an option, empty if it is not set.
std::string option_of(const InterfaceSection &section, const std::string &name);
/// True if an option is "0", or another of UCI's words for no.
bool option_is_off(const InterfaceSection &section, const std::string &name);
/// The option device, or ifname as it was called.
std::string device_of(const InterfaceSection &section);

/// The network device of an interface with a modem's protocol, whose modem has netdev (empty when it is not known).
std::string modem_device_of(const InterfaceSection &section, const std::string &netdev);

/// Addresses that the interface has while it is up, IPv4 before IPv6.
std::vector<InterfaceAddress> addresses_of(const NetworkDaemon::Interface &interface);
/// Gateway of its default route, empty without one; the configuration decides if the route is used.
std::string gateway_of(const NetworkDaemon::Interface &interface);
int metric_of(const InterfaceSection &section);

/// Adds the members of the status to object, in the network daemon's order.
void add_status(json_object *object, const NetworkDaemon::Interface &interface, int64_t now);

} // namespace simulator
