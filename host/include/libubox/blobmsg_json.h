#pragma once

// blobmsg to JSON and back. Like the real header this one carries no extern "C".

#include "blobmsg.h"

struct json_object;

/// Appends the members of a JSON object. @return false when something could not be added
bool blobmsg_add_object(struct blob_buf *buf, struct json_object *object);
bool blobmsg_add_json_element(struct blob_buf *buf, const char *name, struct json_object *value);

/// The same for a JSON text; anything but an object is refused and nothing added.
bool blobmsg_add_json_from_string(struct blob_buf *buf, const char *text);

/// Gives the JSON text of a value in place of the usual one, or null for the usual one.
typedef const char *(*blobmsg_json_format_t)(void *priv, struct blob_attr *attr);

/// The message as JSON, in one line where indent is negative, else over several lines from that depth of tabs on. list:
/// attr's payload is the members of a table (of an array where attr is a named one); else attr is one value, with its
/// name.
/// @return the caller's to free; null without memory or without attr
char *blobmsg_format_json_with_cb(struct blob_attr *attr, bool list, blobmsg_json_format_t callback, void *priv,
                                  int indent);

static inline char *blobmsg_format_json(struct blob_attr *attr, bool list)
{
    return blobmsg_format_json_with_cb(attr, list, NULL, NULL, -1);
}

static inline char *blobmsg_format_json_indent(struct blob_attr *attr, bool list, int indent)
{
    return blobmsg_format_json_with_cb(attr, list, NULL, NULL, indent);
}
