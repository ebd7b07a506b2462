#pragma once

#include <cstdint>

#include "platform/text.h"

// The rows hold the texts themselves: pointers would need more room on the router.

/// Where a modem sits on a board with places for several, and what is wired to that place.
struct ModemPlace {
    Text<6> bus;        ///< empty in the last row, which serves every other bus
    uint8_t power_gpio; ///< the power line's number
    bool is_pulse_high; ///< the line is pulsed 1, 0 rather than 0, 1
    Text<3> metric;     ///< route metric of the modem's interface
    bool has_version;   ///< this modem reports the board's version, if the board has one
};

/// What is special about a router board. A board without a row has nothing special.
struct Board {
    Text<8> name = {};               ///< as get_model_name gives it
    bool has_variants = false;       ///< every name that contains this one is this board too
    Text<10> power_line = {};        ///< the modem's power, in /sys/class/gpio; empty: a control file is searched for
    bool is_pulse_high = false;      ///< the power line or control file is pulsed 1, 0 rather than 0, 1
    bool has_places = false;         ///< it has places for several modems, and a power line for each
    bool has_version = false;        ///< its factory partition has its version and says how many SIMs it holds
    bool needs_sync = false;         ///< its flash needs a sync after a commit
    bool has_shortcuts = false;      ///< shortcut-fe must stop before an interface goes down
    bool has_slow_led = false;       ///< its LED service is slow to see a new network device
    bool lists_no_modems = false;    ///< "/modem/info" is not supported
    bool keeps_wifi_channel = false; ///< the Wi-Fi channel is not moved away from an LTE band

    /// The place that serves bus; null on a board without places.
    const ModemPlace *place_of(std::string_view bus) const;
};

/// The board that this is. Each call reads the name again.
const Board &this_board();

/// The row of a board of that name; without one, a row in which nothing is special.
const Board &find_board(std::string_view name);
