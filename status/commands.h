#pragma once

#include "platform/text.h"

// Every line that this room hands to the shell.

/// Prints the signal cache of the modem on bus.
Text<64> compose_read_signal_cache(const char *bus);
