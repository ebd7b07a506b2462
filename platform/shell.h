#pragma once

#include "platform/shell_line.h"

// All except run_program run the command with /bin/sh. The command gets none of the program's descriptors except the
// standard streams. All except fork_exec2 wait for its end, and the command shares the program's standard error. A
// command that cannot be started prints nothing, and an empty command is never started. Zero bytes in an output are
// left out.

/// How long a command may take. "cat" of a file in /tmp is limited, because another user can have put a pipe in its
/// place.
enum class Duration : bool {
    any,
    short_time, ///< 5 s; then the command is killed with all that it has started, and what it printed counts
};

/// What the command prints, cut at out's capacity (the rest is read and discarded). @return bytes stored, -1 when the
/// command could not be started
int getShellCommandReturn(ShellCommand command, TextOut out, Duration duration = Duration::any);

/// The first line of it, without its newline. @return as above
int getShellCommandReturnLine(ShellCommand command, TextOut out, Duration duration = Duration::any);

/// All of it, at most 1 MiB. Null when the command could not be started or printed nothing.
HeapText getShellCommandReturnDynamic(ShellCommand command, Duration duration = Duration::any);

/// The option at path as "uci get" prints it, by the router's uci command: the first line, empty when unset.
/// @return bytes stored, -1 when the command could not be started
int getUciReturn(const char *path, TextOut out);

/// Runs the command and waits. @return its exit status; -1 when it could not be started, when it was killed, and in a
/// process that ignores SIGCHLD (the system then keeps no status)
int execCommand(ShellCommand command);

/// Runs a program of the path with these words, of which the first is its name and the last is null, and waits. No
/// shell reads the words. Its standard streams are /dev/null. @return as execCommand
int run_program(const char *const *words);

/// Runs a command of which only the message on standard error is wanted. It is killed after 1 s, and as soon as it
/// prints something on its standard output: this is for a "cat" of a file that another user may have made.
void run_for_message(ShellCommand command);

/// Starts the command in a new session, with /dev/null as its standard streams, and does not wait for it: a caller that
/// captures the program's output does not wait for it either. It leaves no zombie.
/// @return 0, -1 when it could not be started
int fork_exec2(ShellCommand command);
