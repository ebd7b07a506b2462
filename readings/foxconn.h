#pragma once

#include "readings/report.h"

// Foxconn T99W175, T99W373 and their kin.

/// AT^DEBUG?: technology, cells and levels as lines of key and value. @return false when it names no technology
bool read_debug(std::string_view reply, Report &report);
