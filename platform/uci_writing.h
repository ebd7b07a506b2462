#pragma once

#include "platform/uci_context.h"

// The packages that a context is writing, and what keeps others from being written over.

using FilePath = Text<160>;
FilePath path_in(const Text<64> &folder, const Text<64> &file);

/// The first write to a package: no other call of the program changes it until the commit, and earlier changes are
/// read, unless nobody has changed it since this context committed it. Later writes find what the first one started.
/// @return null if the name cannot be a package, or if too many are being written
Writing *start_writing(const Uci &context, std::string_view package);

Version version_of(const struct stat &status);
/// Of no file: the version of a file that is missing.
Version version_of(const Fd &file);

/// Keeps the versions of the package's files. Called before libuci reads them, so that a change which it may have
/// missed shows.
void remember_files(const Uci &context, Writing &writing, const FilePath &config);

/// True if config, the package's file, and the file of saved changes are as they were remembered.
bool are_as_remembered(const Uci &context, const Writing &writing, const char *config);

/// Lets libuci read the package anew when it is used next.
void forget_loaded(const Uci &context, std::string_view package);
