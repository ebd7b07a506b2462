#pragma once

#include "platform/text.h"

// Every line that this room hands to the shell.

/// Prints the network daemon's status of an interface. Empty, and not run, for a name of 46 bytes or more and for one
/// that is not made of letters, digits, '_', '-' and '.'.
Text<120> compose_ifstatus(const char *iface);

/// Prints the signal cache of the modem on bus.
Text<64> compose_read_signal_cache(const char *bus);
