#pragma once

#include "core/model/modem_driver.h"

/// Makes the interface a member of multi-WAN failover; an existing member is enabled or disabled, depending on the
/// operator. A change restarts mwan3 in the background.
void set_up_multi_wan_member(const char *iface, const char *operator_name);

/// Writes the section that forces the TTL of the modem's traffic on device (may be empty), or removes it if rec has no
/// forced TTL.
void write_forced_ttl(const ModemDriver &rec, const char *device);
