#pragma once

#include <string_view>

#include "platform/text.h"

/// Where the web interface keeps the APN database: 24 bytes of script, then one JSON text.
inline constexpr char apn_database_file[] = "/www/src/lib/apn-config.js";

/// Reads the text of an APN database. It is checked as JSON only when candidates are selected. A null filename aborts
/// the program.
/// @return 0; -1 if the file cannot be read, is larger than 16 MiB or has nothing after its first 24 bytes, text is
/// then untouched
int read_apn_database(const char *filename, HeapText &text);

/// The same into the process's APN database, which lasts until it is released.
/// @return as read_apn_database
int load_apn_database(const char *filename);
void release_apn_database();

/// The text of the process's APN database, borrowed; empty when none is loaded.
std::string_view apn_database();
