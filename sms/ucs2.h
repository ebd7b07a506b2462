#pragma once

#include <span>

#include "platform/text.h"

/// Reads at most 3 x characters bytes of a UCS-2 body and writes at most 3 x characters bytes of UTF-8, whatever the
/// text needs: this is what readers of the spool have always been given. The high byte comes first, unless a byte order
/// mark at the front says otherwise; the mark is left out. Half a unit at the end is completed by a zero if so many
/// bytes may be read. Surrogate pairs become the character that they stand for. Ends at the first zero and at the first
/// invalid sequence.
Text<2048> convert_ucs2(std::span<const char> bytes, int characters);
