#pragma once

#include <string_view>

#include "readings/report.h"

/// AT+XMCI=1 (modems with an Intel chip set: L850, L860): the serving cell and the neighbours. @return false when the
/// reply has no row that is known
bool read_xmci(std::string_view reply, Report &report);
