#pragma once

#include "core/model/generation.h"
#include "core/model/modem_driver.h"
#include "drivers/quectel_fields.h"

// Quectel modems, signal (AT+QCSQ, AT+QENG) and registration. A reply counts only with OK.

/// Signal by AT+QCSQ: appends one object of texts for each system that the modem reports. @return best generation (4,
/// 3, 2; 0 if there were only unrated systems); -1 if nothing was usable, level is then untouched
int quectel_get_signal(const ModemDriver &rec, json_object *array, int32_t &level);

/// The same by AT+QENG="servingcell".
int ep06_get_signal(const ModemDriver &rec, json_object *array, int32_t &level);

/// Registration by AT+CREG?, then by AT+CEREG? (an LTE-only registration). @return 0 registered, -1
int quectel_check_register(const ModemDriver &rec);

/// How signal_level treats the RSSI of WCDMA and TDSCDMA.
enum class WcdmaRssi {
    graded,   ///< it is graded
    previous, ///< the incoming level replaces its grade
};

/// Grades a signal by its type and writes the level, 1 to 4. A value without a number counts as 0: people compare the
/// levels with older ones. @return unrated for an unknown type, level is then untouched
Generation signal_level(const Signal &signal, int32_t &level, WcdmaRssi wcdma_rssi);

// How the replies are read.

std::optional<Signal> parse_qcsq_line(std::string_view line);          ///< nothing for a system without signal values
std::optional<Signal> parse_servingcell_signal(std::string_view line); ///< nothing except for LTE and WCDMA

// The results of whole replies; as those of the operations above.

int add_qcsq_signals(std::string_view reply, json_object *array, int32_t &level);
int add_servingcell_signals(std::string_view reply, json_object *array, int32_t &level);
