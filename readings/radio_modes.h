#pragma once

#include <span>

#include "readings/band_commands.h"

// Which generations a modem may use: how it is asked for them, and how they are written.

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
