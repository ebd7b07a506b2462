#pragma once

#include "platform/json.h"
#include "platform/text.h"

/// Reads a message file of the SMS daemon: headers, an empty line, the body. Returns "from" and "time" unchanged, with
/// their line end, "type" ("international", "national", "unknown") and "body" (at most 2048 bytes of it; as UTF-8 if
/// the alphabet is UCS-2 or ISO 8859-15), but no member whose header is missing.
/// @return null if path is not a regular file or cannot be opened
Json read_message(const char *path);

/// Number type of a "From_TOA: " line.
const char *parse_number_type(std::string_view line);

/// Number of a line that begins with "Length: "; nothing else changes length.
void parse_length(std::string_view line, int32_t &length);
