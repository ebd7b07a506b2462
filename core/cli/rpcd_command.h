#pragma once

#include "core/cli/commands.h"

/// `rpcd list | call METHOD`: the ubus object "modemctl" as an exec plugin of OpenWrt's rpcd (docs/ubus.md). The
/// arguments of a call come as JSON on standard input. The answer is always one JSON object.
/// @return 0; 64 for words that are not understood
int run_rpcd(const CommandRun &run);

/// True for the path by which rpcd starts its plugins, "/usr/libexec/rpcd/modemctl": a link to the program.
bool is_rpcd_plugin(const char *program);
