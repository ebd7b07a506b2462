#pragma once

#include "core/cli/commands.h"

/// `metrics [--identify] [--openmetrics]`: the metrics of all modems (docs/fleets.md). A modem whose newest report is
/// younger than two minutes, as where the watch runs, is not asked.
/// @return 0, also without a modem; 64 for an argument that is not understood
int run_metrics(const CommandRun &run);

/// `openwisp`: a modem as the object "mobile" of OpenWISP's device schema.
/// @return 0 printed; 1 no modem; 2 the modem did not say what the schema requires, and nothing is printed; 3 its port
/// is busy; 64 for an argument
int run_openwisp(const CommandRun &run);
