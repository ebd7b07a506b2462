#pragma once

#ifdef __cplusplus
extern "C" {
#endif

#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <ubusmsg.h>

struct ubus_context;
struct ubus_request;

/// An object as a lookup reports it; valid during the callback.
struct ubus_object_data {
    uint32_t id;
    uint32_t type_id;
    const char *path;
    struct blob_attr *signature; ///< methods, each a table of argument names and types; null if none was sent
};

typedef void (*ubus_lookup_handler_t)(struct ubus_context *ctx, struct ubus_object_data *obj, void *priv);
typedef void (*ubus_data_handler_t)(struct ubus_request *req, int type, struct blob_attr *msg);

struct ubus_context {
    struct uloop_fd sock; ///< the connection; close-on-exec, non-blocking
    uint32_t local_id;    ///< the number that ubusd gives this client
    uint16_t request_seq;

    // Private: what of the message under way has come in.
    char *received;
    size_t received_length;
};

struct ubus_request {
    int status_code;
    bool status_msg; ///< the final status is there
    uint32_t peer;
    uint16_t seq;
    ubus_data_handler_t raw_data_cb;
    ubus_data_handler_t data_cb;
    struct ubus_context *ctx;
    void *priv;
};

/// Connects to ubusd, a null path means "/var/run/ubus/ubus.sock", and waits for its hello without a limit. Even where
/// it fails, uloop_init has run.
/// @return null with errno if connecting failed
struct ubus_context *ubus_connect(const char *path);
void ubus_free(struct ubus_context *ctx);

/// The status as a text; that of an unknown one is overwritten by the next call.
const char *ubus_strerror(int error);

// All return an ubus_msg_status: 2 on a connection that is lost, 10 when it is lost on the way.

/// Calls cb for each object whose path matches, for every object if path is null; a "*" at the end matches any rest.
/// Waits without a limit.
int ubus_lookup(struct ubus_context *ctx, const char *path, ubus_lookup_handler_t cb, void *priv);

/// Sets id only if an object was found; if a pattern matches several, to one of them.
int ubus_lookup_id(struct ubus_context *ctx, const char *path, uint32_t *id);

/// Calls a method and hands each data message of the answer to cb (may be null). timeout in ms, 0 waits without a
/// limit.
int ubus_invoke(struct ubus_context *ctx, uint32_t obj, const char *method, struct blob_attr *msg,
                ubus_data_handler_t cb, void *priv, int timeout);

#ifdef __cplusplus
}
#endif
