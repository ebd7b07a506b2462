#pragma once

#include "core/modem_driver.h"

// The spool of the SMS daemon (smstools3): one file a message, in "/etc/spool/sms/incoming/" as it came, in
// "/etc/spool/sms/storage/" once it was seen. The file's name is the message's.

/// Removes one message, from the incoming folder or else from the storage. A name with a '/' in it is no message's.
/// @return 0; -1 when there is no such message or it cannot be removed
int sms_remove(const char *name);

/// Removes all messages of both folders, whichever modem they came by. @return 0; -1 when one of the folders is
/// missing, nothing is removed then
int sms_remove_all(const ModemDriver &rec);
