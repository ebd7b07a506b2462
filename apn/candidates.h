#pragma once

#include "core/model/modem_driver.h"

/// Appends what could be rec's APN to candidates: its carrier's fixed APN, else the database's entries for its network.
/// @return 0 when there is at least one, else -1
int select_apn_candidates(const ModemDriver &rec, json_object *candidates);

/// Whether an entry may carry internet traffic: it has no "-type", or one that contains "default" or "hipri".
bool is_internet_apn(json_object *entry);

/// Tries the candidates in order, each by QMI where the model has it and then by serial, until one brings the interface
/// up. A null array makes one serial connect without an APN. @return 0 on success, -1
int connect_with_candidates(const ModemDriver &rec, json_object *candidates);
