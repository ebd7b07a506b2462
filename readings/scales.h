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

/// <AcT> of 3GPP TS 27.007 (+COPS, +CREG): 0 GSM to 13 EN-DC. Narrow-band modems use 8 and 9 for eMTC and NB-IoT.
Technology technology_of_act(std::optional<int64_t> act);

/// A linear index of 3GPP TS 27.007, 36.133 or 38.133: its lower end in hundredths, and the largest index with a
/// meaning.
struct IndexScale {
    int64_t of_zero;
    int64_t step;
    int64_t least_index;
    int64_t most_index;
};
inline constexpr IndexScale lte_rsrp_index = {-14100, 100, 0, 97};
inline constexpr IndexScale lte_rsrq_index = {-2000, 50, -30, 46};
inline constexpr IndexScale nr_rsrp_index = {-15700, 100, 0, 126};
inline constexpr IndexScale nr_rsrq_index = {-4350, 50, 0, 126};
inline constexpr IndexScale nr_sinr_index = {-2350, 50, 0, 127};
inline constexpr IndexScale rscp_index = {-12100, 100, 0, 96};
inline constexpr IndexScale ecio_index = {-2450, 50, 0, 49};
inline constexpr IndexScale rxlev_index = {-11100, 100, 0, 63};

std::optional<int64_t> level_of_index(std::string_view field, const IndexScale &scale);

/// How a field becomes a quantity's number.
enum class Scale : uint8_t {
    number,     ///< decimal
    hex,        ///< hexadecimal
    decibels,   ///< whole or with a fraction, to hundredths
    tenths,     ///< tenths, to hundredths
    halves,     ///< halves, to hundredths
    hundredth,  ///< hundredths as they are
    with_unit,  ///< as decibels, followed by the unit
    both_forms, ///< hexadecimal, then the decimal form in brackets, which must agree
    positive,   ///< decimal above 0
    lte_bw_index,
    lte_bw_blocks,
    nr_bw_index,
    nr_bw_fifths, ///< fifths of MHz
    kilohertz,
    lte_rsrp,
    lte_rsrq,
    nr_rsrp,
    nr_rsrq,
    nr_sinr,
    lte_band, ///< no quantity: the number of a band, told by tell_band
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

/// Stores every field of the rules in cell. Fields that are missing or not numbers are left out. shift is added to the
/// rules' positions.
void tell_fields(const Fields &fields, std::span<const FieldRule> rules, Cell &cell, size_t shift = 0);

/// Stores one value in cell by its scale.
void tell_value(std::string_view value, Quantity quantity, Scale scale, Cell &cell);

/// "26203": the MCC is the first three digits.
void tell_plmn(Cell &cell, std::string_view digits);
