#pragma once

#include "core/model/modem_driver.h"

/// Adds "signal_info" (an array, only if the model itself is asked) and finds the level, 1 to 4, and mode ("2G", "3G",
/// "4G", "4G+" under carrier aggregation; mode holds at least 6 bytes). The values come from the model's get_signal, or
/// else from the signal cache, or else from its get_csq.
/// @return 0; -1 when no source knows the signal
int read_signal_record(const ModemDriver &rec, TextOut mode, int32_t &level, json_object *result);

/// Adds the state of the modem and its interface to result: "up" and the other members of the interface report,
/// "SIM_status", "online" (whether multi-WAN reaches the internet through it), "signal_info", "signal", "mode",
/// "newsms". If the SIM is not ready, "SIM_status" is the last member: the web pages then show no signal and no
/// messages. The unknown device has only the interface's members and "newsms".
void add_status_record(json_object *result, const ModemDriver &rec);

/// "2G", "3G" and "4G" for 2 to 4, null for all else.
const char *pick_mode(int generation);
