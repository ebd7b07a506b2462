#pragma once

#include "core/cli/commands.h"

/// `apn [--json]`: the APNs that fit the SIM card, in the order in which they are tried.
/// @return 0 listed, 1 no modem, 2 the modem does not answer, 3 its port is busy, 64 an argument that is not understood
int run_apn(const CommandRun &run);
