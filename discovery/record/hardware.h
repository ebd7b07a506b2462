#pragma once

#include <string_view>

#include "platform/json.h"

/// Adds "hw_version" and "sim_num" (slots of the board's SIM holder). Only one place of a board that has a version has
/// them; they are empty elsewhere.
void add_hardware(json_object *info, const char *bus);

/// The condor board's version by two bytes of its factory partition, as hexdump prints them.
const char *pick_hardware_version(std::string_view first, std::string_view second);
