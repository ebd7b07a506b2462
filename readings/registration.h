#pragma once

#include "readings/report.h"

/// +CREG, +CGREG, +CEREG and +C5GREG (3GPP TS 27.007): the registration, and if it is good the cell and technology. All
/// four are read, after any of the questions: some modems answer +CEREG? with a +CREG line.
/// @return false when the reply holds none of them with a status
bool read_registration(std::string_view reply, Report &report);
