#pragma once

#include <string_view>

#include "core/model/modem_driver.h"

/// The model number of the table's last entry, which serves every device that is not listed.
inline constexpr int32_t unknown_modem_id = 255;

/// True for a device that the table does not list: its ports and its SIM are not known.
inline bool is_unknown_device(const ModemDriver &rec)
{
    return rec.modem_id == unknown_modem_id;
}

/// A bus as a record holds it.
using BusName = decltype(ModemDriver::bus);

/// False for a bus that a record would cut. Such a bus is refused at once, because its first characters may be the name
/// of another bus.
constexpr bool fits_record(std::string_view bus)
{
    return bus.size() < BusName::capacity();
}

/// bus with every '-' and '.' as '_'; cut at out's capacity.
void bus_to_ident(const char *bus, TextOut out);

/// The UCI interface of the modem on bus, "modem_<bus>" with '-' and '.' as '_'.
Text<16> interface_of_bus(const char *bus);

/// Makes rec the record of the modem on bus: its bus, and "modem_<bus>" as its UCI interface. @return 0
int driver_bind_bus(ModemDriver &rec, const char *bus);

/// The state of SIM and registration that every report shows: "NO_SIM" -1, "PIN_SIM" -2, "PUK_SIM" -4, "NO_REG" -3.
/// @return that code; 0 with out untouched if both are good or the model has no such operation
int sim_state_text(const ModemDriver &rec, TextOut out);

/// Model number of the modem that this process works with; -1 at start and after a disconnect.
int32_t current_modem_id();
void set_current_modem_id(int32_t id);
