#pragma once

#include "api/request.h"

// Any AT command.

int32_t modem_at(Request &request, json_object *response);
