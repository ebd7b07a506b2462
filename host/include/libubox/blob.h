#pragma once

// Binary attributes: a big-endian word (bit 31 "extended", 7 bits id, 24 bits length with this word), then the payload,
// padded to 4 bytes. Like the real header this one carries no extern "C": a C++ source includes it inside one.

#include <endian.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

enum {
    BLOB_ATTR_UNSPEC,
    BLOB_ATTR_NESTED,
    BLOB_ATTR_BINARY,
    BLOB_ATTR_STRING,
    BLOB_ATTR_INT8,
    BLOB_ATTR_INT16,
    BLOB_ATTR_INT32,
    BLOB_ATTR_INT64,
    BLOB_ATTR_DOUBLE,
    BLOB_ATTR_LAST,
};

enum blob_attr_word {
    BLOB_ATTR_ID_MASK = 0x7f000000,
    BLOB_ATTR_ID_SHIFT = 24,
    BLOB_ATTR_LEN_MASK = 0x00ffffff,
    BLOB_ATTR_ALIGN = 4,
};

/// Packed, so that it may lie at any address of a received message.
struct __attribute__((packed)) blob_attr {
    uint32_t id_len;
    char data[];
};

struct blob_attr_info {
    unsigned int type; ///< BLOB_ATTR_UNSPEC takes every payload
};

/// A message under construction; all zero before the first blob_buf_init.
struct blob_buf {
    struct blob_attr *head; ///< the attribute that is being filled
    int buflen;
    void *buf;
};

static inline void *blob_data(const struct blob_attr *attr)
{
    return (void *)attr->data;
}

static inline unsigned int blob_id(const struct blob_attr *attr)
{
    return (be32toh(attr->id_len) & BLOB_ATTR_ID_MASK) >> BLOB_ATTR_ID_SHIFT;
}

/// True if the payload starts with a name (blobmsg.h).
static inline bool blob_is_extended(const struct blob_attr *attr)
{
    return be32toh(attr->id_len) >> 31 != 0;
}

/// Bytes of header and payload by the header; below 4 it is not an attribute.
static inline size_t blob_raw_len(const struct blob_attr *attr)
{
    return be32toh(attr->id_len) & BLOB_ATTR_LEN_MASK;
}

/// Bytes of the payload; 0 if the header makes no sense.
static inline size_t blob_len(const struct blob_attr *attr)
{
    const size_t length = blob_raw_len(attr);
    return length < sizeof(struct blob_attr) ? 0 : length - sizeof(struct blob_attr);
}

static inline size_t blob_pad_len(const struct blob_attr *attr)
{
    return (blob_raw_len(attr) + BLOB_ATTR_ALIGN - 1) & ~(size_t)(BLOB_ATTR_ALIGN - 1);
}

static inline struct blob_attr *blob_next(const struct blob_attr *attr)
{
    return (struct blob_attr *)((char *)attr + blob_pad_len(attr));
}

/// The payload as a number, 0 if it is too short for one.
static inline uint8_t blob_get_u8(const struct blob_attr *attr)
{
    return blob_len(attr) < 1 ? 0 : *(const uint8_t *)attr->data;
}

static inline uint32_t blob_get_u32(const struct blob_attr *attr)
{
    uint32_t number = 0;
    if (blob_len(attr) >= sizeof(number))
        memcpy(&number, attr->data, sizeof(number));
    return be32toh(number);
}

/// Starts a new message of one empty attribute; memory of an earlier one is used again. @return 0, negative without
/// memory
int blob_buf_init(struct blob_buf *buf, int id);
void blob_buf_free(struct blob_buf *buf);

/// Appends an attribute to the one that is being filled. A null ptr leaves len zero bytes.
/// @return the attribute, valid until the next change of buf; null without memory or above 16 MiB
struct blob_attr *blob_put(struct blob_buf *buf, int id, const void *ptr, unsigned int len);

static inline struct blob_attr *blob_put_string(struct blob_buf *buf, int id, const char *text)
{
    return blob_put(buf, id, text, (unsigned int)strlen(text) + 1);
}

static inline struct blob_attr *blob_put_u32(struct blob_buf *buf, int id, uint32_t number)
{
    number = htobe32(number);
    return blob_put(buf, id, &number, sizeof(number));
}

static inline struct blob_attr *blob_put_int32(struct blob_buf *buf, int id, uint32_t number)
{
    return blob_put_u32(buf, id, number);
}

/// Everything between the two is put into a new attribute; the end takes what the start gave.
void *blob_nest_start(struct blob_buf *buf, int id);
void blob_nest_end(struct blob_buf *buf, void *cookie);

/// Sets data[id] to the last attribute of each id below max that is whole and of the type that info asks for, the
/// others to null. attr_len bounds attr. @return ids found
int blob_parse_untrusted(struct blob_attr *attr, size_t attr_len, struct blob_attr **data,
                         const struct blob_attr_info *info, int max);

// The loops' names and shapes are the real library's; they end at the first attribute that does not fit into rem.
#define __blob_attr_fits(pos, rem)                                                                                     \
    ((rem) >= sizeof(struct blob_attr) && blob_pad_len(pos) >= sizeof(struct blob_attr) && blob_pad_len(pos) <= (rem))

#define __blob_for_each_attr(pos, attr, rem)                                                                           \
    for (pos = (struct blob_attr *)(attr); __blob_attr_fits(pos, rem); rem -= blob_pad_len(pos), pos = blob_next(pos))

#define blob_for_each_attr(pos, attr, rem)                                                                             \
    for (rem = (attr) ? blob_len(attr) : 0, pos = (attr) ? (struct blob_attr *)blob_data(attr) : NULL;                 \
         __blob_attr_fits(pos, rem); rem -= blob_pad_len(pos), pos = blob_next(pos))
