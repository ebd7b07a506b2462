#pragma once

#include <string_view>

#include "platform/json.h"

/// Appends to candidates the entries of database (a JSON text with the list apns.apn) with that mcc and mnc, or,
/// without one, with the first two characters of mnc. As in json-c, text after the value is ignored.
/// @return how many; -1 when the text is no JSON or has no such list, nothing is appended then
int pick_apn_entries(std::string_view database, std::string_view mcc, std::string_view mnc, json_object *candidates);
