#pragma once

#include "platform/uci_context.h"

/// Writes the context's changes to package, and the saved changes of all programs, into the package's file: the old
/// file or the new one is there at every moment.
/// @return false if it cannot be written: the file is then as it was, and the changes stay in the context
bool commit_package(const Uci &context, Writing &writing, uci_package *package);
