#pragma once

#include "readings/report.h"

// Fibocom (AT manuals of FM150, FM160, FM350, NL668).

/// AT+GTCCINFO?: serving and neighbour cells. @return false when it holds no row of a cell
bool read_gtccinfo(std::string_view reply, Report &report);

/// AT+GTCAINFO?: the aggregated carriers. @return false when it holds none
bool read_gtcainfo(std::string_view reply, Report &report);
