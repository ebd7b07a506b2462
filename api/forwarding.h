#pragma once

#include "api/request.h"

// Where received messages are forwarded to, and the mail account that sends them.

int32_t modem_sms_forward(Request &request, json_object *response);
int32_t modem_sms_flist(Request &request, json_object *response);
int32_t modem_sms_account(Request &request, json_object *response);
