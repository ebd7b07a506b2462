#pragma once

/// Switches the power of the modem on bus off and on again, one second apart, by its board's power line. Does
/// nothing on a board without one.
void power_cycle_modem(const char *bus);

/// True if power_cycle_modem has something to switch.
bool can_power_cycle(const char *bus);
