#pragma once

#include "core/cli/commands.h"

/// `bands [--json] [--set LIST|auto | --restore] [--keep] [--wait SECONDS]`: the bands that the modem may use.
/// @return 0 done, 1 no modem, 2 the modem does not answer, 3 its port is busy, 4 the modem does not support or refuses
/// it, or found no network and the change is undone, 64 an argument that is not understood
int run_bands(const CommandRun &run);

/// `mode [auto|4g|5g|4g+5g|3g|2g | --restore] [--json] [--keep] [--wait SECONDS]`: the generations that it may use. As
/// run_bands.
int run_mode(const CommandRun &run);
