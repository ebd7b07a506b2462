#pragma once

#include "readings/report.h"

/// The hottest sensor of AT+QTEMP (Quectel) and AT^TEMP? (Foxconn). @return false when none has a valid value
bool read_temperature(std::string_view reply, Report &report);
