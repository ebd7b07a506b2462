#pragma once

#include "readings/report.h"

// The modem's identity.

/// ATI: maker, model and revision, as three lines or as lines with labels, and the IMEI if it is among them.
/// @return false when the reply names neither
bool read_ati(std::string_view reply, Report &report);

// +CGMI, +CGMM, +CGMR, +CGSN and their forms without "C" (3GPP TS 27.007): one line, with or without its tag and
// quotes.
// @return false when the reply has no such line
bool read_manufacturer(std::string_view reply, Report &report);
bool read_model(std::string_view reply, Report &report);
bool read_revision(std::string_view reply, Report &report);
bool read_imei(std::string_view reply, Report &report);
