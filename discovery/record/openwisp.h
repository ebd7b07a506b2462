#pragma once

#include "platform/json.h"

/// The object "mobile" of an interface, as the device schema of OpenWISP Monitoring has it, from a modem's report:
/// IMEI, operator, manufacturer and model, state of connection and power, and the signal of each technology.
/// @return null if the report lacks a member that the schema requires
Json openwisp_mobile(json_object *report);
