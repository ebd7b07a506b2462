#pragma once

#include "core/model/modem_driver.h"

// The spool of the SMS daemon (smstools3): one file for each message, in "/etc/spool/sms/incoming/" at first, in
// "/etc/spool/sms/storage/" once it was seen. The file's name is the message's name.

/// Appends every message of the modems on all buses except 1-1.3 to array: "from", "time", "type", "body", "status"
/// ("unread", "read") and "name", as far as the file has them. Incoming messages come first, each folder in its own
/// order; without the incoming folder the list is empty. A file that is not regular or cannot be opened is skipped.
void sms_list_spool(json_object *array);

/// The same for one folder. @return false when it cannot be opened
bool sms_list_folder(const char *folder, const char *status, json_object *array);

/// @return files in the incoming folder for the modem on bus, 0 without that folder
int sms_count_unread(const char *bus);

/// The same for any folder.
int sms_count_folder(const char *folder, const char *bus);

/// Moves an incoming message to the storage; nothing happens if there is no message of that name. @return 0
int sms_mark_read(const char *name);

/// Removes one message, from the incoming folder or else from the storage. A name with a '/' in it names no message.
/// @return 0; -1 when there is no such message or it cannot be removed
int sms_remove(const char *name);

/// Removes all messages of both folders, of every modem. @return 0; -1 when one of the folders is missing, nothing is
/// removed then
int sms_remove_all(const ModemDriver &rec);
