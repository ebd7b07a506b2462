#pragma once

#include "platform/files.h"
#include "platform/shell_line.h"

// Other programs of the router leave files for us in /tmp, and lines that are promised print them with "cat". Any user
// of the router can put a file of their own there first, or a link or a pipe, for which "cat" would wait without end.
//
// So a file is looked at first, and it has to be root's. Then it stays where it is while "cat" runs: /tmp is sticky,
// and another user can neither rename nor remove there what is not theirs.

/// Whether what the command prints of the file at path can be used: the file is root's or ours, has one name only, and
/// is no link and no pipe. If it is missing, the command is run here all the same, for its message on standard error:
/// for 1 s at most, and what it prints is not used, since another user may have made the file meanwhile.
bool can_print(ShellCommand command, const char *path);

/// The same for a file of a folder; without a folder it is missing.
bool can_print_in(ShellCommand command, const Fd &folder, const char *file);
