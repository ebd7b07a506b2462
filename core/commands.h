#pragma once

#include <span>

#include "core/modem_driver.h"

/// One run: the modem that was found and the words after the command.
struct CommandRun {
    const ModemDriver &rec;
    std::span<char *const> arguments;
};

/// A command word and what it does. Results go to standard output.
struct Command {
    const char *word;
    int (*run)(const CommandRun &command_run); ///< @return the process's exit status
};

/// The command with that word; null when there is none.
const Command *find_command(const char *word);
