#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/text.h"

// How replies are cut up. Modems differ in spaces, quotes and line ends, so all these functions skip them.

/// text without spaces, tabs and line ends at its ends.
std::string_view trim(std::string_view text);

/// text without one pair of quotes and the spaces around them.
std::string_view unquote(std::string_view text);

/// True if text starts with word, in capital or small letters. word is in capitals.
bool starts_with_word(std::string_view text, std::string_view word);

/// Where word begins in text, in capital or small letters; npos when it is not there. word is in capitals.
size_t find_word(std::string_view text, std::string_view word);

/// The whole of text as a number; nothing if it contains anything else. Up to 18 digits.
std::optional<int64_t> decimal(std::string_view text);
/// In hexadecimal, with or without "0x".
std::optional<int64_t> hexadecimal(std::string_view text);
/// A decimal number with or without a fraction, in hundredths: "-17.4" is -1740.
std::optional<int64_t> hundredths(std::string_view text);
/// The same for a number followed by its unit: "-84.1dBm", "20 MHz".
std::optional<int64_t> leading_hundredths(std::string_view text);

/// Takes the text before the first of the given characters off the front of rest, and that character too.
std::string_view take_until(std::string_view &rest, std::string_view ends);

/// The comma-separated fields of a record, each without spaces and quotes. A missing field is empty.
class Fields {
  public:
    explicit Fields(std::string_view record);

    size_t size() const { return size_; }
    std::string_view operator[](size_t index) const { return index < size_ ? fields_[index] : std::string_view{}; }

  private:
    std::array<std::string_view, 40> fields_{};
    size_t size_ = 0;
};

/// Takes the next record of a reply that starts with tag ("+QCAINFO:") off the front of rest: the text after the tag up
/// to the end of its line. A tag in the middle of a line ends the record before it, because a line break can be lost.
/// @return false if there is no further record
bool next_record(std::string_view &rest, std::string_view tag, std::string_view &record);

/// The first such record; empty without one.
std::string_view record_of(std::string_view reply, std::string_view tag);

/// Takes the next line off the front of rest, without its line end and the spaces at its ends; empty lines are skipped.
/// @return false at the end
bool next_line(std::string_view &rest, std::string_view &line);
