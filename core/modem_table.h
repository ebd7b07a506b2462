#pragma once

#include "core/modem_driver.h"

/// The model number of the catch-all entry that stands for every device that is not listed.
inline constexpr int32_t unknown_modem_id = 255;

/// First of the thirteen models, linked by next.
ModemDriver *modem_drivers();

/// First entry with that model number; null when there is none. A negative id never matches.
ModemDriver *find_driver_by_id(ModemDriver *head, int32_t id);

/// First entry with both USB ids; null when there is none.
ModemDriver *find_driver_by_usb(ModemDriver *head, uint32_t vid, uint32_t pid);

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

/// Takes down the interface of the current modem's table entry (the template "modem" unless that entry was bound
/// earlier in this process); on success there is no current modem any more. @return 0; -1 without a current modem or
/// when the interface does not go down
int modem_disconnect();

/// Removes one message of the SMS spool. @return the operation's result, -1 when there is none
int remove_sms(const char *name);

/// Removes all messages of the SMS spool through the entry of that model. @return as above
int remove_all_sms(int32_t modem_id);
