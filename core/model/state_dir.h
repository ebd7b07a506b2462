#pragma once

#include <string_view>
#include <sys/types.h>

#include "platform/files.h"
#include "platform/shell_line.h"
#include "platform/text.h"

// "/tmp/modem.<bus>", the folder in which the program keeps what it learned about the modem on a bus: "modem-name",
// "modem-imei", "cimi", "signal", "fail_count".
//
// Any user of the router can make the folder first. Two things keep them out, and leave no time between a check and
// the use:
//
// - The program opens the folder, and checks on the descriptor that it owns the folder and that nobody else can write
//   to it. So nobody else has put a file or a link into it. Files are then opened through that descriptor.
// - Some shell lines name the path again. In /tmp, which is sticky, a user can rename and remove only their own files.
//   So a folder that was the program's at the check is still there when the shell opens it, unless the program itself
//   has removed it. A lock that only root can take keeps removals apart from such lines; the hotplug script takes it
//   too.

/// The folder itself, whatever its owner: for the shell lines.
Text<100> state_dir(const char *bus);

/// Makes "/tmp/modem.<bus>" (mode 0755) if it is missing. @return whether it is a folder of ours that nobody else can
/// write to
bool ensure_state_dir(const char *bus);

/// Whether the folder is ours and has that file.
bool has_state(const char *bus, const char *file);

/// Reads a file of the folder as read_file does; -1 too if the folder is missing or not ours.
int read_state(const char *bus, const char *file, size_t max_length, TextOut out);

/// Opens a file of the folder (made with mode 0600 if flags has O_CREAT, and then the folder too), never through a link
/// and never waiting. None if the folder is not ours or it is no regular file.
Fd open_state(const char *bus, const char *file, int flags);

/// Removes the file; a missing one and a folder of another user stay as they are.
void remove_state(const char *bus, const char *file);

/// Makes the folder and writes the file (a new one with new_mode). @return 0; -1 if the folder is not ours or the file
/// cannot be opened
int write_state(const char *bus, const char *file, std::string_view content, mode_t new_mode = 0644);

/// Makes the folder and runs a line that writes a file in it; not if the folder is not ours.
void run_writer(const char *bus, ShellCommand writer);

/// Runs a line that removes the folder or files in it. A removal that walks through another user's folder can be led
/// elsewhere by them, so such a folder is first replaced by one of ours. The other one keeps a name of its own.
void run_removal(const char *bus, ShellCommand removal);

/// can_print() for a file of the folder.
bool can_print_state(ShellCommand command, const char *bus, const char *file);
