#pragma once

#include <span>

/// What the command line asks for.
struct CommandLine {
    bool debug = false;                 ///< "-D" was the first word
    const char *bus = "1-1.2";          ///< sysfs name of the modem's USB device
    const char *command = nullptr;      ///< null: no command, or an argument is missing; prints the usage
    std::span<char *const> arguments{}; ///< the words after the command
};

/// Reads the words after the program's name: "-D", then "-B", then a bus (any word that contains "1-1" or "2-1"), each
/// of them if present, then the command.
CommandLine parse_command_line(std::span<char *const> words);

/// Runs the words after the program's name. @return the process's exit status
int run_command_line(std::span<char *const> words);
