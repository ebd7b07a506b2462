#pragma once

#include "api/request.h"

// The connection of one modem.

int32_t modem_auto(Request &request, json_object *response);
int32_t modem_get(Request &request, json_object *response);
int32_t modem_set(Request &request, json_object *response);
int32_t modem_enable(Request &request, json_object *response);
