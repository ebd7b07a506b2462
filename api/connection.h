#pragma once

#include <json-c/json.h>

// The connection of one modem.

int32_t start_auto_connect(json_object *request, json_object *response);
int32_t report_settings(json_object *request, json_object *response);
int32_t change_settings(json_object *request, json_object *response);
int32_t enable_modem(json_object *request, json_object *response);
