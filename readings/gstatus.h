#pragma once

#include "readings/report.h"

// Sierra Wireless (AT command references of MC74xx, EM75xx, EM9xxx).

/// AT!GSTATUS?: the status report. @return false when it names no system mode
bool read_gstatus(std::string_view reply, Report &report);

/// AT!LTEINFO?: the LTE cell with its network. @return false for another reply
bool read_lteinfo(std::string_view reply, Report &report);

/// AT!NRINFO? of the EM9xxx. @return false when it has no NR cell
bool read_nrinfo(std::string_view reply, Report &report);
