#include "simulator/network/protocol_handlers.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <sys/epoll.h>
#include <system_error>
#include <unistd.h>

#include "simulator/network/protocol_scripts.h"

namespace simulator {

namespace {

struct Pipe {
    Fd reader;
    Fd writer;
};

Pipe make_pipe()
{
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    return {Fd(ends[0]), Fd(ends[1])};
}

/// busybox itself: the router's sh would write it into the journal.
[[noreturn]] void become_shell(const std::string &script, const Fd &input, const Fd &output)
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    setsid();
    dup2(input.get(), STDIN_FILENO);
    dup2(output.get(), STDOUT_FILENO);
    dup2(output.get(), STDERR_FILENO);
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
    execlp("busybox", "busybox", "sh", "-c", script.c_str(), nullptr);
    _exit(127);
}

/// "up DEVICE ADDRESS MASK GATEWAY NAME_SERVER..."
HandlerReport parse_up(std::istringstream words)
{
    HandlerReport report{.kind = HandlerReport::Kind::up};
    words >> report.device >> report.address >> report.mask >> report.gateway;
    for (std::string server; words >> server;)
        report.dns.push_back(server);
    return report;
}

} // namespace

ProtocolHandlers::~ProtocolHandlers()
{
    for (const auto &[interface, handler] : handlers_)
        loop_.unwatch(handler.output.get());
}

bool ProtocolHandlers::start(const InterfaceSection &section, const std::string &device)
{
    const std::string script = protocol_script(section, device);
    if (script.empty() || is_ending_)
        return false;
    if (const auto last = handlers_.find(section.name); last != handlers_.end())
        last->second.next = script;
    else
        run(section.name, script);
    return true;
}

void ProtocolHandlers::stop(const std::string &interface)
{
    if (const auto found = handlers_.find(interface); found != handlers_.end()) {
        found->second.input = Fd();
        found->second.next.clear();
    }
}

void ProtocolHandlers::end()
{
    is_ending_ = true;
    for (const auto &[interface, handler] : handlers_)
        stop(interface);
}

void ProtocolHandlers::run(const std::string &interface, const std::string &script)
{
    Pipe input = make_pipe();
    Pipe output = make_pipe();
    fflush(nullptr);
    const pid_t child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0)
        become_shell(script, input.reader, output.writer);
    const int descriptor = output.reader.get();
    handlers_[interface] = {.input = std::move(input.writer), .output = std::move(output.reader)};
    loop_.watch(descriptor, EPOLLIN, [this, interface](uint32_t) { on_output(interface); });
}

void ProtocolHandlers::on_output(const std::string &interface)
{
    std::array<char, 4096> buffer;
    Handler &handler = handlers_.at(interface);
    const ssize_t count = read(handler.output.get(), buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR)
        return;
    if (count <= 0)
        return on_end(interface);
    handler.line.append(buffer.data(), static_cast<size_t>(count));
    for (size_t end = 0; (end = handler.line.find('\n')) != std::string::npos;) {
        const std::string line = handler.line.substr(0, end);
        handler.line.erase(0, end + 1);
        on_line(interface, line);
    }
}

void ProtocolHandlers::on_line(const std::string &interface, const std::string &line)
{
    std::istringstream words(line);
    std::string first;
    words >> first;
    if (first != "up" && first != "error")
        return ears_.log(interface + ": " + line);
    if (!handlers_.at(interface).input)
        return; // nobody waits for it any more
    if (first == "up")
        return ears_.report(interface, parse_up(std::move(words)));
    HandlerReport report{.kind = HandlerReport::Kind::failed};
    words >> report.error;
    ears_.report(interface, report);
}

void ProtocolHandlers::on_end(const std::string &interface)
{
    const auto found = handlers_.find(interface);
    loop_.unwatch(found->second.output.get());
    const std::string next = found->second.next;
    const bool was_stopped = !found->second.input;
    handlers_.erase(found);
    if (!next.empty())
        run(interface, next);
    else if (!was_stopped)
        ears_.report(interface, {.kind = HandlerReport::Kind::ended});
}

} // namespace simulator
