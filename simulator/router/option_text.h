#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "simulator/router/options.h"

// How the values of options are taken apart. All of it throws OptionError.

namespace simulator {

/// Reads a number up to most; what names it in the message ("--seed").
uint64_t parse_number(std::string_view what, std::string_view text, uint64_t most);

/// The text before the first separator; rest becomes the text after it, empty without a separator.
std::string take_until(char separator, std::string_view &rest);

/// "modem,setup=never,error=NO_DEVICE"
LinkChoice parse_link(std::string_view text);

} // namespace simulator
