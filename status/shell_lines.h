#pragma once

#include "platform/shell_line.h"

// Every line that this room gives to the shell.

/// Prints the network daemon's status of an interface.
ShellLine<100> compose_ifstatus(const char *iface);

/// Prints the signal cache of the modem on bus.
ShellLine<100> compose_read_signal_cache(const char *bus);
