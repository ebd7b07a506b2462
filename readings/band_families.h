#pragma once

#include <span>

#include "readings/band_settings.h"

// How a modem is asked for its bands, and how they are written. The makers have different commands for this: each is a
// row of a table. Its functions are pure: reply in, settings out.

struct BandFamily {
    const char *tag;          ///< what its replies start with, "+QNWPREFCFG:"
    const char *dialects[3];  ///< of readings/dialects.h; empty ones end the list
    const char *questions[3]; ///< for the bands in use; empty ones end the list
    const char *supported;    ///< question for the bands that the modem has; null if there is none
    /// @return false for a reply that is not understood; settings may then be written in part
    bool (*read)(const BandFamily &family, std::string_view replies, BandSettings &settings);
    bool (*read_supported)(const BandFamily &family, std::string_view reply, BandSettings &settings);
    const char *write;             ///< the commands that write a setting, see band_commands.h
    uint8_t mask_field = 0;        ///< where read finds the LTE mask
    bool needs_bands = false;      ///< a mask of no bands means that they are set in another way
    const char *all = nullptr;     ///< the command that allows all bands again; null: they are written by name
    std::string_view all_lte = {}; ///< the mask that means all LTE bands, if the modem does not list them
};

std::span<const BandFamily> band_families();
