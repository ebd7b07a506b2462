#pragma once

#include "core/cli/commands.h"
#include "platform/json.h"

/// Lists the buses with a modem: the listed models, and other devices with ports. @return 0; 1 when there is none
int run_modems(const CommandRun &run);

/// The modems of the router as objects with "bus", "model", "usb" and "ports".
Json list_modems();

/// Adds "held_by" to such an object if a program of others has a port of the modem open. Looks through all processes.
void add_holder(json_object *modem);

/// "modems are on 1-1.4 (EC25)", or that there is none.
Text<200> modems_sentence();
