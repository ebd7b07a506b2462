#include <cerrno>

extern "C" {
#include <libubox/blobmsg.h>
}

namespace {

constexpr size_t name_length_size = sizeof(uint16_t);

/// Bytes of the name by the attribute. The attribute's payload has at least two bytes.
size_t name_length(const blob_attr *attr)
{
    uint16_t length;
    memcpy(&length, blob_data(attr), sizeof(length));
    return be16toh(length);
}

size_t space_for_name(size_t length)
{
    const size_t size = name_length_size + length + 1;
    return (size + BLOB_ATTR_ALIGN - 1) & ~static_cast<size_t>(BLOB_ATTR_ALIGN - 1);
}

bool name_is_whole(const blob_attr *attr)
{
    if (blob_len(attr) < name_length_size)
        return false;
    const size_t length = name_length(attr);
    return blob_len(attr) >= space_for_name(length) && attr->data[name_length_size + length] == '\0';
}

bool value_fits_type(const blob_attr *attr)
{
    const size_t length = blobmsg_data_len(attr);
    switch (blobmsg_type(attr)) {
    case BLOBMSG_TYPE_UNSPEC:
    case BLOBMSG_TYPE_ARRAY:
    case BLOBMSG_TYPE_TABLE:
        return true;
    case BLOBMSG_TYPE_STRING:
        return blobmsg_get_string(attr) != nullptr;
    case BLOBMSG_TYPE_INT8:
        return length == 1;
    case BLOBMSG_TYPE_INT16:
        return length == 2;
    case BLOBMSG_TYPE_INT32:
        return length == 4;
    case BLOBMSG_TYPE_INT64:
        return length == 8;
    case BLOBMSG_TYPE_DOUBLE:
        return length >= 8;
    default:
        return false;
    }
}

/// An attribute of that type with its name in place and payload zero bytes after it.
blob_attr *add_named(blob_buf *buf, int type, const char *name, size_t payload)
{
    if (!name)
        name = "";
    const size_t length = strlen(name);
    if (length > UINT16_MAX || payload > BLOB_ATTR_LEN_MASK)
        return nullptr;
    blob_attr *attr = blob_put(buf, type, nullptr, static_cast<unsigned int>(space_for_name(length) + payload));
    if (!attr)
        return nullptr;
    attr->id_len |= htobe32(0x80000000);
    const uint16_t length_on_wire = htobe16(static_cast<uint16_t>(length));
    memcpy(attr->data, &length_on_wire, sizeof(length_on_wire));
    memcpy(attr->data + name_length_size, name, length);
    return attr;
}

bool matches(const blobmsg_policy &policy, const blob_attr *attr)
{
    return policy.name && (policy.type == BLOBMSG_TYPE_UNSPEC || blobmsg_type(attr) == policy.type) &&
           name_length(attr) == strlen(policy.name) && strcmp(policy.name, blobmsg_name(attr)) == 0;
}

} // namespace

size_t blobmsg_name_space(const blob_attr *attr)
{
    if (!blob_is_extended(attr) || blob_len(attr) < name_length_size)
        return 0;
    const size_t space = space_for_name(name_length(attr));
    return space < blob_len(attr) ? space : blob_len(attr);
}

const char *blobmsg_name(const blob_attr *attr)
{
    return blob_is_extended(attr) && name_is_whole(attr) ? attr->data + name_length_size : "";
}

bool blobmsg_check_attr_len(const blob_attr *attr, bool name, size_t len)
{
    if (len < sizeof(blob_attr) || blob_raw_len(attr) < sizeof(blob_attr) || blob_raw_len(attr) > len)
        return false;
    if (blob_is_extended(attr) ? !name_is_whole(attr) || (name && name_length(attr) == 0) : name)
        return false;
    return value_fits_type(attr);
}

int blobmsg_parse(const blobmsg_policy *policy, int policy_len, blob_attr **tb, void *data, unsigned int len)
{
    for (int i = 0; i < policy_len; i++)
        tb[i] = nullptr;
    if (!data || len == 0)
        return -EINVAL;
    blob_attr *attr;
    size_t rest = len;
    __blob_for_each_attr(attr, data, rest)
    {
        if (!blobmsg_check_attr_len(attr, false, rest))
            return -1;
        if (!blob_is_extended(attr))
            continue;
        for (int i = 0; i < policy_len; i++)
            if (!tb[i] && matches(policy[i], attr))
                tb[i] = attr;
    }
    return 0;
}

uint64_t blobmsg_get_number(const blob_attr *attr, size_t size)
{
    if (blobmsg_data_len(attr) < size)
        return 0;
    const auto *bytes = static_cast<const uint8_t *>(blobmsg_data(attr));
    uint64_t number = 0;
    for (size_t i = 0; i < size; i++)
        number = number << 8 | bytes[i];
    return number;
}

char *blobmsg_get_string(const blob_attr *attr)
{
    const size_t length = blobmsg_data_len(attr);
    char *text = static_cast<char *>(blobmsg_data(attr));
    return length > 0 && text[length - 1] == '\0' ? text : nullptr;
}

int blobmsg_add_field(blob_buf *buf, int type, const char *name, const void *data, unsigned int len)
{
    blob_attr *attr = add_named(buf, type, name, len);
    if (!attr)
        return -1;
    if (len > 0)
        memcpy(blobmsg_data(attr), data, len);
    return 0;
}

void *blobmsg_open_nested(blob_buf *buf, const char *name, bool array)
{
    const blob_attr *parent = buf->head;
    const size_t place = static_cast<size_t>(reinterpret_cast<const char *>(parent) - static_cast<char *>(buf->buf));
    blob_attr *attr = add_named(buf, array ? BLOBMSG_TYPE_ARRAY : BLOBMSG_TYPE_TABLE, name, 0);
    if (!attr)
        return nullptr;
    buf->head = attr;
    return reinterpret_cast<void *>(place + 1); // what blob_nest_start gives
}
