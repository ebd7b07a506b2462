#pragma once

#include "apn/choices.h"
#include "core/model/modem_driver.h"

/// Appends the APNs to try for rec to candidates: its carrier's fixed APN, or else the database's entries for its
/// network.
/// @return 0 when there is at least one, else -1
int select_apn_candidates(const ModemDriver &rec, json_object *candidates);

/// True if an entry may carry internet traffic: it has no "-type", or a type that contains "default" or "hipri".
bool is_internet_apn(json_object *entry);

/// Connects with login: by QMI if the model has it, and if that fails in the model's other way.
/// @return 0 when the interface is up, else -1
int connect_with_login(const ModemDriver &rec, const ApnLogin &login);

/// Tries the candidates in order, each by QMI if the model has it and then by serial, until one brings the interface
/// up. A null array makes one serial connect without an APN. @return 0 on success, -1
int connect_with_candidates(const ModemDriver &rec, json_object *candidates);
