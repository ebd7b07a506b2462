#pragma once

#include "core/cli/commands.h"

/// `apn [--json]`: the APNs that fit the SIM card, in the order in which they are tried. `apn --connect` tries them,
/// until one brings the interface up and something answers through it, and keeps that one for this card.
/// @return 0 listed, or online; 1 no modem, 2 the modem does not answer, 3 its port is busy, 4 not connected, 5
/// connected, but nothing answers; 64 an argument that is not understood
int run_apn(const CommandRun &run);
