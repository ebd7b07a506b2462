#pragma once

#include "readings/report.h"

// Which bands a modem may use, and what a user's wish makes of them.

/// What a modem may use. A set that is not told is one that the modem does not have, or does not report.
struct BandSettings {
    BandSet lte;
    BandSet nr;       ///< 5G standalone, and all of 5G if the modem keeps no set apart for EN-DC
    BandSet nr_nsa;   ///< 5G beside an LTE cell
    Text<100> rest{}; ///< the parts of the setting that are not these bands, to be written back as they are

    bool operator==(const BandSettings &other) const;
};

bool is_empty(const BandSet &set);
/// The bands of both sets. It is told if one of them is.
BandSet either(const BandSet &one, const BandSet &other);
/// The bands that set has and other has not.
BandSet without(const BandSet &set, const BandSet &other);

/// "B3,B20,n78" in capital or small letters. nr_nsa becomes the same as nr. A technology that is not named is not told.
/// @return nothing for an empty list and for anything else
std::optional<BandSettings> parse_band_list(std::string_view list);

/// The settings with wanted's bands in the place of their own, in each technology that wanted tells. What a modem does
/// not support beside an LTE cell is left out there.
BandSettings change_bands(const BandSettings &now, const BandSettings &wanted, const BandSettings &has);

/// Every band that is known to be supported. mask stands for the LTE bands of a modem that does not list them; it may
/// be empty.
BandSettings all_bands(std::string_view mask, const BandSettings &now, const BandSettings &has);

/// The first band of wanted that the modem does not support, "n78"; empty if there is none. A technology that is told
/// neither in now nor in has is not supported. One that only now tells may have bands that it does not list.
Text<8> first_unsupported(const BandSettings &wanted, const BandSettings &now, const BandSettings &has);
