#pragma once

#include "api/request.h"

#include "platform/text.h"

// The modem's firmware.

int32_t modem_upgrade(Request &request, json_object *response);
int32_t modem_upgrade_status(Request &request, json_object *response);

/// The letters, digits, points and underscores of the firmware version that a modem prints, in order; cut at 127.
Text<128> filter_version(std::string_view output);
