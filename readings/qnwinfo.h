#pragma once

#include "readings/report.h"

/// AT+QNWINFO (Quectel): technology, network, band and channel. @return false when it holds no such line
bool read_qnwinfo(std::string_view reply, Report &report);
