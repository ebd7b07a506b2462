#include "simulator/usb/operator_server.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

#include "platform/files.h"
#include "simulator/usb/bytes.h"
#include "simulator/usb/operator_network.h"

namespace simulator {

namespace {

constexpr uint16_t web_port = 80;
constexpr uint16_t names_port = 53;
constexpr size_t most_request = 4096;
constexpr size_t piece_bytes = 65536;

/// One for each address: a client that asks by UDP takes an answer only from the address that it asked.
Fd listening_socket(int kind, const char *address, uint16_t port)
{
    const int family = std::string_view(address).find(':') == std::string_view::npos ? AF_INET : AF_INET6;
    Fd socket_of_it(socket(family, kind | SOCK_CLOEXEC, 0));
    sockaddr_storage where{};
    where.ss_family = static_cast<sa_family_t>(family);
    socklen_t size = sizeof(sockaddr_in);
    if (family == AF_INET) {
        auto &own = reinterpret_cast<sockaddr_in &>(where);
        own.sin_port = htons(port);
        inet_pton(family, address, &own.sin_addr);
    } else {
        auto &own = reinterpret_cast<sockaddr_in6 &>(where);
        own.sin6_port = htons(port);
        inet_pton(family, address, &own.sin6_addr);
        size = sizeof own;
    }
    if (!socket_of_it || bind(socket_of_it.get(), reinterpret_cast<const sockaddr *>(&where), size) != 0 ||
        (kind == SOCK_STREAM && listen(socket_of_it.get(), 16) != 0))
        return Fd();
    return socket_of_it;
}

bool send_all(int client, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t sent = send(client, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        text.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

/// Every place of such a text is different, so that nothing can be lost or doubled unseen.
void send_numbers(int client, uint64_t bytes)
{
    std::string piece;
    for (uint64_t number = 1; bytes > 0;) {
        piece.clear();
        while (piece.size() < piece_bytes)
            piece += std::to_string(number++) + '\n';
        piece.resize(std::min<uint64_t>(piece.size(), bytes));
        if (!send_all(client, piece))
            return;
        bytes -= piece.size();
    }
}

/// "GET /1000 HTTP/1.1"
void serve_web(int client)
{
    std::string request;
    while (request.size() < most_request && request.find("\r\n\r\n") == std::string::npos) {
        std::array<char, 1024> buffer;
        const ssize_t count = recv(client, buffer.data(), buffer.size(), 0);
        if (count <= 0)
            return;
        request.append(buffer.data(), static_cast<size_t>(count));
    }
    uint64_t bytes = 0;
    constexpr std::string_view before = "GET /";
    const bool is_known =
        request.starts_with(before) &&
        std::from_chars(request.data() + before.size(), request.data() + request.size(), bytes).ec == std::errc();
    if (!is_known) {
        send_all(client, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        return;
    }
    if (send_all(client, "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nConnection: close\r\nContent-Length: " +
                             std::to_string(bytes) + "\r\n\r\n"))
        send_numbers(client, bytes);
}

void accept_web(int listening)
{
    const Fd client(accept4(listening, nullptr, nullptr, SOCK_CLOEXEC));
    if (!client || fork() != 0)
        return;
    serve_web(client.get());
    // What the client has not read yet would be lost with a close.
    shutdown(client.get(), SHUT_WR);
    std::array<char, 1024> rest;
    while (recv(client.get(), rest.data(), rest.size(), 0) > 0) {
    }
    _exit(0);
}

void answer_name(int socket_of_names)
{
    std::array<char, 1500> question;
    sockaddr_storage from{};
    socklen_t size = sizeof from;
    // The kernel may drop a datagram with a wrong checksum only now, and then nothing is there.
    const ssize_t count = recvfrom(socket_of_names, question.data(), question.size(), MSG_DONTWAIT,
                                   reinterpret_cast<sockaddr *>(&from), &size);
    const std::string answer =
        answer_name_question({question.data(), static_cast<size_t>(std::max<ssize_t>(count, 0))});
    if (!answer.empty())
        sendto(socket_of_names, answer.data(), answer.size(), 0, reinterpret_cast<const sockaddr *>(&from), size);
}

[[noreturn]] void serve(std::array<Fd, 5> sockets)
{
    std::array<pollfd, 5> waiting{};
    for (size_t i = 0; i < sockets.size(); i++)
        waiting[i] = {.fd = sockets[i].get(), .events = POLLIN, .revents = 0};
    for (;;) {
        poll(waiting.data(), waiting.size(), -1);
        for (size_t i = 0; i < waiting.size(); i++)
            if ((waiting[i].revents & POLLIN) != 0)
                i < 2 ? accept_web(waiting[i].fd) : answer_name(waiting[i].fd);
    }
}

} // namespace

std::string answer_name_question(std::string_view question)
{
    constexpr size_t head_bytes = 12;
    constexpr char is_answer = '\x80';
    // one question; its name is a row of counted labels, then an empty one, the kind and the class
    if (question.size() < head_bytes + 5 || (question[2] & is_answer) != 0 ||
        question.substr(4, 2) != std::string_view("\0\1", 2))
        return {};
    size_t end = head_bytes;
    while (end < question.size() && question[end] != 0)
        end += 1U + static_cast<uint8_t>(question[end]);
    if (end + 5 > question.size())
        return {};
    const std::string_view kind = question.substr(end + 1, 2);
    std::string address;
    if (kind == std::string_view("\0\1", 2))
        address = address_bytes(OperatorNetwork::server);
    else if (kind == std::string_view("\0\x1c", 2))
        address = address_bytes(OperatorNetwork::server6);
    const char answers = address.empty() ? 0 : 1;
    std::string text(question.substr(0, end + 5));
    text[2] = static_cast<char>(text[2] | is_answer);
    text[3] = '\x80'; // it asks others for the client
    text.replace(6, 6, std::string{0, answers, 0, 0, 0, 0});
    if (!address.empty())
        // the question's name, kind, class, 60 s
        text += std::string{'\xc0', head_bytes} + std::string(kind) +
                std::string{0, 1, 0, 0, 0, 60, 0, static_cast<char>(address.size())} + address;
    return text;
}

void start_operator_servers()
{
    std::array<Fd, 5> sockets = {listening_socket(SOCK_STREAM, OperatorNetwork::server, web_port),
                                 listening_socket(SOCK_STREAM, OperatorNetwork::server6, web_port),
                                 listening_socket(SOCK_DGRAM, OperatorNetwork::name_server, names_port),
                                 listening_socket(SOCK_DGRAM, OperatorNetwork::second_name_server, names_port),
                                 listening_socket(SOCK_DGRAM, OperatorNetwork::name_server6, names_port)};
    if (!sockets[0] || !sockets[2])
        throw std::system_error(errno, std::generic_category(), "the operator's servers");
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child > 0)
        return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(0);
    signal(SIGCHLD, SIG_IGN);
    serve(std::move(sockets));
}

} // namespace simulator
