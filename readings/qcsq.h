#pragma once

#include "readings/report.h"

/// AT+QCSQ (Quectel): levels of the serving cell. @return false when it holds no such line
bool read_qcsq(std::string_view reply, Report &report);
