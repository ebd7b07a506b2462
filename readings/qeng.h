#pragma once

#include "readings/report.h"

// AT+QENG of the Quectel AT manuals (EC2x/EG9x/EM05 "Network Service", RG50xQ/RM5xxQ, BG95/BG96).

/// AT+QENG="servingcell". @return false when the reply holds no +QENG line that is understood
bool read_qeng_serving(std::string_view reply, Report &report);

/// AT+QENG="neighbourcell".
bool read_qeng_neighbours(std::string_view reply, Report &report);
