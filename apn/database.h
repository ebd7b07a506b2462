#pragma once

#include <string_view>

/// The text of the process's APN database, borrowed; empty when none is loaded.
std::string_view apn_database();
