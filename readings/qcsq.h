#pragma once

#include "readings/report.h"

/// AT+QCSQ (Quectel): levels of the serving cell. @return false when it holds no such line
bool read_qcsq(std::string_view reply, Report &report);

/// AT+QRSRP (Quectel): the RSRP of the serving cell's main antenna. @return false when it holds no such line
bool read_qrsrp(std::string_view reply, Report &report);
