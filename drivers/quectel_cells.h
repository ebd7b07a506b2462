#pragma once

#include "core/model/modem_driver.h"

// Quectel modems, cells (AT+QENG, AT+QCAINFO) by the Quectel AT manuals. Every value becomes a JSON string as cut from
// the reply unless said otherwise; a field that cannot be cut is left out. A reply counts only with OK.

/// Appends carriers (AT+QCAINFO), serving cells and neighbour cells (AT+QENG). @return 0
int quectel_get_cells(const ModemDriver &rec, json_object *array);

/// @return 1 when AT+QCAINFO tells a primary and a secondary carrier, else 0
int ep06_get_ca_info(const ModemDriver &rec);

/// Fills object from text, which starts at the serving-cell tag of an AT+QENG reply (field 0 is the tag).
/// @return 0; -1 when the line has no access technology
int parse_servingcell(std::string_view text, json_object *object);

// How the replies are read; results as those of the operations above.

void parse_carriers(std::string_view reply, json_object *array);
void parse_serving_cells(std::string_view reply, json_object *array);
void parse_neighbour_cells(std::string_view reply, json_object *array);
bool parse_ca_active(std::string_view reply);
