#pragma once

#include "readings/report.h"

// SIMCom (AT manuals of SIM7600, SIM7000, SIM8200).

/// AT+CPSI?: technology, network and cell with levels. @return false when it holds no line that is understood
bool read_cpsi(std::string_view reply, Report &report);

/// AT+CNSMOD?: the technology alone. @return false when it holds no known number
bool read_cnsmod(std::string_view reply, Report &report);
