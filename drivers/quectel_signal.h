#pragma once

#include "core/model/modem_driver.h"

// Quectel modems, signal (AT+QCSQ, AT+QENG) by the Quectel AT manuals. Every value becomes a JSON string as cut from
// the reply unless said otherwise; a field that cannot be cut is left out. A reply counts only with OK.

/// Signal by AT+QCSQ. @return best generation (4, 3, 2; 0 when only unrated systems were seen); -1 when nothing was
/// usable, level is then untouched
int quectel_get_signal(const ModemDriver &rec, json_object *array, int32_t &level);

/// The same by AT+QENG="servingcell".
int ep06_get_signal(const ModemDriver &rec, json_object *array, int32_t &level);

/// Registration by AT+CREG?, then by AT+CEREG? (an LTE-only registration). @return 0 registered, -1
int quectel_check_register(const ModemDriver &rec);

/// How signal_level treats the RSSI of WCDMA and TDSCDMA.
enum class WcdmaRssi {
    graded,   ///< it is graded, a missing one as 4
    previous, ///< the incoming level stands in for its grade
};

/// Grades a signal object by its "type" and writes the level, 1 to 4. @return generation: 4, 3 or 2; 0 for an unknown
/// type, level is then untouched
int signal_level(json_object *object, int32_t &level, WcdmaRssi wcdma_rssi);

// How the replies are read; results as those of the operations above.

int parse_qcsq(std::string_view reply, json_object *array, int32_t &level);
int parse_servingcell_signal(std::string_view reply, json_object *array, int32_t &level);
