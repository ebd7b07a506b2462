#pragma once

#include "readings/report.h"

// Huawei and its kin (AT manuals of ME909s, MH5000 and MT5700M).

/// AT^MONSC: the serving cell. @return false when it holds no line that is understood
bool read_monsc(std::string_view reply, Report &report);

/// AT^HCSQ?: levels as indices. @return false when it holds no line that is understood
bool read_hcsq(std::string_view reply, Report &report);

/// AT^HFREQINFO?: the carriers with their bandwidths. @return false when it holds none
bool read_hfreqinfo(std::string_view reply, Report &report);
