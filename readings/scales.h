#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "readings/fields.h"
#include "readings/report.h"

// Scales that several replies share: words for technologies, indices for bandwidths and levels. Results are in
// hundredths of MHz, dBm or dB. Each function returns nothing for a value that the scale does not have.

/// Words of Quectel's replies: "LTE", "FDD LTE", "eMTC", "CAT-M1", "NBIoT", "NR5G-SA", "WCDMA", "EDGE" ...
Technology technology_of_quectel(std::string_view word);

/// True if a record of the reply that starts with tag begins with a word for LTE: NR is beside it then, whichever comes
/// first.
bool has_lte_record(std::string_view reply, std::string_view tag);

/// <AcT> of 3GPP TS 27.007 (+COPS, +CREG): 0 GSM to 13 EN-DC. Narrow-band modems use 8 and 9 for eMTC and NB-IoT.
Technology technology_of_act(std::optional<int64_t> act);

/// How a field becomes a quantity's number. Each is a row of scales.cpp, in this order.
enum class Scale : uint8_t {
    number,       ///< decimal
    positive,     ///< decimal above 0
    hex,          ///< hexadecimal
    any_base,     ///< decimal; hexadecimal if it has letters
    both_forms,   ///< hexadecimal, then the decimal form in brackets, which must agree
    decibels,     ///< whole or with a fraction, to hundredths
    with_unit,    ///< as decibels, followed by the unit
    unsigned_dbm, ///< as decibels; a level without its minus sign is taken as negative
    lte_bw_index,
    lte_bw_blocks,
    nr_bw_index,
    kilohertz,
    // Linear from here on: a whole number, of which only a range has a meaning.
    tenths,
    halves,
    hundredth,    ///< hundredths as they are
    nr_bw_fifths, ///< fifths of MHz
    lte_rsrp,     ///< the indices of 3GPP TS 27.007, 36.133 and 38.133; each stands for its interval's lower end
    lte_rsrq,
    nr_rsrp,
    nr_rsrq,
    nr_sinr,
    rscp,
    ecio,
    rxlev,
    quectel_sinr,
    huawei_sinr,
    huawei_ecio,
    count,
    lte_band = count, ///< no quantity: the number of a band, told by tell_band
    nr_band,
    band_words, ///< likewise, the band's words
};

/// The field as a number in the quantity's unit; nothing if it is not a number.
std::optional<int64_t> scaled(std::string_view field, Scale scale);

/// One field of a line: where it is, what it is, and its scale.
struct FieldRule {
    uint8_t field;
    Quantity quantity; ///< not looked at for the scales of bands
    Scale scale;
};

using FieldRules = std::span<const FieldRule>;

/// Stores every field of the rules in cell. Fields that are missing or not numbers are left out. shift is added to the
/// rules' positions.
void tell_fields(const Fields &fields, FieldRules rules, Cell &cell, size_t shift = 0);

/// Stores one value in cell by its scale.
void tell_value(std::string_view value, Quantity quantity, Scale scale, Cell &cell);

/// "26203": the MCC is the first three digits.
void tell_plmn(Cell &cell, std::string_view digits);
