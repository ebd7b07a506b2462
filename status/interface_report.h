#pragma once

#include "platform/interface_state.h"

// The part of a modem's report that tells whether its interface is up, and with which address and traffic.

/// Adds "up" ("on", "off", "connecting") and, where the interface has a device, its traffic to result, from what
/// ifstatus prints of the UCI interface iface.
/// @return its state; down with nothing added when ifstatus does not know the interface or prints no JSON
InterfaceState report_interface(json_object *result, const char *iface);

/// The same, and "ip_addr": the interface's own address, or else that of its companion "<iface>_4", which a call of at
/// most timeout_s seconds asks for. Of use where the modem's address is passed through to a host of the LAN, so that no
/// device of the router has it.
/// @return as above; down also when the companion does not answer
InterfaceState report_interface_with_address(json_object *result, const char *iface, int timeout_s);
