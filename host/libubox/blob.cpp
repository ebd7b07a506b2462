#include <cerrno>
#include <cstdlib>

extern "C" {
#include <libubox/blob.h>
}

namespace {

size_t offset_of(const blob_buf *buf, const void *place)
{
    return static_cast<size_t>(static_cast<const char *>(place) - static_cast<const char *>(buf->buf));
}

blob_attr *attribute_at(const blob_buf *buf, size_t offset)
{
    return reinterpret_cast<blob_attr *>(static_cast<char *>(buf->buf) + offset);
}

void set_length(blob_attr *attr, size_t length)
{
    const uint32_t word = be32toh(attr->id_len) & ~static_cast<uint32_t>(BLOB_ATTR_LEN_MASK);
    attr->id_len = htobe32(word | static_cast<uint32_t>(length));
}

size_t padded(size_t length)
{
    return (length + BLOB_ATTR_ALIGN - 1) & ~static_cast<size_t>(BLOB_ATTR_ALIGN - 1);
}

/// Room for size bytes in all; the memory may move, head moves along.
bool reserve(blob_buf *buf, size_t size)
{
    constexpr size_t step = 256;
    if (size > BLOB_ATTR_LEN_MASK)
        return false;
    if (size <= static_cast<size_t>(buf->buflen))
        return true;
    const size_t head = buf->head ? offset_of(buf, buf->head) : 0;
    const size_t capacity = (size / step + 1) * step;
    void *memory = realloc(buf->buf, capacity);
    if (!memory)
        return false;
    buf->buf = memory;
    buf->buflen = static_cast<int>(capacity);
    buf->head = attribute_at(buf, head);
    return true;
}

blob_attr *start_attribute(blob_buf *buf, size_t offset, int id, size_t payload)
{
    const size_t length = sizeof(blob_attr) + payload;
    if (payload > BLOB_ATTR_LEN_MASK || !reserve(buf, offset + padded(length)))
        return nullptr;
    blob_attr *attr = attribute_at(buf, offset);
    memset(attr, 0, padded(length));
    attr->id_len =
        htobe32((static_cast<uint32_t>(id) << BLOB_ATTR_ID_SHIFT & BLOB_ATTR_ID_MASK) | static_cast<uint32_t>(length));
    return attr;
}

bool has_type(const blob_attr *attr, unsigned int type)
{
    const size_t length = blob_len(attr);
    switch (type) {
    case BLOB_ATTR_STRING:
        return length > 0 && attr->data[length - 1] == '\0';
    case BLOB_ATTR_INT8:
        return length == 1;
    case BLOB_ATTR_INT16:
        return length == 2;
    case BLOB_ATTR_INT32:
        return length == 4;
    case BLOB_ATTR_INT64:
        return length == 8;
    case BLOB_ATTR_DOUBLE:
        return length >= 8;
    default:
        return true;
    }
}

} // namespace

int blob_buf_init(blob_buf *buf, int id)
{
    if (!start_attribute(buf, 0, id, 0))
        return -ENOMEM;
    buf->head = attribute_at(buf, 0);
    return 0;
}

void blob_buf_free(blob_buf *buf)
{
    free(buf->buf);
    *buf = {};
}

blob_attr *blob_put(blob_buf *buf, int id, const void *ptr, unsigned int len)
{
    blob_attr *attr = start_attribute(buf, offset_of(buf, blob_next(buf->head)), id, len);
    if (!attr)
        return nullptr;
    if (ptr && len > 0)
        memcpy(attr->data, ptr, len);
    set_length(buf->head, blob_pad_len(buf->head) + blob_pad_len(attr));
    return attr;
}

// The cookie is a place, not an address, since the memory may move; one is added so that the first place is not null.
void *blob_nest_start(blob_buf *buf, int id)
{
    const size_t parent = offset_of(buf, buf->head);
    blob_attr *attr = blob_put(buf, id, nullptr, 0);
    if (!attr)
        return nullptr;
    buf->head = attr;
    return reinterpret_cast<void *>(parent + 1);
}

void blob_nest_end(blob_buf *buf, void *cookie)
{
    if (!cookie)
        return;
    blob_attr *parent = attribute_at(buf, reinterpret_cast<size_t>(cookie) - 1);
    set_length(parent, offset_of(buf, buf->head) - offset_of(buf, parent) + blob_pad_len(buf->head));
    buf->head = parent;
}

int blob_parse_untrusted(blob_attr *attr, size_t attr_len, blob_attr **data, const blob_attr_info *info, int max)
{
    for (int i = 0; i < max; i++)
        data[i] = nullptr;
    if (!attr || attr_len < sizeof(blob_attr) || blob_raw_len(attr) > attr_len)
        return 0;
    int found = 0;
    blob_attr *child;
    size_t rest;
    blob_for_each_attr(child, attr, rest)
    {
        const unsigned int id = blob_id(child);
        if (id >= static_cast<unsigned int>(max) || (info && !has_type(child, info[id].type)))
            continue;
        found += data[id] ? 0 : 1;
        data[id] = child;
    }
    return found;
}
