#pragma once

#include <string_view>

#include "platform/json.h"

// The last changes of a watch, for who looks after the event: up to 8 KiB in the modem's state folder.

/// Adds a line with the router's uptime; the oldest lines make room for it.
void note_watch_change(const char *bus, std::string_view line);

/// Appends the last changes, at most so many, to list: "uptime_s", "text", and "time" (Unix) if the clock is set.
void read_watch_log(const char *bus, json_object *list, size_t most);
