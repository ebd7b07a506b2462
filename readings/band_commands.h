#pragma once

#include "readings/band_settings.h"

/// Commands, one a line.
using CommandLines = Text<1200>;

/// The commands that make a modem use these settings. has is what it supports, as far as that is known. In the lines of
/// pattern, each ended by a line feed, stand
///  - %r for the rest of the setting, %1 for its first field, %2 for the others, each after a comma
///  - %t for ",0,1" if there are such others
///  - %m for the LTE bands as a hexadecimal mask, %M for the same in 16 digits at least
///  - %p for LTE, NR beside an LTE cell, and NR as two masks each, of 64 bands, after commas
///  - %c for all bands as codes, each after a comma: 103 is B3, 5078 is n78
///  - %L, %N, %A for the bands of LTE, of NR, and of NR beside an LTE cell: "1:3:7"; %l, %n, %a for those that the
///  modem
///    has beside them. A line whose list is empty is left out
CommandLines compose_bands(const char *pattern, const BandSettings &settings, const BandSettings &has);
