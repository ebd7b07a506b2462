#pragma once

#include <optional>

#include "platform/text.h"

// How the replies to the shared commands are read.

std::string_view parse_model(std::string_view reply);             ///< empty when the reply names none
const char *parse_access_technology(std::string_view reply);      ///< null when it names none
std::optional<int32_t> parse_signal_bars(std::string_view reply); ///< +CSQ
std::string_view parse_imsi(std::string_view reply);              ///< 15 digits, or empty
std::string_view parse_operator(std::string_view reply);          ///< +COPS, empty without a name
std::optional<int> parse_registration(std::string_view reply);    ///< +CREG status digit
Text<16> parse_imei(std::string_view reply);                      ///< up to 15 of the reply's digits
