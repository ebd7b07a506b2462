#include "simulator/network/ubus_server.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/un.h>
#include <system_error>

extern "C" {
#include <libubox/blobmsg_json.h>
}
#include <libubus.h>

#include "platform/shell.h"
#include "simulator/network/ubus_message.h"

namespace simulator {

namespace {

constexpr size_t frame_size = sizeof(ubus_msghdr) + sizeof(blob_attr);
constexpr size_t output_limit = UBUS_MAX_MSGLEN; // what a client does not fetch beyond this is dropped, as ubusd does
constexpr uint32_t first_id = 0x10000000;
static_assert(first_id > UBUS_SYSTEM_OBJECT_MAX);

[[noreturn]] void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

int64_t now_ms()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

Fd listen_at(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        errno = ENAMETOOLONG;
        fail(path);
    }
    path.copy(address.sun_path, path.size());
    if (const auto folder = std::filesystem::path(path).parent_path(); !folder.empty())
        std::filesystem::create_directories(folder);
    unlink(path.c_str());
    Fd listener{socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)};
    if (!listener || bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        chmod(path.c_str(), 0666) != 0 || listen(listener.get(), SOMAXCONN) != 0)
        fail(path);
    return listener;
}

} // namespace

UbusServer::UbusServer(const std::string &path)
    : path_(path), events_(epoll_create1(EPOLL_CLOEXEC)), listener_(listen_at(path)),
      timer_(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)), next_id_(first_id)
{
    if (!events_ || !timer_)
        fail("ubus server");
    watch(listener_.get(), EPOLLIN);
    watch(timer_.get(), EPOLLIN);
}

UbusServer::~UbusServer()
{
    unlink(path_.c_str());
}

void UbusServer::watch(int descriptor, uint32_t events)
{
    epoll_event event{.events = events, .data = {.fd = descriptor}};
    if (epoll_ctl(events_.get(), EPOLL_CTL_MOD, descriptor, &event) != 0 &&
        epoll_ctl(events_.get(), EPOLL_CTL_ADD, descriptor, &event) != 0)
        fail("ubus server");
}

void UbusServer::set_deaf(bool deaf)
{
    deaf_ = deaf;
    for (const int descriptor : {listener_.get(), timer_.get()})
        watch(descriptor, deaf ? 0U : EPOLLIN);
    for (const auto &[descriptor, client] : clients_)
        if (deaf) // poll reports a hang-up even if no events are requested
            epoll_ctl(events_.get(), EPOLL_CTL_DEL, descriptor, nullptr);
        else
            watch(descriptor, EPOLLIN | (client.output.empty() ? 0U : EPOLLOUT));
}

void UbusServer::set_silent(const std::string &object, bool silent)
{
    if (silent)
        silent_.insert(object);
    else
        silent_.erase(object);
}

void UbusServer::add_object(const std::string &name, std::vector<UbusMethod> methods, UbusHandler handler)
{
    objects_[name] = Object{next_id_++, std::move(methods), std::move(handler)};
}

void UbusServer::remove_object(const std::string &name)
{
    objects_.erase(name);
}

void UbusServer::on_ready()
{
    epoll_event events[16];
    const int count = epoll_wait(events_.get(), events, std::size(events), 0);
    for (int i = 0; i < count; i++) {
        const int descriptor = events[i].data.fd;
        if (descriptor == listener_.get())
            accept_clients();
        else if (descriptor == timer_.get())
            send_late_replies();
        else if (const auto found = clients_.find(descriptor); found != clients_.end()) {
            flush(found->second);
            read_from(found->second);
        }
    }
    drop_lost_clients();
}

void UbusServer::accept_clients()
{
    for (;;) {
        Fd socket{accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)};
        if (!socket)
            return;
        const int descriptor = socket.get();
        watch(descriptor, EPOLLIN);
        Client &client = clients_[descriptor] = Client{std::move(socket), next_id_++, {}, {}};
        UbusMessage empty;
        send(client, compose(UBUS_MSG_HELLO, 0, client.id, empty));
    }
}

void UbusServer::read_from(Client &client)
{
    char bytes[65536];
    const ssize_t length = recv(client.socket.get(), bytes, sizeof(bytes), 0);
    if (length > 0)
        client.input.append(bytes, static_cast<size_t>(length));
    else if (length == 0 || (errno != EAGAIN && errno != EINTR))
        client.lost = true;
    take_messages(client);
}

void UbusServer::take_messages(Client &client)
{
    while (!client.lost && client.input.size() >= frame_size) {
        const auto *message = reinterpret_cast<const blob_attr *>(client.input.data() + sizeof(ubus_msghdr));
        const size_t size = sizeof(ubus_msghdr) + blob_raw_len(message);
        if (blob_raw_len(message) < sizeof(blob_attr) || blob_pad_len(message) > UBUS_MAX_MSGLEN) {
            client.lost = true; // the start of the next message is not known
            return;
        }
        if (client.input.size() < size)
            return;
        const std::string bytes = client.input.substr(0, size);
        client.input.erase(0, size);
        answer(client, UbusRequest(bytes.data()), bytes);
    }
}

void UbusServer::answer(Client &client, const UbusRequest &request, const std::string &bytes)
{
    switch (request.type) {
    case UBUS_MSG_LOOKUP:
        return look_up(client, request);
    case UBUS_MSG_INVOKE:
        return invoke(client, request);
    case UBUS_MSG_ADD_OBJECT:
        return add_client_object(client, request);
    case UBUS_MSG_REMOVE_OBJECT:
        return remove_client_object(client, request);
    case UBUS_MSG_STATUS:
    case UBUS_MSG_DATA:
        return pass_back(client, request, bytes);
    default:
        send(client, request.status(UBUS_STATUS_INVALID_COMMAND));
    }
}

UbusServer::Client *UbusServer::find_client(uint32_t id)
{
    for (auto &[descriptor, client] : clients_)
        if (client.id == id)
            return &client;
    return nullptr;
}

UbusServer::Object *UbusServer::find_object(const UbusRequest &request)
{
    const uint32_t id = request.found[UBUS_ATTR_OBJID] ? blob_get_u32(request.found[UBUS_ATTR_OBJID]) : 0;
    for (auto &[name, object] : objects_)
        if (object.id == id)
            return &object;
    return nullptr;
}

// A path that is taken is refused, as ubusd refuses it.
void UbusServer::add_client_object(Client &client, const UbusRequest &request)
{
    Object object{.id = next_id_++, .methods = {}, .handler = nullptr, .owner = client.id};
    if (request.found[UBUS_ATTR_OBJPATH])
        object.path = request.text(UBUS_ATTR_OBJPATH);
    if (blob_attr *type = request.found[UBUS_ATTR_OBJTYPE]; type != nullptr && blob_len(type) == sizeof(uint32_t))
        object.type = blob_get_u32(type);
    else if (blob_attr *signature = request.found[UBUS_ATTR_SIGNATURE]; signature != nullptr) {
        object.type = object.id;
        signatures_[object.type] = {static_cast<const char *>(blob_data(signature)), blob_len(signature)};
    }
    const std::string name = object.path.empty() ? '\0' + std::to_string(object.id) : object.path;
    if (objects_.count(name) != 0)
        return send(client, request.status(UBUS_STATUS_INVALID_ARGUMENT));
    UbusMessage message;
    blob_put_u32(message, UBUS_ATTR_OBJID, object.id);
    if (object.type != 0)
        blob_put_u32(message, UBUS_ATTR_OBJTYPE, object.type);
    objects_[name] = std::move(object);
    send(client, request.reply(UBUS_MSG_DATA, message));
    send(client, request.status(UBUS_STATUS_OK));
}

void UbusServer::remove_client_object(Client &client, const UbusRequest &request)
{
    const Object *object = find_object(request);
    if (object == nullptr || object->owner != client.id)
        return send(client, request.status(object == nullptr ? UBUS_STATUS_NOT_FOUND : UBUS_STATUS_PERMISSION_DENIED));
    UbusMessage message;
    blob_put_u32(message, UBUS_ATTR_OBJID, object->id);
    std::erase_if(objects_, [&](const auto &entry) { return &entry.second == object; });
    send(client, request.reply(UBUS_MSG_DATA, message));
    send(client, request.status(UBUS_STATUS_OK));
}

// The owner gets the call under the caller's number, and answers to that.
void UbusServer::pass_on(const Object &object, const Client &client, const UbusRequest &request)
{
    UbusMessage message;
    blob_put_u32(message, UBUS_ATTR_OBJID, object.id);
    blob_put_string(message, UBUS_ATTR_METHOD, request.text(UBUS_ATTR_METHOD));
    blob_put_string(message, UBUS_ATTR_USER, "root");
    blob_put_string(message, UBUS_ATTR_GROUP, "root");
    if (blob_attr *data = request.found[UBUS_ATTR_DATA]; data != nullptr)
        blob_put(message, UBUS_ATTR_DATA, blob_data(data), blob_len(data));
    if (Client *owner = find_client(object.owner); owner != nullptr)
        send(*owner, compose(UBUS_MSG_INVOKE, request.sequence, client.id, message));
}

void UbusServer::pass_back(const Client &owner, const UbusRequest &request, std::string bytes)
{
    const Object *object = find_object(request);
    Client *caller = find_client(request.peer);
    if (object == nullptr || object->owner != owner.id || caller == nullptr)
        return;
    ubus_msghdr header;
    memcpy(&header, bytes.data(), sizeof(header));
    header.peer = htobe32(object->id);
    memcpy(bytes.data(), &header, sizeof(header));
    send_later(*caller, std::move(bytes));
}

void UbusServer::look_up(Client &client, const UbusRequest &request)
{
    std::string pattern = "*";
    if (request.found[UBUS_ATTR_OBJPATH])
        pattern = request.text(UBUS_ATTR_OBJPATH);
    if (pattern.empty()) {
        send(client, request.status(UBUS_STATUS_INVALID_ARGUMENT));
        return;
    }
    const bool prefix = pattern.back() == '*';
    if (prefix)
        pattern.pop_back();
    bool found = !request.found[UBUS_ATTR_OBJPATH];
    for (const auto &[name, object] : objects_)
        if (name.front() == '\0')
            continue;
        else if (prefix ? name.compare(0, pattern.size(), pattern) == 0 : name == pattern) {
            found = true;
            describe(client, request, name, object);
        }
    send(client, request.status(found ? UBUS_STATUS_OK : UBUS_STATUS_NOT_FOUND));
}

void UbusServer::describe(Client &client, const UbusRequest &request, const std::string &name, const Object &object)
{
    UbusMessage message;
    blob_put_string(message, UBUS_ATTR_OBJPATH, name.c_str());
    blob_put_u32(message, UBUS_ATTR_OBJID, object.id);
    blob_put_u32(message, UBUS_ATTR_OBJTYPE, object.owner == 0 ? object.id : object.type);
    if (object.owner != 0) {
        const std::string &signature = signatures_[object.type];
        blob_put(message, UBUS_ATTR_SIGNATURE, signature.data(), static_cast<unsigned>(signature.size()));
        return send(client, request.reply(UBUS_MSG_DATA, message));
    }
    void *signature = blob_nest_start(message, UBUS_ATTR_SIGNATURE);
    for (const UbusMethod &method : object.methods) {
        void *table = blobmsg_open_table(message, method.name.c_str());
        for (const auto &[argument, type] : method.arguments)
            blobmsg_add_u32(message, argument.c_str(), static_cast<uint32_t>(type));
        blobmsg_close_table(message, table);
    }
    blob_nest_end(message, signature);
    send(client, request.reply(UBUS_MSG_DATA, message));
}

void UbusServer::invoke(Client &client, const UbusRequest &request)
{
    if (!request.found[UBUS_ATTR_METHOD] || !request.found[UBUS_ATTR_OBJID]) {
        send(client, request.status(UBUS_STATUS_INVALID_ARGUMENT));
        return;
    }
    const uint32_t id = blob_get_u32(request.found[UBUS_ATTR_OBJID]);
    const std::string method = request.text(UBUS_ATTR_METHOD);
    const auto found =
        std::find_if(objects_.begin(), objects_.end(), [id](const auto &o) { return o.second.id == id; });
    if (found == objects_.end()) {
        send(client, request.status(UBUS_STATUS_NOT_FOUND));
        return;
    }
    client.lost = client.lost || dying_;
    if (dying_ || silent_.count(found->first) != 0)
        return;
    const Object object = found->second; // the handler may remove it
    if (object.owner != 0)
        return pass_on(object, client, request);
    if (std::none_of(object.methods.begin(), object.methods.end(), [&](const auto &m) { return m.name == method; })) {
        send_later(client, request.status(UBUS_STATUS_METHOD_NOT_FOUND, id));
        return;
    }
    Json arguments{json_object_new_object()};
    if (blob_attr *data = request.found[UBUS_ATTR_DATA]; data && blob_len(data) > 0) {
        const HeapText text{blobmsg_format_json(data, true)};
        arguments.reset(json_tokener_parse(text.get()));
    }
    UbusReply reply{UBUS_STATUS_INVALID_ARGUMENT};
    if (json_object_is_type(arguments.get(), json_type_object))
        reply = object.handler(method, arguments.get());
    if (reply.data) {
        UbusMessage message;
        blob_put_u32(message, UBUS_ATTR_OBJID, id);
        void *data = blob_nest_start(message, UBUS_ATTR_DATA);
        blobmsg_add_object(message, reply.data.get());
        blob_nest_end(message, data);
        send_later(client, request.reply(UBUS_MSG_DATA, message));
    }
    send_later(client, request.status(reply.status, id));
}

void UbusServer::send(Client &client, const std::string &message)
{
    if (client.output.size() + message.size() > output_limit)
        return;
    client.output += message;
    flush(client);
}

void UbusServer::flush(Client &client)
{
    while (!client.output.empty() && !client.lost) {
        const ssize_t sent = ::send(client.socket.get(), client.output.data(), client.output.size(), MSG_NOSIGNAL);
        if (sent >= 0)
            client.output.erase(0, static_cast<size_t>(sent));
        else if (errno == EAGAIN)
            break;
        else if (errno != EINTR)
            client.lost = true;
    }
    if (!deaf_)
        watch(client.socket.get(), EPOLLIN | (client.output.empty() ? 0U : EPOLLOUT));
}

void UbusServer::send_later(const Client &client, std::string message)
{
    late_replies_.emplace(now_ms() + reply_delay_ms_, LateReply{client.id, std::move(message)});
    send_late_replies();
}

/// Sends what is due and sets the timer to what is next.
void UbusServer::send_late_replies()
{
    uint64_t expirations;
    while (read(timer_.get(), &expirations, sizeof(expirations)) > 0)
        continue;
    while (!late_replies_.empty() && late_replies_.begin()->first <= now_ms()) {
        const LateReply reply = std::move(late_replies_.extract(late_replies_.begin()).mapped());
        for (auto &[descriptor, client] : clients_)
            if (client.id == reply.client)
                send(client, reply.message);
    }
    itimerspec next{};
    if (!late_replies_.empty()) {
        const int64_t at = late_replies_.begin()->first;
        next.it_value = {.tv_sec = at / 1000, .tv_nsec = static_cast<long>(at % 1000 * 1000000)};
    }
    timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &next, nullptr);
}

void UbusServer::drop_lost_clients()
{
    for (auto entry = clients_.begin(); entry != clients_.end();) {
        if (!entry->second.lost) {
            ++entry;
            continue;
        }
        const uint32_t owner = entry->second.id;
        std::erase_if(objects_, [owner](const auto &object) { return object.second.owner == owner; });
        entry = clients_.erase(entry);
    }
}

} // namespace simulator
