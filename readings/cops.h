#pragma once

#include "readings/report.h"

/// +COPS? (3GPP TS 27.007): the name or the code of the network, and the technology. Several lines are read, because
/// the formats are asked one after the other. @return false when the reply holds no such line
bool read_cops(std::string_view reply, Report &report);
