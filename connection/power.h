#pragma once

#include "platform/text.h"

/// Switches the power of the modem on bus off and on again, one second apart, by the line that the board has for it. A
/// board without one does nothing. @return 0
int power_cycle_modem(const char *bus);

/// The board's command where it is fixed; null where the control file has to be found.
const char *pick_power_command(std::string_view board);

/// The condor board's control file for the modem on bus.
Text<100> pick_condor_power_file(std::string_view bus);

/// Whether the control file is pulsed 1, 0 rather than 0, 1.
bool is_power_pulse_high(std::string_view board, std::string_view bus);
