#pragma once

#include <json-c/json.h>

// Where received messages are forwarded to, and the mail account that sends them.

int32_t set_forwarding(json_object *request, json_object *response);
int32_t report_forwarding(json_object *request, json_object *response);
int32_t set_mail_account(json_object *request, json_object *response);
