#pragma once

#include "platform/shell_line.h"

// Every line that this room gives to the shell.

/// Prints the channel that the radio of a network device uses.
ShellLine<100> compose_read_channel(const char *device);
