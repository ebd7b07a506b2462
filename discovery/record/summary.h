#pragma once

#include "platform/json.h"

/// The modem's state in a few members, for the router's supervisor: "SIM" (only if it is not ready, and then no other
/// member), "carrier", "sms", "signal", "modem_mode", "modem_up". The reason for a missing summary goes to syslog.
void add_summary(json_object *summary, const char *bus);
