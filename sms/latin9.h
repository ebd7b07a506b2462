#pragma once

#include "platform/text.h"

/// Converts a text in ISO 8859-15 to UTF-8: at most 3 bytes for each byte. What does not fit into out is cut.
void convert_latin9(std::string_view text, TextOut out);
