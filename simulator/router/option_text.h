#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "simulator/router/options.h"

// How the values of options are taken apart. All of it throws OptionError.

namespace simulator {

/// What says in the message where the number stands ("--seed").
uint64_t parse_number(std::string_view what, std::string_view text, uint64_t most);

/// The text before the first separator; rest becomes what is behind it, empty where there is none.
std::string take_until(char separator, std::string_view &rest);

/// "modem,setup=never,error=NO_DEVICE"
LinkChoice parse_link(std::string_view text);

} // namespace simulator
