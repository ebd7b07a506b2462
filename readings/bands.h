#pragma once

#include "readings/report.h"

/// AT+QCFG="band" (Quectel LTE): the LTE bands as a hexadecimal mask. @return false when the reply has no such mask
bool read_qcfg_band(std::string_view reply, Report &report);

/// AT+QCFG="nwscanmode" (Quectel): the scan mode. @return false when the reply has none that is known
bool read_nwscanmode(std::string_view reply, Report &report);

/// AT+QNWPREFCFG="lte_band" and "nr5g_band" (Quectel 5G). @return false when the reply has no such line
bool read_qnwprefcfg(std::string_view reply, Report &report);
