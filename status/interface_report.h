#pragma once

#include "platform/interface_state.h"

// The part of a modem's report about its interface: state, address and traffic.

/// Adds "up" ("on", "off", "connecting") and, if the interface has a device, its traffic to result, from what ifstatus
/// prints about the UCI interface iface.
/// @return its state; down with nothing added when ifstatus does not know the interface or prints no JSON
InterfaceState report_interface(json_object *result, const char *iface);

/// The same, and "ip_addr": the interface's own address, or else that of its companion "<iface>_4", after a call of at
/// most timeout_s seconds. This is for a router that passes the modem's address through to a host of the LAN: then no
/// device of the router has it.
/// @return as above; also down if the companion does not answer
InterfaceState report_interface_with_address(json_object *result, const char *iface, int timeout_s);
