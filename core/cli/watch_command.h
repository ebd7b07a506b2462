#pragma once

#include <string_view>

#include "core/cli/commands.h"

/// `watch [BUS] [--once | status [--json] | pause [TIME] | resume]`: keeps the modem online.
int run_watch(const CommandRun &run);

/// True for a bus such as "1-1.2", of a length that a record holds: it may become part of a path.
bool is_plain_bus(std::string_view bus);
