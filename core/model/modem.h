#pragma once

#include "core/model/modem_driver.h"

/// The model number of the catch-all entry that stands for every device that is not listed.
inline constexpr int32_t unknown_modem_id = 255;

/// bus with every '-' and '.' as '_'; cut at out's capacity.
void bus_to_ident(const char *bus, TextOut out);

/// Makes rec the record of the modem on bus: its bus, and "modem_<bus>" as its UCI interface. @return 0
int driver_bind_bus(ModemDriver &rec, const char *bus);

/// The state of SIM and registration that every report shows: "NO_SIM" -1, "PIN_SIM" -2, "PUK_SIM" -4, "NO_REG" -3.
/// @return that code; 0 when SIM and registration are good or cannot be asked, out is then untouched
int sim_state_text(const ModemDriver &rec, TextOut out);

/// Model number of the modem that this process works with; -1 at start and after a disconnect.
int32_t current_modem_id();
void set_current_modem_id(int32_t id);
