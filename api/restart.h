#pragma once

#include "api/request.h"
#include <cstdint>

// Taking a modem's power or state away for a moment.

int32_t modem_reset(Request &request, json_object *response);
int32_t modem_sim_switch(Request &request, json_object *response);
