#pragma once

#include "platform/json.h"

/// What `modemctl info` ends with; its exit status.
enum class InfoResult : int { reported = 0, no_modem = 1, no_answer = 2, port_busy = 3 };

/// Adds all that is known of the modem on bus to object: the members of docs/info.md. The modem is asked over one
/// opening of its AT port, for 10 s at most; what it did not tell in time is listed in "missing". Who the modem is is
/// asked once while it is plugged in, and kept in its state folder.
/// @return no_answer and port_busy leave an object without the modem's own words
InfoResult add_info(json_object *object, const char *bus);
