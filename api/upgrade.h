#pragma once

#include <json-c/json.h>

#include "platform/text.h"

// The modem's firmware.

int32_t upgrade_modem(json_object *request, json_object *response);
int32_t report_upgrade(json_object *request, json_object *response);

/// The letters, digits, points and underscores of what a modem prints as its firmware version, in order; cut at 127.
Text<128> filter_version(std::string_view output);
