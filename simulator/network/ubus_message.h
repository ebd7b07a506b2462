#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <string>

extern "C" {
#include <libubox/blobmsg_json.h>
}
#include <libubus.h>

// The messages between ubusd and its clients: how they are laid out, read and answered.

namespace simulator {

inline const blob_attr_info ubus_attributes[UBUS_ATTR_MAX] = {
    {},
    {.type = BLOB_ATTR_INT32},  // status
    {.type = BLOB_ATTR_STRING}, // object path
    {.type = BLOB_ATTR_INT32},  // object id
    {.type = BLOB_ATTR_STRING}, // method
};

/// A message while it is written.
struct UbusMessage {
    explicit UbusMessage(int id = 0)
    {
        if (blob_buf_init(&buffer, id) != 0)
            throw std::bad_alloc();
    }
    UbusMessage(const UbusMessage &) = delete;
    UbusMessage &operator=(const UbusMessage &) = delete;
    ~UbusMessage() { blob_buf_free(&buffer); }
    operator blob_buf *() { return &buffer; }
    blob_buf buffer{};
};

/// Header and message as they go out.
inline std::string compose(ubus_msg_type type, uint16_t sequence, uint32_t peer, UbusMessage &message)
{
    const ubus_msghdr header{
        .version = 0, .type = static_cast<uint8_t>(type), .seq = htobe16(sequence), .peer = htobe32(peer)};
    std::string bytes(reinterpret_cast<const char *>(&header), sizeof(header));
    return bytes.append(reinterpret_cast<const char *>(message.buffer.head), blob_raw_len(message.buffer.head));
}

/// A client's message; its attributes lie in the client's input.
struct UbusRequest {
    explicit UbusRequest(const char *bytes)
    {
        ubus_msghdr header;
        memcpy(&header, bytes, sizeof(header));
        type = header.type;
        sequence = be16toh(header.seq);
        peer = be32toh(header.peer);
        auto *message = reinterpret_cast<blob_attr *>(const_cast<char *>(bytes + sizeof(header)));
        blob_parse_untrusted(message, blob_raw_len(message), found, ubus_attributes, UBUS_ATTR_MAX);
    }

    std::string reply(ubus_msg_type reply_type, UbusMessage &message) const
    {
        return compose(reply_type, sequence, peer, message);
    }

    std::string status(int code, std::optional<uint32_t> object = {}) const
    {
        UbusMessage message;
        blob_put_u32(message, UBUS_ATTR_STATUS, static_cast<uint32_t>(code));
        if (object)
            blob_put_u32(message, UBUS_ATTR_OBJID, *object);
        return reply(UBUS_MSG_STATUS, message);
    }

    const char *text(ubus_msg_attr attribute) const { return static_cast<const char *>(blob_data(found[attribute])); }

    uint8_t type;
    uint16_t sequence;
    uint32_t peer;
    blob_attr *found[UBUS_ATTR_MAX];
};

} // namespace simulator
