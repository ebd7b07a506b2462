#pragma once

#include "tree.h"

namespace host_uci {

/// The file that holds a package: the file of that name in /var/run/uci if there is one, else the file in the context's
/// folder. Null when memory ran out.
Owned<char> config_path(const uci_context &ctx, const char *name);

/// The file that holds everybody's saved changes to a package.
Owned<char> delta_path(const uci_context &ctx, const char *name);

} // namespace host_uci
