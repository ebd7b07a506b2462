#pragma once

#include "core/cli/commands.h"

/// `record FILE`: writes what the modem says to every question into FILE, masked, for a bug report.
/// @return as run_info; 74 when FILE cannot be written
int run_record(const CommandRun &run);
