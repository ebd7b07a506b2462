#pragma once

#include "core/model/modem_driver.h"

/// First of the models, linked by next.
ModemDriver *modem_drivers();

/// First entry with that model number; null when there is none. A negative id never matches.
ModemDriver *find_driver_by_id(ModemDriver *head, int32_t id);

/// First entry with both USB ids; null when there is none.
ModemDriver *find_driver_by_usb(ModemDriver *head, uint32_t vid, uint32_t pid);

/// The built-in row of a device or of a number, else that of the models files (core/table/models_file.h); null without
/// one.
ModemDriver *find_model_by_usb(uint32_t vid, uint32_t pid);
ModemDriver *find_model_by_id(int32_t id);

/// What a modem that speaks this dialect (readings/dialects.h) can be asked for beyond what every modem can.
const ModemOps &family_operations(std::string_view dialect);

/// Takes down the interface of the current modem's table entry (the template "modem" unless that entry was bound
/// earlier in this process); on success there is no current modem any more. @return 0; -1 without a current modem or
/// when the interface does not go down
int modem_disconnect();

/// Removes one message of the SMS spool. @return the operation's result, -1 when there is none
int remove_sms(const char *name);

/// Removes all messages of the SMS spool through the entry of that model. @return as above
int remove_all_sms(int32_t modem_id);
