#pragma once

#include "platform/uci.h"

/// UCI's folders; tests have other folders.
struct UciFolders {
    Text<64> config; ///< the packages' files
    Text<64> saved;  ///< saved changes
    Text<64> lock;   ///< the writer locks of this program
};

/// As kuci2_init, with other folders.
Uci open_uci(const UciFolders &folders);
