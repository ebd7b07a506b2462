#pragma once

#include "readings/report.h"

/// AT+ZPAS? (ZTE): technology. @return false when it holds no word that is known
bool read_zpas(std::string_view reply, Report &report);
