#pragma once

#include <cstdint>
#include <string_view>

#include "platform/json.h"

// How the report is read; results as those of the operations in sierra.h.

int parse_gstatus_signal(std::string_view report, int32_t &level);
int parse_gstatus_cells(std::string_view report, json_object *array);
bool parse_gstatus_ca(std::string_view report);
