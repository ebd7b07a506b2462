#pragma once

#include "platform/json.h"
#include "readings/report.h"

/// Adds the values of report to object, as the members of `modemctl info --json`: "modem", "sim", "network", "serving",
/// "nr", "carriers", "neighbours", "csq_rssi_dbm", "quality", "lte_bands", "nr_bands" and "scan_mode". A missing value
/// has no member.
void add_report(json_object *object, const Report &report);
