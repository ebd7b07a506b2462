#pragma once

#include "core/cli/commands.h"

/// `watch [BUS] [--once | status [--json] | pause [TIME] | resume]`: keeps the modem online.
int run_watch(const CommandRun &run);
