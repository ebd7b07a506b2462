#pragma once

#include "readings/report.h"

// The SIM card (3GPP TS 27.007; +QCCID, +ICCID and ^ICCID of the makers).

/// AT+CPIN?: READY counts anywhere in the reply, because a slow card prints an error first. A bare ERROR has no meaning
/// by itself: see ask_all.
/// @return false if the reply has neither a state nor an error with a cause
bool read_cpin(std::string_view reply, Report &report);

bool read_iccid(std::string_view reply, Report &report);     ///< 18 to 22 digits; the filler F is left out
bool read_imsi(std::string_view reply, Report &report);      ///< AT+CIMI
bool read_number(std::string_view reply, Report &report);    ///< AT+CNUM
bool read_pin_tries(std::string_view reply, Report &report); ///< AT+CPINR, AT+QPINC?
