#pragma once

#include "core/modem_driver.h"

// Quectel modems: signal and cells (AT+QCSQ, AT+QENG, AT+QCAINFO of the Quectel AT manuals). Every value becomes a JSON
// string as cut from the reply unless said otherwise; a field that cannot be cut is left out. A reply counts only with
// OK.

/// Signal by AT+QCSQ. @return best generation (4, 3, 2; 0 when only unrated systems were seen); -1 when nothing was
/// usable, level is then untouched
int quectel_get_signal(const ModemDriver &rec, json_object *array, int32_t &level);

/// The same by AT+QENG="servingcell".
int ep06_get_signal(const ModemDriver &rec, json_object *array, int32_t &level);

/// Appends carriers (AT+QCAINFO), serving cells and neighbour cells (AT+QENG). @return 0
int quectel_get_cells(const ModemDriver &rec, json_object *array);

/// @return 1 when AT+QCAINFO tells a primary and a secondary carrier, else 0
int ep06_get_ca_info(const ModemDriver &rec);

/// How signal_level treats the RSSI of WCDMA and TDSCDMA.
enum class WcdmaRssi {
    graded,   ///< it is graded, a missing one as 4
    previous, ///< the incoming level stands in for its grade
};

/// Grades a signal object by its "type" and writes the level, 1 to 4. @return generation: 4, 3 or 2; 0 for an unknown
/// type, level is then untouched
int signal_level(json_object *object, int32_t &level, WcdmaRssi wcdma_rssi);

/// Fills object from text, which starts at the serving-cell tag of an AT+QENG reply (field 0 is the tag).
/// @return 0; -1 when the line has no access technology
int parse_servingcell(std::string_view text, json_object *object);

// How the replies are read; results as those of the operations above.

int parse_qcsq(std::string_view reply, json_object *array, int32_t &level);
int parse_servingcell_signal(std::string_view reply, json_object *array, int32_t &level);
void parse_carriers(std::string_view reply, json_object *array);
void parse_serving_cells(std::string_view reply, json_object *array);
void parse_neighbour_cells(std::string_view reply, json_object *array);
bool parse_ca_active(std::string_view reply);
