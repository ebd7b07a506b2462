#include <cstdio>
#include <cstdlib>

#include <libubus.h>

#include "host/libubus/request.h"

namespace {

const blob_attr_info attributes[UBUS_ATTR_MAX] = {
    {},
    {.type = BLOB_ATTR_INT32},  // status
    {.type = BLOB_ATTR_STRING}, // object path
    {.type = BLOB_ATTR_INT32},  // object id
    {.type = BLOB_ATTR_STRING}, // method
};

struct Attributes {
    explicit Attributes(blob_attr *message)
    {
        blob_parse_untrusted(message, blob_raw_len(message), found, attributes, UBUS_ATTR_MAX);
    }
    blob_attr *operator[](ubus_msg_attr attribute) const { return found[attribute]; }
    blob_attr *found[UBUS_ATTR_MAX];
};

struct Lookup {
    ubus_lookup_handler_t callback;
    void *priv;
};

void hand_over_object(ubus_request *request, int, blob_attr *message)
{
    const Attributes found(message);
    if (!found[UBUS_ATTR_OBJID] || !found[UBUS_ATTR_OBJPATH] || !found[UBUS_ATTR_OBJTYPE])
        return;
    ubus_object_data object = {
        .id = blob_get_u32(found[UBUS_ATTR_OBJID]),
        .type_id = blob_get_u32(found[UBUS_ATTR_OBJTYPE]),
        .path = static_cast<const char *>(blob_data(found[UBUS_ATTR_OBJPATH])),
        .signature = found[UBUS_ATTR_SIGNATURE],
    };
    const auto *lookup = static_cast<const Lookup *>(request->priv);
    lookup->callback(request->ctx, &object, lookup->priv);
}

void keep_object_id(ubus_request *request, int, blob_attr *message)
{
    const Attributes found(message);
    if (found[UBUS_ATTR_OBJID])
        *static_cast<uint32_t *>(request->priv) = blob_get_u32(found[UBUS_ATTR_OBJID]);
}

int look_up(ubus_context *ctx, const char *path, ubus_data_handler_t callback, void *priv)
{
    blob_buf message = {};
    ubus_request request = {};
    request.raw_data_cb = callback;
    request.priv = priv;
    int status = UBUS_STATUS_NO_MEMORY;
    if (blob_buf_init(&message, 0) == 0 && (!path || blob_put_string(&message, UBUS_ATTR_OBJPATH, path)))
        status = run_request(ctx, request, UBUS_MSG_LOOKUP, message.head, 0);
    blob_buf_free(&message);
    return status;
}

bool put_arguments(blob_buf *message, const blob_attr *arguments)
{
    if (!arguments)
        return blob_put(message, UBUS_ATTR_DATA, nullptr, 0);
    return blob_put(message, UBUS_ATTR_DATA, blob_data(arguments), static_cast<unsigned int>(blob_len(arguments)));
}

} // namespace

int status_of(blob_attr *message)
{
    const Attributes found(message);
    return found[UBUS_ATTR_STATUS] ? static_cast<int>(blob_get_u32(found[UBUS_ATTR_STATUS]))
                                   : UBUS_STATUS_INVALID_ARGUMENT;
}

blob_attr *data_of(blob_attr *message)
{
    return Attributes(message)[UBUS_ATTR_DATA];
}

int ubus_lookup(ubus_context *ctx, const char *path, ubus_lookup_handler_t cb, void *priv)
{
    Lookup lookup{cb, priv};
    return look_up(ctx, path, hand_over_object, &lookup);
}

int ubus_lookup_id(ubus_context *ctx, const char *path, uint32_t *id)
{
    return look_up(ctx, path, keep_object_id, id);
}

int ubus_invoke(ubus_context *ctx, uint32_t obj, const char *method, blob_attr *msg, ubus_data_handler_t cb, void *priv,
                int timeout)
{
    blob_buf message = {};
    ubus_request request = {};
    request.peer = obj;
    request.data_cb = cb;
    request.priv = priv;
    int status = UBUS_STATUS_NO_MEMORY;
    if (blob_buf_init(&message, 0) == 0 && blob_put_u32(&message, UBUS_ATTR_OBJID, obj) &&
        blob_put_string(&message, UBUS_ATTR_METHOD, method) && put_arguments(&message, msg))
        status = run_request(ctx, request, UBUS_MSG_INVOKE, message.head, timeout);
    blob_buf_free(&message);
    return status;
}

const char *ubus_strerror(int error)
{
    static constexpr const char *texts[] = {
        "Success",
        "Invalid command",
        "Invalid argument",
        "Method not found",
        "Not found",
        "No response",
        "Permission denied",
        "Request timed out",
        "Operation not supported",
        "Unknown error",
        "Connection failed",
        "Out of memory",
        "Parsing message data failed",
        "System error",
    };
    if (error >= 0 && error < static_cast<int>(sizeof(texts) / sizeof(texts[0])))
        return texts[error];
    static char unknown[32];
    snprintf(unknown, sizeof(unknown), "Unknown error: %d", error);
    return unknown;
}
