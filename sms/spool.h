#pragma once

#include "core/model/modem_driver.h"

// The spool of the SMS daemon (smstools3): one file a message, in "/etc/spool/sms/incoming/" as it came, in
// "/etc/spool/sms/storage/" once it was seen. The file's name is the message's.

/// Appends every message of the modems on other buses than 1-1.3 to array: "from", "time", "type", "body", "status"
/// ("unread", "read") and "name", those of which the file tells. Incoming messages first, each folder in its own order;
/// without the incoming folder nothing is listed. What is no regular file or cannot be opened is passed over.
void sms_list_spool(json_object *array);

/// The same for one folder. @return false when it cannot be opened
bool sms_list_folder(const char *folder, const char *status, json_object *array);

/// @return files in the incoming folder for the modem on bus, 0 without that folder
int sms_count_unread(const char *bus);

/// The same for any folder.
int sms_count_folder(const char *folder, const char *bus);

/// Moves an incoming message to the storage; nothing happens when there is none of that name. @return 0
int sms_mark_read(const char *name);

/// Removes one message, from the incoming folder or else from the storage. A name with a '/' in it is no message's.
/// @return 0; -1 when there is no such message or it cannot be removed
int sms_remove(const char *name);

/// Removes all messages of both folders, whichever modem they came by. @return 0; -1 when one of the folders is
/// missing, nothing is removed then
int sms_remove_all(const ModemDriver &rec);
