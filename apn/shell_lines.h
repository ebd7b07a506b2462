#pragma once

#include <string_view>

#include "platform/text.h"

// Every line that this room hands to the shell. What comes from a SIM or a file is checked here: a value that is not
// made of letters and digits gives an empty command, which is not run.

/// Keeps the IMSI of the modem on bus.
Text<100> compose_keep_imsi(std::string_view imsi, const char *bus);

/// Name column of the operator list's lines that contain code (MCC and MNC).
Text<100> compose_find_operator(std::string_view code);
