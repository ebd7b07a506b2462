#pragma once

#include "platform/json.h"

// What the network daemon (netifd, on ubus) knows of an interface, and what it can be asked to do.

/// The three states that every report of an interface uses.
enum InterfaceState : int {
    interface_is_up = 0,
    interface_is_pending = 1,
    interface_is_down = 2, ///< also: unknown, or the query failed
};

/// Longer names are not asked for.
inline constexpr size_t longest_interface_name = 45;

/// State of the UCI interface iface, by a status call of at most timeout_s seconds. A name of 46 bytes or more is down
/// without being asked for.
InterfaceState interface_state(const char *iface, int timeout_s);

/// The state that a status document tells; null is down.
InterfaceState parse_interface_state(json_object *status);

/// The whole status document of iface, null when it cannot be had; bounds as interface_state's.
Json interface_status(const char *iface, int timeout_s);

/// Lets the network daemon read its configuration again. @return 0; libubus's status; -1 without a connection
int reload_network(int timeout_s);
