#pragma once

#include <optional>

#include "platform/text.h"

// How the replies to the shared commands are read; nothing if a reply lacks the value.

std::optional<std::string_view> parse_model(std::string_view reply);    ///< ATI
std::optional<int32_t> parse_signal_bars(std::string_view reply);       ///< +CSQ
std::optional<std::string_view> parse_operator(std::string_view reply); ///< +COPS
std::optional<int> parse_registration(std::string_view reply);          ///< +CREG status digit
Text<16> parse_imei(std::string_view reply);                            ///< up to 15 of the reply's digits

/// Copies the reply's first run of digits, cut at count. A shorter run is copied too, because the web interface shows
/// it. @return 0 if there are count digits, else -1
int copy_digits(std::string_view reply, size_t count, TextOut out);
