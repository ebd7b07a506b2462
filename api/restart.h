#pragma once

#include "api/request.h"
#include <cstdint>

// Taking a modem's power or state away for a moment.

int32_t modem_reset(Request &request, json_object *response);
int32_t modem_sim_switch(Request &request, json_object *response);

/// What restarts a model: the AT command of a reset, and that of a change of SIM. Null: a reset sends nothing, a change
/// of SIM switches the modem's power. Models 4 (UC20) and 6 (EC200T) differ between the two on purpose.
struct RestartCommands {
    const char *reset;
    const char *sim_switch;
};

RestartCommands pick_restart_commands(int32_t modem_id);
