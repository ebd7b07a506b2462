#pragma once

// Named, typed attributes. An extended attribute's payload starts with a big-endian name length, the name and a zero
// byte, padded to 4 bytes together; then comes the value.

#include "blob.h"

enum blobmsg_type {
    BLOBMSG_TYPE_UNSPEC,
    BLOBMSG_TYPE_ARRAY,
    BLOBMSG_TYPE_TABLE,
    BLOBMSG_TYPE_STRING,
    BLOBMSG_TYPE_INT64,
    BLOBMSG_TYPE_INT32,
    BLOBMSG_TYPE_INT16,
    BLOBMSG_TYPE_INT8,
    BLOBMSG_TYPE_BOOL = BLOBMSG_TYPE_INT8,
    BLOBMSG_TYPE_DOUBLE,
    BLOBMSG_TYPE_LAST = BLOBMSG_TYPE_DOUBLE,
};

struct blobmsg_policy {
    const char *name;
    enum blobmsg_type type; ///< BLOBMSG_TYPE_UNSPEC takes every type
};

static inline unsigned int blobmsg_type(const struct blob_attr *attr)
{
    return blob_id(attr);
}

/// Bytes that the name with its length and padding takes; at most the payload. 0 without a name.
size_t blobmsg_name_space(const struct blob_attr *attr);

/// Empty without a name, or if the name does not end inside the attribute.
const char *blobmsg_name(const struct blob_attr *attr);

static inline void *blobmsg_data(const struct blob_attr *attr)
{
    return attr ? (char *)blob_data(attr) + blobmsg_name_space(attr) : NULL;
}

static inline size_t blobmsg_data_len(const struct blob_attr *attr)
{
    return attr ? blob_len(attr) - blobmsg_name_space(attr) : 0;
}

static inline size_t blobmsg_len(const struct blob_attr *attr)
{
    return blobmsg_data_len(attr);
}

/// True if the attribute is within len bytes, its name (required if name is set) within the attribute, and its value
/// fits its type: numbers of the exact size, strings with their zero byte. The content of a table or an array is not
/// checked.
bool blobmsg_check_attr_len(const struct blob_attr *attr, bool name, size_t len);

static inline bool blobmsg_check_attr(const struct blob_attr *attr, bool name)
{
    return blobmsg_check_attr_len(attr, name, blob_raw_len(attr));
}

/// Sets tb[i] to the first member of policy[i]'s name and type, to null without one.
/// @return 0; negative when data is empty or holds an attribute that fails the check, members before it are set
int blobmsg_parse(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb, void *data,
                  unsigned int len);

/// The value as a number, 0 if it is too short for one.
uint64_t blobmsg_get_number(const struct blob_attr *attr, size_t size);

static inline uint8_t blobmsg_get_u8(const struct blob_attr *attr)
{
    return (uint8_t)blobmsg_get_number(attr, 1);
}

static inline bool blobmsg_get_bool(const struct blob_attr *attr)
{
    return blobmsg_get_number(attr, 1) != 0;
}

static inline uint16_t blobmsg_get_u16(const struct blob_attr *attr)
{
    return (uint16_t)blobmsg_get_number(attr, 2);
}

static inline uint32_t blobmsg_get_u32(const struct blob_attr *attr)
{
    return (uint32_t)blobmsg_get_number(attr, 4);
}

static inline uint64_t blobmsg_get_u64(const struct blob_attr *attr)
{
    return blobmsg_get_number(attr, 8);
}

static inline double blobmsg_get_double(const struct blob_attr *attr)
{
    const uint64_t bits = blobmsg_get_number(attr, 8);
    double number;
    memcpy(&number, &bits, sizeof(number));
    return number;
}

/// Null if the value is not a text that ends inside the attribute.
char *blobmsg_get_string(const struct blob_attr *attr);

// Appending to a message. A null name is an empty one. @return 0, -1 without memory

int blobmsg_add_field(struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len);

static inline int blobmsg_add_u8(struct blob_buf *buf, const char *name, uint8_t number)
{
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT8, name, &number, sizeof(number));
}

static inline int blobmsg_add_u16(struct blob_buf *buf, const char *name, uint16_t number)
{
    number = htobe16(number);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT16, name, &number, sizeof(number));
}

static inline int blobmsg_add_u32(struct blob_buf *buf, const char *name, uint32_t number)
{
    number = htobe32(number);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT32, name, &number, sizeof(number));
}

static inline int blobmsg_add_u64(struct blob_buf *buf, const char *name, uint64_t number)
{
    number = htobe64(number);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT64, name, &number, sizeof(number));
}

static inline int blobmsg_add_double(struct blob_buf *buf, const char *name, double number)
{
    uint64_t bits;
    memcpy(&bits, &number, sizeof(bits));
    bits = htobe64(bits);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_DOUBLE, name, &bits, sizeof(bits));
}

static inline int blobmsg_add_string(struct blob_buf *buf, const char *name, const char *text)
{
    return blobmsg_add_field(buf, BLOBMSG_TYPE_STRING, name, text, (unsigned int)strlen(text) + 1);
}

void *blobmsg_open_nested(struct blob_buf *buf, const char *name, bool array);

static inline void *blobmsg_open_array(struct blob_buf *buf, const char *name)
{
    return blobmsg_open_nested(buf, name, true);
}

static inline void *blobmsg_open_table(struct blob_buf *buf, const char *name)
{
    return blobmsg_open_nested(buf, name, false);
}

static inline void blobmsg_close_array(struct blob_buf *buf, void *cookie)
{
    blob_nest_end(buf, cookie);
}

static inline void blobmsg_close_table(struct blob_buf *buf, void *cookie)
{
    blob_nest_end(buf, cookie);
}
