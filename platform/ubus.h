#pragma once

#include "platform/json.h"

struct ubus_request;
struct blob_attr;

/// Reply handler for libubus: turns the reply message into a json-c object and stores it in the Json that request->priv
/// points at. An empty or unreadable message leaves it null.
void receive_call_result_data(ubus_request *request, int type, blob_attr *message);

/// The steps at which a call can fail.
enum class UbusStep { connect, lookup, invoke, done };

struct UbusResult {
    UbusStep step; ///< the step that failed; done when none did
    int code;      ///< libubus's status: 0 success, 4 not found, 7 timed out ...; -1 without a connection
    Json reply;    ///< the answer as an object; null if there was none
};

/// Calls method of object without arguments, over a new connection. timeout_ms (above 0) limits connecting, looking up
/// and the call together: if ubusd or the object's owner does not answer, the call ends after that time with code 7.
/// The process's signal handlers and open descriptors do not change. A null socket means ubusd's usual socket.
UbusResult ubus_call(const char *object, const char *method, int timeout_ms, const char *socket = nullptr);
