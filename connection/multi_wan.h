#pragma once

#include "core/model/modem_driver.h"

/// Makes the interface a member of multi-WAN failover where it is none yet; where it is, enables or disables it as the
/// operator asks. A change restarts mwan3 in the background.
void set_up_multi_wan_member(const char *iface, const char *operator_name);

/// Writes the section that forces the TTL of the modem's traffic on device (empty: names none), or removes it where rec
/// forces none.
void write_forced_ttl(const ModemDriver &rec, const char *device);
