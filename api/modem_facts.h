#pragma once

#include "api/request.h"

// Facts of one modem.

int32_t modem_modem_info_get(Request &request, json_object *response);
int32_t modem_cells_get(Request &request, json_object *response);
