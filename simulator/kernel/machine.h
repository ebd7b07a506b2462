#pragma once

#include <span>
#include <stdexcept>
#include <string>

#include "simulator/router/options.h"

namespace simulator {

/// This machine lacks what the virtual machine of --kernel is made of.
struct NoMachine : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Runs this program again, with the same arguments, in a virtual machine with Debian's kernel: the machine's own
/// files, read only, the same current folder and environment. Input, output, journal, log and coverage go through it.
/// @param program this program's own file
/// @return the exit status with which simrouter ends in there
/// Throws NoMachine, std::system_error, std::runtime_error when the machine ends without a status.
int run_in_machine(const Options &options, std::span<const std::string> arguments, const std::string &program);

/// True in the virtual machine.
bool is_inside_machine();

} // namespace simulator
