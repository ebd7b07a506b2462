#pragma once

/// Switches the power of the modem on bus off and on again, one second apart, by the line that the board has for it. A
/// board without one does nothing.
void power_cycle_modem(const char *bus);
