#pragma once

#include "discovery/record/modem_port.h"
#include "readings/band_families.h"
#include "readings/dialects.h"
#include "readings/radio_modes.h"

// Reads and changes which bands and generations the modem on a bus may use. What was set before a change is kept in the
// modem's state folder. A change is read back, and then watched: if the modem finds no network, the change is undone.

/// How a change or a reading ends; the exit status of the commands.
enum class RadioResult : int {
    done = 0,
    no_modem = 1,
    no_answer = 2,
    port_busy = 3,
    refused = 4, ///< the modem cannot be asked or set so, or the change has been undone; why has the reason
};

struct RadioOptions {
    bool keeps = false; ///< a change stays, whether there is a network or not
    int wait_s = 120;   ///< how long to wait for a network
};

using Why = Text<120>;

struct BandReport {
    BandSettings now;
    BandSettings has; ///< nothing is told for a modem that does not list what it supports
};
RadioResult read_bands(const char *bus, BandReport &report, Why &why);

/// Null wanted: all bands.
RadioResult set_bands(const char *bus, const BandSettings *wanted, const RadioOptions &options, BandReport &report,
                      Why &why);

RadioResult read_radio_mode(const char *bus, ModeSetting &setting, Why &why);
RadioResult set_radio_mode(const char *bus, RadioMode wanted, const RadioOptions &options, ModeSetting &setting,
                           Why &why);

/// Writes what was set before the last change back, and forgets it.
RadioResult restore_bands(const char *bus, BandReport &report, Why &why);
RadioResult restore_radio_mode(const char *bus, ModeSetting &setting, Why &why);
