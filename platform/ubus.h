#pragma once

#include "platform/json.h"

struct ubus_request;
struct blob_attr;

/// Reply handler for libubus: turns the reply message into a json-c object and stores it in the Json that request->priv
/// points at. An empty or unreadable message leaves it null.
void receive_call_result_data(ubus_request *request, int type, blob_attr *message);

/// Where a call can fail, for callers that tell them apart.
enum class UbusStep { connect, lookup, invoke, done };

struct UbusResult {
    UbusStep step; ///< the step that failed; done when none did
    int code;      ///< libubus's status: 0 success, 4 not found, 7 timed out ...; -1 without a connection
    Json reply;    ///< the answer as an object; null where there was none
};

/// Calls method of object without arguments, on a connection of its own that is closed again. timeout_ms (above 0)
/// bounds connecting, looking up and the call together: a ubusd or an owner that does not answer costs that much and no
/// more, and gives code 7. The process's signal handlers and open descriptors are the same afterwards as before. A null
/// socket is ubusd's usual one.
UbusResult ubus_call(const char *object, const char *method, int timeout_ms, const char *socket = nullptr);
