#pragma once

#include "core/cli/commands.h"

// The commands that connect and disconnect.

int run_connect(const CommandRun &run);
int run_connect_auto(const CommandRun &run);
int run_new_connect_auto(const CommandRun &run);
int run_disconnect(const CommandRun &run);

/// The line that prints the name of the modem's configured interface.
inline constexpr char find_configured_interface[] = "uci show network | grep modem | grep ifname |cut -d '.' -f2";
