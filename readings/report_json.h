#pragma once

#include "platform/json.h"
#include "readings/report.h"

/// Adds what report tells to object, as the members of `modemctl info --json`: "modem", "sim", "network", "serving",
/// "nr", "carriers", "neighbours", "csq_rssi_dbm", "quality", "lte_bands", "nr_bands" and "scan_mode". What is not told
/// is not there.
void add_report(json_object *object, const Report &report);
