#pragma once

#include <json-c/json.h>

#include "api/modem_api.h"

// The handlers of the route table, each in the file of its subject.

// The modems of the router (modem_lists.cpp).
int32_t report_modems(json_object *request, json_object *response);
int32_t report_modems_briefly(json_object *request, json_object *response);
int32_t report_modems_for_app(json_object *request, json_object *response);

// The connection of one modem (connection.cpp).
int32_t start_auto_connect(json_object *request, json_object *response);
int32_t report_settings(json_object *request, json_object *response);
int32_t change_settings(json_object *request, json_object *response);
int32_t enable_modem(json_object *request, json_object *response);

// Taking a modem's power or state away for a moment (restart.cpp).
int32_t reset_modem(json_object *request, json_object *response);
int32_t switch_sim(json_object *request, json_object *response);

// Any AT command (at_pass_through.cpp).
int32_t pass_at_command(json_object *request, json_object *response);

// Facts of one modem (modem_facts.cpp).
int32_t report_modem_facts(json_object *request, json_object *response);
int32_t report_cells(json_object *request, json_object *response);
