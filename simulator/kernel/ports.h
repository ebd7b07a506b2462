#pragma once

#include <array>
#include <string>
#include <string_view>

namespace simulator {

/// The byte streams between simrouter outside and the virtual machine of --kernel. The first three are a terminal
/// instead when simrouter has one.
enum class MachinePort { input, output, errors, journal, log, coverage, status };

constexpr std::array<std::string_view, 7> machine_ports = {
    "simrouter-input", "simrouter-output",   "simrouter-errors", "simrouter-journal",
    "simrouter-log",   "simrouter-coverage", "simrouter-status"};

/// Its device in the machine.
inline std::string machine_port_file(MachinePort port)
{
    return "/dev/" + std::string(machine_ports[static_cast<size_t>(port)]);
}

/// The environment variable that simrouter finds inside the machine.
constexpr std::string_view inside_machine = "SIMROUTER_MACHINE";

} // namespace simulator
