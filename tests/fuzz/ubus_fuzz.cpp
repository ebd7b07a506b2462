// What ubusd sends: bytes of any kind, or messages of any content in the right frames, as answers to a lookup and a
// call; and JSON texts on their way into messages and back.

#include <algorithm>
#include <cstdint>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}

#include "platform/files.h"
#include "platform/ubus.h"
#include "tests/fuzz/check.h"

namespace {

/// A message for each two bytes of type and length with that many more: header and outer attribute are as ubusd has
/// them.
std::string frame(std::string_view input, uint16_t seq, uint32_t peer)
{
    std::string messages;
    while (input.size() >= 2) {
        const size_t length = std::min<size_t>(static_cast<uint8_t>(input[1]), input.size() - 2);
        const ubus_msghdr header = {
            .version = 0, .type = static_cast<uint8_t>(input[0] % 12), .seq = htobe16(seq), .peer = htobe32(peer)};
        const blob_attr outer = {.id_len = htobe32(static_cast<uint32_t>(sizeof(blob_attr) + length))};
        messages.append(reinterpret_cast<const char *>(&header), sizeof(header));
        messages.append(reinterpret_cast<const char *>(&outer), sizeof(outer));
        messages += input.substr(2, length);
        input.remove_prefix(2 + length);
    }
    return messages;
}

class Connection {
  public:
    /// Everything has been sent already, and then ubusd closes.
    explicit Connection(std::string_view sent)
    {
        int pair[2] = {-1, -1};
        check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair) == 0, "there are sockets");
        context_.sock.fd = pair[0];
        ubusd_ = Fd{pair[1]};
        context_.received = static_cast<char *>(malloc(sizeof(ubus_msghdr) + UBUS_MAX_MSGLEN));
        check(send(ubusd_.get(), sent.data(), sent.size(), 0) == static_cast<ssize_t>(sent.size()), "it has room");
        shutdown(ubusd_.get(), SHUT_WR);
    }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection()
    {
        close(context_.sock.fd);
        free(context_.received);
    }
    ubus_context *get() { return &context_; }

  private:
    ubus_context context_{};
    Fd ubusd_;
};

void try_answers(std::string_view for_lookup, std::string_view for_call)
{
    Connection lookup(for_lookup);
    uint32_t id = 0;
    ubus_lookup_id(lookup.get(), "network.interface.modem_1_1_2", &id);

    Connection call(for_call);
    Json reply;
    blob_buf arguments{};
    blob_buf_init(&arguments, 0);
    const int code = ubus_invoke(call.get(), 7, "status", arguments.head, receive_call_result_data, &reply, 1000);
    check(code != 0 || !call.get()->sock.eof, "a call on a connection that was lost has not succeeded");
    check(reply == nullptr || is_document(reply.get()), "an answer is JSON");
    blob_buf_free(&arguments);
}

/// @return what a message made of the text prints; empty where the text makes none
std::string through_message(const std::string &text)
{
    blob_buf message{};
    blob_buf_init(&message, 0);
    std::string printed;
    if (blobmsg_add_json_from_string(&message, text.c_str())) {
        const HeapText json{blobmsg_format_json(message.head, true)};
        check(json != nullptr, "a message prints");
        printed = json.get();
    }
    blob_buf_free(&message);
    return printed;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const std::string input(reinterpret_cast<const char *>(bytes), size);
    if (size == 0)
        return 0;
    const std::string rest = input.substr(1);
    if (input[0] == 'r')
        try_answers(rest, rest);
    else if (input[0] == 'j') {
        const std::string printed = through_message(rest);
        // A member without a name prints its value only, of the real library too, which is no JSON.
        if (const Json value{json_tokener_parse(printed.c_str())}; value != nullptr)
            check(through_message(printed) == printed, "what a message prints makes the same message");
    } else
        try_answers(frame(rest, 1, 0), frame(rest, 1, 7));
    return 0;
}
