#pragma once

#include "platform/json.h"

// `modemctl watch`: keeps the modem on one bus online (docs/watch.md). decide() is what decides; these observe, act and
// remember. What is remembered is in the modem's state folder.

/// Takes steps until a signal ends the process, or only one. Asleep it holds no port, no connection to ubus and no
/// document.
/// @return seconds to the next step; -1 if another process watches this bus
int watch(const char *bus, bool is_once);

/// The watch does nothing for so many seconds, or until resume_watch. @return 0; -1 if it cannot be noted
int pause_watch(const char *bus, int64_t seconds);
void resume_watch(const char *bus);

/// Adds what the last step left: "bus", "state", "since_s", "reason", "stage", "paused_s", "budgets" ...
/// @return false if nothing has watched the bus since the router's start
bool add_watch_status(json_object *object, const char *bus);
