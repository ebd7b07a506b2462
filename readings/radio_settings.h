#pragma once

#include <span>

#include "readings/report.h"

// Which bands and which generations a modem may use, and the commands that change it. The makers have different
// commands for this. Each is a row of a table, and its functions are pure: reply in, settings out; settings in,
// commands out.

/// What a modem may use. A set that is not told is one that the modem does not have, or does not report.
struct BandSettings {
    BandSet lte;
    BandSet nr;       ///< 5G standalone, and all of 5G if the modem keeps no set apart for EN-DC
    BandSet nr_nsa;   ///< 5G beside an LTE cell
    Text<100> rest{}; ///< the parts of the setting that are not these bands, to be written back as they are

    bool operator==(const BandSettings &other) const;
};

/// Commands, one a line.
using CommandLines = Text<1200>;

/// How a modem is asked for its bands, and how they are written.
struct BandFamily {
    const char *tag;          ///< what its replies start with, "+QNWPREFCFG:"
    const char *dialects[2];  ///< of readings/dialects.h; empty ones end the list
    const char *questions[3]; ///< for the bands in use; empty ones end the list
    const char *supported;    ///< question for the bands that the modem has; null if there is none
    /// @return false for a reply that is not understood; settings may then be written in part
    bool (*read)(const BandFamily &family, std::string_view replies, BandSettings &settings);
    bool (*read_supported)(const BandFamily &family, std::string_view reply, BandSettings &settings);
    /// The commands that make the modem use these settings. has is what it supports, as far as that is known.
    void (*compose)(const BandFamily &family, const BandSettings &settings, const BandSettings &has, CommandLines &out);
    const char *all = nullptr;     ///< the command that allows all bands again; null: they are written by name
    std::string_view all_lte = {}; ///< the mask that means all LTE bands, if the modem does not list them
};

std::span<const BandFamily> band_families();

/// "B3,B20,n78" in capital or small letters. nr_nsa becomes the same as nr. A technology that is not named is not told.
/// @return nothing for an empty list and for anything else
std::optional<BandSettings> parse_band_list(std::string_view list);

/// The settings with wanted's bands in the place of their own, in each technology that wanted tells. What a modem does
/// not support beside an LTE cell is left out there.
BandSettings change_bands(const BandSettings &now, const BandSettings &wanted, const BandSettings &has);

/// Every band that is known to be supported. family's mask stands for those of a modem that does not list them.
BandSettings all_bands(const BandFamily &family, const BandSettings &now, const BandSettings &has);

/// The first band of wanted that the modem does not support, "n78"; empty if there is none. A technology that is told
/// neither in now nor in has is not supported. One that only now tells may have bands that it does not list.
Text<8> first_unsupported(const BandSettings &wanted, const BandSettings &now, const BandSettings &has);

/// The generations that a modem may use.
enum class RadioMode : uint8_t { automatic, only_4g, only_5g, only_4g_5g, only_3g, only_2g, other };
inline constexpr size_t radio_modes = static_cast<size_t>(RadioMode::other);

/// "auto", "4g" ...; "other" for a choice that has no such name.
const char *radio_mode_name(RadioMode mode);
/// RadioMode::other for a word that is no mode.
RadioMode parse_radio_mode(std::string_view word);

struct ModeSetting {
    RadioMode mode = RadioMode::other;
    Text<200> value; ///< as the modem has it
};

/// How a modem is asked for its mode, and how it is written.
struct ModeFamily {
    const char *tag;
    const char *dialects[3];
    const char *question;
    const char *key;    ///< what the first field of the reply must be; null: anything
    uint8_t field;      ///< which field has the value
    bool keeps_record;  ///< the value for the way back is the whole record
    const char *before; ///< the command that writes is this, the value, and after
    const char *after;
    /// The value of each mode, in the order of RadioMode; empty: the modem has no such mode. Of several ("20|10"), the
    /// first that the modem takes.
    std::string_view values[radio_modes];
    const char *names = nullptr; ///< question for the list of values with their names, which decide; null without one
};

std::span<const ModeFamily> mode_families();

/// @return nothing when the reply has no such setting
std::optional<ModeSetting> read_mode(const ModeFamily &family, std::string_view reply);

/// The values to try for a mode, parted by '|'. names is the reply to the family's question for them.
Text<40> values_of(const ModeFamily &family, RadioMode mode, std::string_view names);

/// The command that writes a value.
CommandLines compose_mode(const ModeFamily &family, std::string_view value);
