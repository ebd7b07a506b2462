#pragma once

#include <string>

namespace simulator {

/// The folder of the modem profiles: wanted when it is not empty, else the one of the source tree that the program was
/// built in, else the installed one.
std::string find_profiles(const std::string &wanted);

} // namespace simulator
