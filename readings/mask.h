#pragma once

#include <span>

#include "readings/report.h"

/// Replaces numbers that belong to a person, or show where the person is, by invented ones, so that a modem's replies
/// can be shown to others: IMEI, IMSI, ICCID, telephone numbers, cell ids and IP addresses. A text keeps its length,
/// and the same number becomes the same one in all texts of one Mask. Nothing of the old number can be computed from
/// the new one.
class Mask {
  public:
    /// Cell ids look like any other number: these are looked for from now on, as a decimal and a hexadecimal number.
    void learn_cells(const Report &report);

    enum class Addresses : uint8_t {
        masked,
        none, ///< what looks like one is a firmware's version
    };
    /// Masks text in place.
    ///  - 14 digits or more keep the first 6 (the maker and type of an IMEI, country and network of an IMSI, country
    ///    and issuer of an ICCID); the last becomes the check digit of Luhn, which IMEI and ICCID end with
    ///  - a telephone number is 7 digits or more after '+', or 5 or more in a +CNUM line; it keeps the first 2
    ///  - a cell id keeps the number of its digits in both forms
    ///  - an IP address keeps its first part
    void apply(std::span<char> text, Addresses addresses);

  private:
    static constexpr size_t most_numbers = 64; // what comes after them shares one place

    void learn_cell(const Cell &cell);
    void mask_line(std::span<char> line, Addresses addresses);
    unsigned place_of(std::string_view number);
    void mask_digits(std::span<char> digits, size_t kept);
    void mask_word(std::span<char> word, char before, bool is_in_number_line);
    bool mask_cell(std::span<char> word);
    void mask_dotted(std::span<char> word);
    void mask_colons(std::span<char> word);

    std::array<Text<40>, most_numbers> numbers_{};
    std::array<int64_t, most_numbers> cells_{};
    size_t cell_count_ = 0;
};
