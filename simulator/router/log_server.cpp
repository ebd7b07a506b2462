#include "simulator/router/log_server.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace simulator {

namespace {

constexpr char log_path[] = "/dev/log";
constexpr std::array priorities = {"emerg", "alert", "crit", "err", "warning", "notice", "info", "debug"};

void check_call(int result, const char *what)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

LogLine parse_log_line(std::string_view datagram)
{
    while (!datagram.empty() && (datagram.back() == '\0' || datagram.back() == '\n'))
        datagram.remove_suffix(1);
    constexpr size_t date_length = sizeof "Nov 21 01:10:51 " - 1;
    size_t priority = 0;
    const char *const end = datagram.data() + datagram.size();
    if (!datagram.starts_with('<'))
        return {};
    const auto [behind, error] = std::from_chars(datagram.data() + 1, end, priority);
    const auto who_at = static_cast<size_t>(behind - datagram.data()) + 1 + date_length;
    const size_t colon = datagram.find(": ", who_at);
    if (error != std::errc{} || colon == std::string_view::npos || *behind != '>')
        return {};
    const std::string_view tag = datagram.substr(who_at, colon - who_at);
    return {std::string(tag.substr(0, tag.find('['))),
            priorities[priority % priorities.size()] + (" " + std::string(datagram.substr(colon + 2)))};
}

LogServer::LogServer(EventLoop &loop, Journal &journal)
    : journal_(journal), socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    check_call(socket_.get(), "syslog socket");
    unlink(log_path);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::string_view{log_path}.copy(address.sun_path, sizeof address.sun_path - 1);
    check_call(bind(socket_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), log_path);
    check_call(chmod(log_path, 0666), log_path);
    loop.watch(socket_.get(), EPOLLIN, [this](uint32_t) { read_lines(); });
}

void LogServer::read_lines()
{
    std::array<char, 8192> datagram;
    ssize_t length;
    while ((length = recv(socket_.get(), datagram.data(), datagram.size(), 0)) >= 0) {
        const LogLine line = parse_log_line({datagram.data(), static_cast<size_t>(length)});
        journal_.add("syslog", line.who, line.text);
    }
}

} // namespace simulator
