#pragma once

#include "core/model/modem_driver.h"

/// Adds "mnc" and "mcc" of the SIM and "carrier", the operator's name in the router's operator list, cut at 16 bytes,
/// empty when it is not listed.
/// @return 0; -1 when the SIM's codes cannot be read, "carrier" is then empty
int add_carrier(json_object *info, const ModemDriver &rec);

/// Network codes of the SIM (4 bytes each) by its IMSI, which is kept in "/tmp/modem.<bus>/cimi". A file that does not
/// start with five digits is removed. mnc is the three characters after mcc, even if the network's code has two; an
/// IMSI of five digits gives two.
/// @return 0, -1
int read_mcc_mnc(const ModemDriver &rec, TextOut mcc, TextOut mnc);
