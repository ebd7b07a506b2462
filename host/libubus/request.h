#pragma once

#include <libubus.h>

/// Sends the message and takes what comes in until the request's status is there, timeout ms at most (0: without a
/// limit). Data that answers it goes to its callbacks, everything else is dropped. @return the status
int run_request(ubus_context *ctx, ubus_request &request, ubus_msg_type type, const blob_attr *message, int timeout);

/// The status in a status message, "invalid argument" if it has none.
int status_of(blob_attr *message);

/// The data of a data message, null if it is missing.
blob_attr *data_of(blob_attr *message);
