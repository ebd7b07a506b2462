#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "host/libubus/request.h"

namespace {

constexpr char default_path[] = "/var/run/ubus/ubus.sock";
constexpr size_t frame_size = sizeof(ubus_msghdr) + sizeof(blob_attr);
constexpr size_t room_for_message = sizeof(ubus_msghdr) + UBUS_MAX_MSGLEN;

int64_t now_ms()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

/// When to give up; never if the timeout was 0.
class Deadline {
  public:
    explicit Deadline(int timeout_ms) : at_(timeout_ms == 0 ? INT64_MAX : now_ms() + timeout_ms) {}
    bool passed() const { return now_ms() >= at_; }
    /// Waits for events, at most until the deadline.
    void wait(int descriptor, short events) const
    {
        pollfd entry{.fd = descriptor, .events = events, .revents = 0};
        const int64_t left = at_ - now_ms();
        poll(&entry, 1, at_ == INT64_MAX ? -1 : left < 0 ? 0 : static_cast<int>(left));
    }

  private:
    int64_t at_;
};

blob_attr *received_message(const ubus_context *ctx)
{
    return reinterpret_cast<blob_attr *>(ctx->received + sizeof(ubus_msghdr));
}

/// Bytes of the current message, its header included, as far as they are known. 0 for a message that no ubusd sends.
size_t expected_length(const ubus_context *ctx)
{
    if (ctx->received_length < frame_size)
        return frame_size;
    const blob_attr *message = received_message(ctx);
    const uint8_t version = static_cast<uint8_t>(ctx->received[0]);
    if (version != 0 || blob_raw_len(message) < sizeof(blob_attr) || blob_pad_len(message) > UBUS_MAX_MSGLEN)
        return 0;
    return sizeof(ubus_msghdr) + blob_raw_len(message);
}

enum class Received { message, partly, lost };

/// Takes what is there of the message under way, no byte of the next one.
Received receive(ubus_context *ctx)
{
    for (;;) {
        const size_t expected = expected_length(ctx);
        if (expected == 0)
            return Received::lost;
        if (ctx->received_length >= frame_size && ctx->received_length == expected)
            return Received::message;
        const ssize_t length =
            recv(ctx->sock.fd, ctx->received + ctx->received_length, expected - ctx->received_length, MSG_DONTWAIT);
        if (length > 0)
            ctx->received_length += static_cast<size_t>(length);
        else if (length < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return Received::partly;
        else if (length == 0 || errno != EINTR)
            return Received::lost;
    }
}

ubus_msghdr take_header(ubus_context *ctx)
{
    ubus_msghdr header;
    memcpy(&header, ctx->received, sizeof(header));
    header.seq = be16toh(header.seq);
    header.peer = be32toh(header.peer);
    return header;
}

/// The deadline counts for waiting only: what the socket takes at once is sent, however late it is.
/// @return false when not all of it went out
bool send_all(int descriptor, const char *bytes, size_t length, const Deadline &deadline)
{
    while (length > 0) {
        const ssize_t sent = send(descriptor, bytes, length, MSG_NOSIGNAL);
        if (sent >= 0) {
            bytes += sent;
            length -= static_cast<size_t>(sent);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (deadline.passed())
                return false;
            deadline.wait(descriptor, POLLOUT);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

bool send_message(const ubus_context *ctx, const ubus_request &request, ubus_msg_type type, const blob_attr *message,
                  const Deadline &deadline)
{
    const ubus_msghdr header = {
        .version = 0,
        .type = static_cast<uint8_t>(type),
        .seq = htobe16(request.seq),
        .peer = htobe32(request.peer),
    };
    if (blob_pad_len(message) > UBUS_MAX_MSGLEN)
        return false;
    return send_all(ctx->sock.fd, reinterpret_cast<const char *>(&header), sizeof(header), deadline) &&
           send_all(ctx->sock.fd, reinterpret_cast<const char *>(message), blob_raw_len(message), deadline);
}

void take_answer(ubus_context *ctx, ubus_request &request)
{
    const ubus_msghdr header = take_header(ctx);
    blob_attr *message = received_message(ctx);
    if (header.seq != request.seq || header.peer != request.peer)
        return;
    if (header.type == UBUS_MSG_STATUS) {
        request.status_code = status_of(message);
        request.status_msg = true;
    } else if (header.type == UBUS_MSG_DATA) {
        if (request.raw_data_cb)
            request.raw_data_cb(&request, header.type, message);
        if (blob_attr *data = request.data_cb ? data_of(message) : nullptr)
            request.data_cb(&request, header.type, data);
    }
}

int open_connection(const char *path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(address.sun_path, path, strlen(path));
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return -1;
    if (connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        const int connect_errno = errno;
        close(descriptor);
        errno = connect_errno;
        return -1;
    }
    return descriptor;
}

/// Waits for ubusd's first message, which contains this client's number.
bool receive_hello(ubus_context *ctx)
{
    Received result;
    while ((result = receive(ctx)) == Received::partly)
        Deadline(0).wait(ctx->sock.fd, POLLIN);
    const ubus_msghdr header = take_header(ctx);
    ctx->received_length = 0;
    ctx->local_id = header.peer;
    return result == Received::message && header.type == UBUS_MSG_HELLO && header.peer > 1;
}

} // namespace

int run_request(ubus_context *ctx, ubus_request &request, ubus_msg_type type, const blob_attr *message, int timeout)
{
    if (ctx->sock.eof)
        return UBUS_STATUS_INVALID_ARGUMENT;
    if (timeout < 0)
        return UBUS_STATUS_TIMEOUT;
    request.ctx = ctx;
    request.seq = ++ctx->request_seq;
    const Deadline deadline(timeout);
    if (!send_message(ctx, request, type, message, deadline)) {
        ctx->sock.eof = true; // a part of a message may have been sent, so the next one could not be read
        return deadline.passed() ? UBUS_STATUS_TIMEOUT : UBUS_STATUS_INVALID_ARGUMENT;
    }
    while (!deadline.passed()) {
        const Received result = receive(ctx);
        if (result == Received::lost) {
            ctx->sock.eof = true;
            return UBUS_STATUS_CONNECTION_FAILED;
        }
        if (result == Received::partly) {
            deadline.wait(ctx->sock.fd, POLLIN);
            continue;
        }
        take_answer(ctx, request);
        ctx->received_length = 0;
        if (request.status_msg)
            return request.status_code;
    }
    return UBUS_STATUS_TIMEOUT;
}

ubus_context *ubus_connect(const char *path)
{
    uloop_init();
    auto *ctx = static_cast<ubus_context *>(calloc(1, sizeof(ubus_context)));
    if (!ctx)
        return nullptr;
    ctx->received = static_cast<char *>(calloc(1, room_for_message));
    ctx->sock.fd = open_connection(path ? path : default_path);
    if (ctx->received && ctx->sock.fd >= 0 && receive_hello(ctx)) {
        fcntl(ctx->sock.fd, F_SETFL, fcntl(ctx->sock.fd, F_GETFL) | O_NONBLOCK);
        return ctx;
    }
    const int connect_errno = errno;
    ubus_free(ctx);
    errno = connect_errno;
    return nullptr;
}

void ubus_free(ubus_context *ctx)
{
    if (!ctx)
        return;
    if (ctx->sock.fd >= 0)
        close(ctx->sock.fd);
    free(ctx->received);
    free(ctx);
}
