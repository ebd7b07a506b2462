#pragma once

#include <span>

#include "platform/json.h"
#include "platform/text.h"

/// Reads a message file of the SMS daemon: headers, an empty line, the body. Gives "from" and "time" as they stand,
/// with their line end, "type" ("international", "national", "unknown") and "body" (at most 2048 bytes of it; converted
/// where the alphabet is UCS-2), without the members whose header is missing.
/// @return null when path is no regular file or cannot be opened
Json read_message(const char *path);

/// Converts the first characters × 3 bytes of a UCS-2 body, as far as there are so many, to at most as many bytes of
/// UTF-8. Surrogate pairs count as the character that they stand for. Ends at the first zero and at the first
/// invalid sequence.
Text<2048> convert_ucs2(std::span<const char> body, int characters);

/// Number type of a "From_TOA: " line.
const char *parse_number_type(std::string_view line);

/// Number of a line that begins with "Length: "; nothing else changes length.
void parse_length(std::string_view line, int32_t &length);
