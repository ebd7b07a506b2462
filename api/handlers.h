#pragma once

#include <json-c/json.h>

#include "api/modem_api.h"

// The handlers of the route table, each in the file of its subject.

// Facts of one modem (modem_facts.cpp).
int32_t report_modem_facts(json_object *request, json_object *response);
int32_t report_cells(json_object *request, json_object *response);
