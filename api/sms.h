#pragma once

#include <json-c/json.h>

// The messages of the SMS daemon's spool.

int32_t list_messages(json_object *request, json_object *response);
int32_t delete_message(json_object *request, json_object *response);
int32_t delete_all_messages(json_object *request, json_object *response);
int32_t send_message(json_object *request, json_object *response);
int32_t mark_message_read(json_object *request, json_object *response);
/// Sets or reports the country of the router's SIM, as "action" says.
int32_t keep_message_country(json_object *request, json_object *response);
