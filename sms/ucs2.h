#pragma once

#include <span>

#include "platform/text.h"

/// Reads at most 3 x characters bytes of a UCS-2 body and writes at most 3 x characters bytes of UTF-8, even if the
/// text is longer: readers of the spool depend on these limits. The high byte comes first, unless a byte order mark at
/// the start says otherwise; the mark is left out. If the last unit is one byte and the limit allows another, a zero
/// completes it. A surrogate pair becomes its character. Ends at the first zero and at the first invalid sequence.
Text<2048> convert_ucs2(std::span<const char> bytes, int characters);
