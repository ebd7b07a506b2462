#include "simulator/router/command_server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/epoll.h>
#include <system_error>
#include <unistd.h>

#include "simulator/router/command_socket.h"

namespace simulator {

namespace {

constexpr size_t most_report_bytes = 4 << 20; // more than the kernel allows a command's arguments

bool is_plain(const std::string &argument)
{
    return !argument.empty() && std::ranges::all_of(argument, [](char character) {
        return isalnum(static_cast<unsigned char>(character)) != 0 ||
               std::string_view("%+,-./:=@_").find(character) != std::string_view::npos;
    });
}

} // namespace

std::string command_text(const std::vector<std::string> &arguments)
{
    std::string text;
    for (const std::string &argument : arguments) {
        if (!text.empty())
            text += ' ';
        if (is_plain(argument)) {
            text += argument;
            continue;
        }
        text += '\'';
        for (const char character : argument)
            text += character == '\'' ? std::string("'\\''") : std::string(1, character);
        text += '\'';
    }
    return text;
}

CommandReport parse_report(std::string_view text)
{
    std::vector<std::string> parts;
    while (!text.empty()) {
        const size_t end = text.find('\0');
        if (end == std::string_view::npos)
            return {};
        parts.emplace_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    if (parts.empty())
        return {};
    return {parts.front(), {parts.begin() + 1, parts.end()}};
}

CommandServer::CommandServer(EventLoop &loop, Handler handler)
    : loop_(loop), handler_(std::move(handler)),
      listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    const sockaddr_un address = command_socket_address();
    if (!listener_ || bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener_.get(), SOMAXCONN) != 0)
        throw std::system_error(errno, std::generic_category(), "socket of recorded commands");
    loop_.watch(listener_.get(), EPOLLIN, [this](uint32_t) { accept_clients(); });
}

CommandServer::~CommandServer()
{
    for (const auto &[descriptor, client] : clients_)
        loop_.unwatch(descriptor);
    loop_.unwatch(listener_.get());
}

void CommandServer::accept_clients()
{
    for (;;) {
        Fd socket(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket)
            return;
        const int descriptor = socket.get();
        clients_[descriptor] = std::make_unique<Client>(Client{std::move(socket), {}, {}});
        loop_.watch(descriptor, EPOLLIN, [this, descriptor](uint32_t) { on_client(descriptor); });
    }
}

/// The client ends its side when the report is whole; then the answer goes out, as fast as it takes it.
void CommandServer::on_client(int descriptor)
{
    Client &client = *clients_.at(descriptor);
    if (client.output.empty()) {
        std::array<char, 16384> buffer;
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (count > 0 && client.input.size() < most_report_bytes) {
            client.input.append(buffer.data(), static_cast<size_t>(count));
            return;
        }
        if (count == 0)
            answer(client);
    }
    while (!client.output.empty()) {
        const ssize_t written = ::send(descriptor, client.output.data(), client.output.size(), MSG_NOSIGNAL);
        if (written < 0 && errno == EAGAIN)
            return;
        if (written <= 0)
            break;
        client.output.erase(0, static_cast<size_t>(written));
    }
    loop_.unwatch(descriptor);
    clients_.erase(descriptor);
}

void CommandServer::answer(Client &client)
{
    const CommandReport report = parse_report(client.input);
    client.output = report.arguments.empty() ? std::string(1, '\1') : handler_(report);
    loop_.watch(client.socket.get(), EPOLLOUT,
                [this, descriptor = client.socket.get()](uint32_t) { on_client(descriptor); });
}

} // namespace simulator
