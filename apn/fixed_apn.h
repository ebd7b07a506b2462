#pragma once

#include "core/model/modem_driver.h"

/// The APN of carriers that need a fixed one, by the IMSI; null for all others. The first prefix that matches decides.
const char *pick_fixed_apn(std::string_view imsi);

/// Looks up rec's SIM among the carriers with a fixed APN. candidates, if given, gets an entry like those of the
/// database; names, if given, gets the APN as text.
/// @return 0 when it is one of them, else -1
int find_fixed_apn(const ModemDriver &rec, json_object *candidates, json_object *names);
