#pragma once

#include "core/model/modem_driver.h"

// Sierra Wireless MC7430: its status report (AT!GSTATUS?), lines of a label, spaces and a value. The AT port is busy
// while the data connection is being set up. So the operations that run again and again do nothing while the interface
// is pending (asking for its state may take up to 100 s), and write that to the system log.

/// Signal level (1 to 4). @return 4 LTE, 3 WCDMA; 0 if the modem does not answer with OK; -1 if it is busy or does not
/// report enough. level is written for 4 and 3 only
int sierra_get_signal(const ModemDriver &rec, int32_t &level);

/// Appends those of the primary and secondary LTE cell and the WCDMA cell that the report has; every value is a JSON
/// string.
/// @return 0, also when the modem does not answer; -1 when memory runs out
int sierra_get_cells(const ModemDriver &rec, json_object *array);

/// Registration by AT+CREG?. @return 0 registered, also when it is busy or does not answer with OK; -1
int sierra_check_register(const ModemDriver &rec);

/// @return 1 if the report has a carrier aggregation state other than "NOT ASSIGNED", else 0
int sierra_get_ca_info(const ModemDriver &rec);

/// SIM state by AT+CPIN?; scratch is not written. @return 0 ready, unknown or busy; -1 no SIM; -2 PIN. A SIM that needs
/// its PUK counts as ready
int sierra_get_sim_status(const ModemDriver &rec, TextOut scratch);
