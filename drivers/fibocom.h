#pragma once

#include <optional>

#include "core/model/modem_driver.h"
#include "drivers/signal.h"

// Fibocom NL678E: the commands of its maker (AT+GTCCINFO) and of 3GPP TS 27.007 (AT+CREG, AT+CESQ, AT+CSQ, AT+CGDCONT).
// Every value becomes a JSON string as cut from the reply unless said otherwise; an empty field is left out. A reply
// counts only with OK.

/// Appends one object and writes the level, 1 to 4: the mean of the grades of RSRP, RSRQ and RSSI, each by the index
/// number that the modem reports; a missing one counts as 0. "rssi" is in dBm, and empty if the modem reports none.
/// @return 0
int fibocom_get_signal(const ModemDriver &rec, json_object *array, int32_t &level);

/// Appends the serving cell and its neighbours. @return 0, -1 if the modem reports no cells
int fibocom_get_cells(const ModemDriver &rec, json_object *array);

/// Only the home network counts as registered, roaming does not. @return 0, -1
int fibocom_check_register(const ModemDriver &rec);

/// Writes the APN into context 1, for every SIM. A null text counts as empty. Nothing is sent if the text contains a
/// quote or a control character, or makes the command longer than 512 characters.
/// @return 0, also if the modem cannot be asked; -1 if nothing was sent or the modem refuses
int fibocom_set_apn(const ModemDriver &rec, const char *apn);

// How the replies are read; an empty reply means that none came.

std::string_view serving_cell_line(std::string_view gtccinfo_reply); ///< empty, so without a field, when there is none
bool is_registered_at_home(std::string_view reply);                  ///< +CREG
Signal parse_cesq(std::string_view reply);                           ///< those of "rxlev" to "rsrp" that are there
std::optional<int32_t> parse_csq_index(std::string_view reply);      ///< a field without a number counts as 0
int32_t fibocom_level(const Signal &quality, std::optional<int32_t> csq_index);

void add_fibocom_signal(json_object *object, const Signal &quality, std::optional<int32_t> csq_index);
void add_fibocom_cells(std::string_view gtccinfo_reply, std::optional<int32_t> csq_index, json_object *array);
