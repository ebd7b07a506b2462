#pragma once

#include "readings/report.h"

/// +CSQ (3GPP TS 27.007). @return false when the reply holds no such line
bool read_csq(std::string_view reply, Report &report);

/// +CESQ (3GPP TS 27.007, six fields, nine with NR): levels, and the technology, which follows from the levels that are
/// there.
/// @return false when the reply holds no such line
bool read_cesq(std::string_view reply, Report &report);

/// +XCESQ of Intel modems (L850, L860): +CESQ with one more field at the start. @return as above
bool read_xcesq(std::string_view reply, Report &report);
