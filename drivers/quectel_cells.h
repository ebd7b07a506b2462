#pragma once

#include <optional>
#include <string_view>

#include "core/model/modem_driver.h"
#include "drivers/quectel_fields.h"

// Quectel modems, cells (AT+QENG, AT+QCAINFO). Every value becomes a JSON string as cut from the reply unless said
// otherwise; a field that cannot be cut is left out. A reply counts only with OK.

/// Appends carriers (AT+QCAINFO), serving cells and neighbour cells (AT+QENG). @return 0
int quectel_get_cells(const ModemDriver &rec, json_object *array);

/// @return 1 if AT+QCAINFO reports a primary and a secondary carrier, else 0
int ep06_get_ca_info(const ModemDriver &rec);

struct CellLayout;

/// A serving-cell line and the layout that its technology has. line is part of the reply that was parsed.
struct ServingCell {
    std::string_view line;    ///< from the tag on, to the end of the reply
    Field technology;         ///< as the modem calls it
    const CellLayout *layout; ///< null for a technology that is not listed
    bool is_lte;
};

/// Reads the line from the serving-cell tag on, in text, an AT+QENG reply (field 0 is the tag). Nothing if it has no
/// access technology: the modem is searching, or the line is cut.
std::optional<ServingCell> parse_servingcell(std::string_view text);

/// The cell's band, for LTE only; nothing if the modem does not report it.
std::optional<int32_t> lte_band(const ServingCell &cell);

// The results of whole replies: each function appends its cells to array.

void add_carriers(std::string_view reply, json_object *array);
void add_serving_cells(std::string_view reply, json_object *array);
void add_neighbour_cells(std::string_view reply, json_object *array);

/// True if an AT+QCAINFO reply names a primary and a secondary carrier.
bool has_two_carriers(std::string_view reply);
