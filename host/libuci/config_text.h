#pragma once

#include <cstdio>

#include "tree.h"

namespace host_uci {

/// Reads a package's file into package. @return a code of uci.h; UCI_ERR_PARSE with the reason in the context
int read_config(uci_package &package, std::string_view text);

/// Writes the package as its file has it.
void write_config(FILE *file, const uci_package &package);

} // namespace host_uci
