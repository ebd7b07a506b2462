#pragma once

#include <json-c/json.h>

// Facts of one modem.

int32_t report_modem_facts(json_object *request, json_object *response);
int32_t report_cells(json_object *request, json_object *response);
