#pragma once

#include <optional>
#include <string_view>

#include "core/model/modem_driver.h"
#include "drivers/quectel_fields.h"

// Quectel modems, cells (AT+QENG, AT+QCAINFO). Every value becomes a JSON string as cut from the reply unless said
// otherwise; a field that cannot be cut is left out. A reply counts only with OK.

/// Appends carriers (AT+QCAINFO), serving cells and neighbour cells (AT+QENG). @return 0
int quectel_get_cells(const ModemDriver &rec, json_object *array);

/// @return 1 when AT+QCAINFO tells a primary and a secondary carrier, else 0
int ep06_get_ca_info(const ModemDriver &rec);

struct CellLayout;

/// A serving-cell line and how its technology lays it out. line is part of the reply that was parsed.
struct ServingCell {
    std::string_view line;    ///< from the tag on, to the end of the reply
    Field technology;         ///< as the modem calls it
    const CellLayout *layout; ///< null for a technology that is not listed
    bool is_lte;
};

/// Reads the line that text, an AT+QENG reply, has from its serving-cell tag on (field 0 is the tag). Nothing when it
/// has no access technology: the modem is searching, or the line is cut.
std::optional<ServingCell> parse_servingcell(std::string_view text);

/// The cell's band; nothing but for LTE, and when the modem does not tell it.
std::optional<int32_t> lte_band(const ServingCell &cell);

// What comes of whole replies: each appends its cells to array.

void add_carriers(std::string_view reply, json_object *array);
void add_serving_cells(std::string_view reply, json_object *array);
void add_neighbour_cells(std::string_view reply, json_object *array);

/// Whether an AT+QCAINFO reply names a primary and a secondary carrier.
bool has_two_carriers(std::string_view reply);
