#pragma once

#include <span>

#include "platform/text.h"

/// Converts the first characters × 3 bytes of a UCS-2 body, as far as there are so many, to at most as many bytes of
/// UTF-8. Surrogate pairs count as the character that they stand for. Ends at the first zero and at the first
/// invalid sequence.
Text<2048> convert_ucs2(std::span<const char> body, int characters);
