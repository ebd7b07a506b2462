#pragma once

#include <span>

#include "core/model/modem_driver.h"

/// One run: the modem that was found and the words after the command.
struct CommandRun {
    const ModemDriver &rec;
    const char *bus; ///< as given; the record's may be cut
    std::span<char *const> arguments;
};

inline constexpr uint8_t no_slot = UINT8_MAX; ///< every model has the command

/// A command and what it does. Results go to standard output.
struct Command {
    Text<22> word;
    int (*run)(const CommandRun &command_run); ///< @return the process's exit status
    Text<46> help;                             ///< its arguments and what it does
    uint8_t slot = no_slot;                    ///< offset in ModemOps of the operation that it needs
    bool is_alone = false;                     ///< runs before a modem is looked for
};

/// Runs a command that may be null, or that the model may lack. @return the process's exit status
int run_command(const Command *command, const CommandRun &run);

/// Prints the usage of a command that is not known. @return 0
int print_command_usage();

/// The command with that word; null when there is none.
const Command *find_command(const char *word);
