#pragma once

#include "core/cli/commands.h"
#include "discovery/record/modem_port.h"

/// `info [--json [--pretty]] [--all] [--cached]`: all that is known about a modem, as a page or as JSON.
/// @return 0 reported, 1 no modem, 2 the modem does not answer, 3 its port is busy, 64 an argument that is not
/// understood. With --all the first of these that is not 0, and 1 without any modem
int run_info(const CommandRun &run);

/// Tells a person why the modem on bus was not asked to the end; nothing when it was.
void tell_reason(InfoResult result, const char *bus);
