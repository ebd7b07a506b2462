#pragma once

#include "readings/report.h"

/// Adds the bands of a hexadecimal mask, with or without "0x"; the lowest bit of the last digit is band 1.
/// @return false when it is no mask, bands is untouched then
bool add_mask(std::string_view mask, BandSet &bands);

/// Adds the bands of a list, "1:3:7:20". @return false without a number
bool add_list(std::string_view list, BandSet &bands);

/// AT+QCFG="band" (Quectel LTE): the LTE bands as a hexadecimal mask. @return false when the reply has no such mask
bool read_qcfg_band(std::string_view reply, Report &report);

/// AT+QCFG="nwscanmode" (Quectel): the scan mode. @return false when the reply has none that is known
bool read_nwscanmode(std::string_view reply, Report &report);

/// AT+QNWPREFCFG="lte_band" and "nr5g_band" (Quectel 5G). @return false when the reply has no such line
bool read_qnwprefcfg(std::string_view reply, Report &report);
