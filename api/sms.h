#pragma once

#include "api/request.h"

// The messages of the SMS daemon's spool.

int32_t modem_sms_list(Request &request, json_object *response);
int32_t modem_sms_delete(Request &request, json_object *response);
int32_t modem_sms_delete_all(Request &request, json_object *response);
int32_t modem_sms_send(Request &request, json_object *response);
int32_t modem_sms_status(Request &request, json_object *response);
/// Sets or reports the country of the router's SIM, as "action" says.
int32_t modem_sms_code(Request &request, json_object *response);
