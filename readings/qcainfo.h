#pragma once

#include "readings/report.h"

/// AT+QCAINFO (Quectel LTE-A and RG50xQ/RM5xxQ AT manuals): the aggregated carriers. @return false when it holds none
bool read_qcainfo(std::string_view reply, Report &report);
