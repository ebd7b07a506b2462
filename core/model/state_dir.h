#pragma once

#include <string_view>

#include "platform/text.h"

// "/tmp/modem.<bus>", the folder in which the program keeps what it learned about the modem on a bus: "modem-name",
// "modem-imei", "cimi", "signal", "fail_count". It lives in /tmp, where any user can create the folder first, so every
// path into it is made here. Code that reads or changes a file in it uses state_path, which checks the owner.

/// The folder itself, whatever its owner: for the commands that remove it or a part of it.
Text<100> state_dir(const char *bus);

/// Makes "/tmp/modem.<bus>" (mode 0755) if it is missing.
void ensure_state_dir(const char *bus);

/// Path of a file in the folder. Empty, which is never a valid name, if another user owns the folder, because anything
/// in it could be a symbolic link to a file of root's.
Text<100> state_path(const char *bus, const char *file);

/// Removes the file; a missing one and a folder of another user stay as they are.
void remove_state(const char *bus, const char *file);

/// Makes the folder and writes the file. @return 0; -1 if the file cannot be opened
int write_state(const char *bus, const char *file, std::string_view content);
