#pragma once

#include "platform/json.h"

// What the network daemon (netifd, on ubus) knows about an interface, and what it can be asked to do.

/// The three states that every report of an interface uses.
enum InterfaceState : int {
    interface_is_up = 0,
    interface_is_pending = 1,
    interface_is_down = 2, ///< also: unknown, or the query failed
};

/// The daemon is not asked about longer names.
inline constexpr size_t longest_interface_name = 45;

/// State of the UCI interface iface, by a status call of at most timeout_s seconds. A name of 46 bytes or more is down
/// without a call.
InterfaceState interface_state(const char *iface, int timeout_s);

/// The state in a status document; null is down.
InterfaceState parse_interface_state(json_object *status);

/// True if status is that of a companion of an interface on device ("wan_4" of "wan"). A handler makes its own dynamic,
/// and what a person makes for both kinds of addresses is on the same device. Other interfaces may have such a name
/// too.
bool is_companion(json_object *status, std::string_view device);

/// The whole status document of iface, null if the call fails; bounds as for interface_state.
Json interface_status(const char *iface, int timeout_s);

/// Makes the network daemon read its configuration again. @return 0; libubus's status; -1 without a connection
int reload_network(int timeout_s);
