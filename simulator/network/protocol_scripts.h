#pragma once

#include <string>

#include "simulator/network/link_demand.h"

namespace simulator {

/// The shell text of the handler of a section's protocol, and before it the section's options as variables; empty:
/// there is no handler for it. It does what OpenWrt's handler does, by Debian's programs, and prints
///
///     up DEVICE ADDRESS MASK GATEWAY NAME_SERVER...
///     error CODE
///
/// The connection lasts until its input ends.
/// @param device the network device of the interface
std::string protocol_script(const InterfaceSection &section, const std::string &device);

} // namespace simulator
