#pragma once

#include "platform/shell_line.h"

/// Where a modem sits on a board with places for several, and what is wired to that place.
struct ModemPlace {
    const char *bus;        ///< "" in the last row, which serves every other bus
    const char *power_file; ///< control file of the place's power line
    bool is_pulse_high;     ///< the line is pulsed 1, 0 rather than 0, 1
    const char *metric;     ///< route metric of the modem's interface
};

/// What is particular about a router board. A board without a row has none of it.
struct Board {
    const char *name = "";               ///< as get_model_name gives it
    bool has_variants = false;           ///< every name that contains this one is this board too
    ShellCommand power_command = {};     ///< switches the modem's power off and on; empty: a control file is pulsed
    bool is_pulse_high = false;          ///< the control file is pulsed 1, 0 rather than 0, 1
    const ModemPlace *places = nullptr;  ///< null: one modem; control file to be found, metric not the board's
    const char *versioned_bus = nullptr; ///< the modem on this bus reports the board's version and SIM number
    bool needs_sync = false;             ///< its flash needs a sync after a commit
    bool has_shortcuts = false;          ///< shortcut-fe must stop before an interface goes down
    bool has_slow_led = false;           ///< its LED service is slow to see a new network device
    bool lists_no_modems = false;        ///< "/modem/info" is not supported
    bool keeps_wifi_channel = false;     ///< the Wi-Fi channel is not moved away from an LTE band

    /// The row of places that serves bus; null without places.
    const ModemPlace *place_of(std::string_view bus) const;
};

/// The board that this is. Each call reads the name anew.
const Board &this_board();

/// The row of a board of that name; one that is particular in nothing where there is none.
const Board &find_board(std::string_view name);
