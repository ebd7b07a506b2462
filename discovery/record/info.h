#pragma once

#include "discovery/record/modem_port.h"
#include "platform/json.h"

/// Adds all that is known about the modem on bus to object: the members of docs/info.md. The AT port is opened once,
/// for 10 s at most. What the modem did not report in time is listed in "missing". Its identity is asked once while it
/// is plugged in, and kept in its state folder.
/// @return no_answer and port_busy leave an object without the modem's own words
InfoResult add_info(json_object *object, const char *bus);
