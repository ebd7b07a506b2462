#pragma once

#include "core/cli/commands.h"
#include "platform/json.h"

/// Lists the buses with a modem: the listed models, and other devices with ports. @return 0; 1 when there is none
int run_modems(const CommandRun &run);

/// The modems of the router as objects with "bus", "model", "usb" and "ports".
Json list_modems();

/// "modems are on 1-1.4 (EC25)", or that there is none.
Text<200> modems_sentence();
