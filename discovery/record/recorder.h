#pragma once

#include "discovery/record/info.h"

/// Asks the modem on bus every question of every dialect and writes what it says to file, as a profile for simrouter
/// (docs/simulated-modems.md), with the numbers that belong to a person masked (readings/mask.h).
/// @return as add_info; is_written is false when the modem was recorded and the file could not be written, which is
/// then as it was
InfoResult record_modem(const char *bus, const char *file, bool &is_written);
