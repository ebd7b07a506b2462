#pragma once

#include <span>

#include "core/model/modem_driver.h"

/// One run: the modem that was found and the words after the command.
struct CommandRun {
    const ModemDriver &rec;
    const char *bus; ///< as given; the record's may be cut
    std::span<char *const> arguments;
};

/// A command word and what it does. Results go to standard output.
struct Command {
    const char *word;
    int (*run)(const CommandRun &command_run); ///< @return the process's exit status
};

/// Prints the usage of a command that is not known. @return 0
int print_command_usage();

/// The command with that word; null when there is none.
const Command *find_command(const char *word);
