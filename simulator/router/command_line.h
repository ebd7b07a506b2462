#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace simulator {

/// The command in a received line, from its "AT" on, without control characters and without spaces outside quotes.
/// Empty when the line holds no "AT", which a modem ignores.
std::string find_command(std::string_view line);

/// The commands of one line, each with its own "AT": "AT+CSQ;+COPS?;" holds two. A dial command keeps its semicolon.
std::vector<std::string> split_commands(const std::string &command);

/// The basic commands in "ATE0V1&D2+CSQ", each with its own "AT" (V.250 5.2.1); empty if the text has another form.
std::vector<std::string> split_basic(const std::string &command);

} // namespace simulator
