#pragma once

#include "platform/text.h"

// Every line that this room hands to the shell.

/// Prints the channel that the radio of a network device uses.
Text<128> compose_read_channel(const char *device);
