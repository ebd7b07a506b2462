#pragma once

#include <json-c/json.h>

// Any AT command.

int32_t pass_at_command(json_object *request, json_object *response);
