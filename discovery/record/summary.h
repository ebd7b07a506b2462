#pragma once

#include "platform/json.h"

/// The modem's state in a few members, for the router's supervisor: "SIM" (only what is wrong with it, and then nothing
/// else), "carrier", "sms", "signal", "modem_mode", "modem_up". What stops it goes to syslog.
void add_summary(json_object *summary, const char *bus);
