#pragma once

#include <libubus.h>

/// Sends the message and takes what comes in until the request's status is there, timeout ms at most (0: without a
/// limit). Data that answers it goes to its callbacks, everything else is dropped. @return the status
int run_request(ubus_context *ctx, ubus_request &request, ubus_msg_type type, const blob_attr *message, int timeout);

/// The status that a status message tells, "invalid argument" where it tells none.
int status_of(blob_attr *message);

/// What a data message carries, null where that is missing.
blob_attr *data_of(blob_attr *message);
