#pragma once

#include "readings/report.h"

// The SIM card (3GPP TS 27.007; +QCCID, +ICCID and ^ICCID of the makers).

/// AT+CPIN?: READY counts wherever it stands in the reply, since a card that was slow follows its own error. A bare
/// ERROR says nothing by itself: see ask_all.
/// @return false when the reply holds neither a state nor an error with a cause
bool read_cpin(std::string_view reply, Report &report);

bool read_iccid(std::string_view reply, Report &report);     ///< 18 to 22 digits; the filler F is left out
bool read_imsi(std::string_view reply, Report &report);      ///< AT+CIMI
bool read_number(std::string_view reply, Report &report);    ///< AT+CNUM
bool read_pin_tries(std::string_view reply, Report &report); ///< AT+CPINR, AT+QPINC?
