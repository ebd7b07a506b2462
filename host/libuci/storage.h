#pragma once

#include "tree.h"

namespace host_uci {

/// The file that holds a package: the one of that name in /var/run/uci where there is one, else the one in the
/// context's folder. Null when memory ran out.
Owned<char> config_path(const uci_context &ctx, const char *name);

/// The file that holds everybody's saved changes to a package.
Owned<char> delta_path(const uci_context &ctx, const char *name);

} // namespace host_uci
