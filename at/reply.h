#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/text.h"

/// True if the text contains "OK" with a carriage return or a line feed right after it.
bool reply_has_ok(std::string_view text);

/// The integer that follows label's first occurrence, white space before it skipped; beyond 32 bits the nearest one.
/// @return 0; -1 when the label is missing or no integer follows; -2 when nothing at all follows. out is written on 0
/// only
int int_after_label(std::string_view text, std::string_view label, int32_t &out);

/// The value that follows label, after skip further occurrences of it: up to 100 characters, ended by a carriage
/// return, a line feed or a tab, without the spaces around it (a value of spaces only becomes one space).
/// @return 0; -1 when the label or a value is missing; -2 at the end of the text. out (101 bytes) is written on 0 only
int field_after_label(std::string_view text, std::string_view label, int skip, TextOut out);

/// Field index (from 0) of a line of comma-separated fields, without one quote at its start and one at its end. The
/// line ends with a carriage return: without it the last field is not there. A line of one unquoted field has no
/// readable field. This is the form of Quectel's replies: texts in quotes, and a field may be empty.
/// @return 0; -1 when the field cannot be cut or line is null. out is written on 0 only
int csv_field(std::string_view line, int index, TextOut out);

/// The other rule, for Fibocom's replies, which have no quotes and leave a field empty when they do not know it: field
/// index of text ends at a comma, a carriage return or the end of text. Commas are counted over line ends.
/// @return 0; -1 when the field is empty or not there. out is written on 0 only
int fibocom_field(std::string_view text, int index, TextOut out);

/// text from the first needle on; nothing when there is none.
std::optional<std::string_view> from_first(std::string_view text, std::string_view needle);

/// What follows the first label; nothing when there is none.
std::optional<std::string_view> after_first(std::string_view text, std::string_view label);

/// Takes label off the front of text. @return false when text starts with something else, it is untouched then
bool consume(std::string_view &text, std::string_view label);

/// The integer that text starts with, white space before it skipped; beyond 32 bits the nearest one. Nothing without
/// digits.
std::optional<int32_t> leading_int(std::string_view text);
