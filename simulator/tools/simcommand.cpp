// Replaces the router's commands in the simulated router: it reports to the router what it was started as, prints what
// the router answers and ends with the status that it was given. As sh, timeout, ps, ifup and ifdown it goes on as the
// real one; as modem_fw_flash it writes its answer into the progress file.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <span>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "simulator/router/command_socket.h"

namespace {

constexpr const char *real_shell = "/usr/libexec/simrouter/sh";
constexpr const char *real_timeout = "/usr/libexec/simrouter/timeout";
constexpr const char *real_ps = "/usr/libexec/simrouter/ps";

/// What a command does after it has been recorded.
constexpr char ifup_script[] = "ubus -S list \"network.interface.$1\" >/dev/null 2>&1 || "
                               "{ echo \"Interface $1 not found\"; exit 1; }\n"
                               "ubus call network.interface.\"$1\" down && ubus call network.interface.\"$1\" up";
constexpr char ifdown_script[] = "ubus -S list \"network.interface.$1\" >/dev/null 2>&1 || "
                                 "{ echo \"Interface $1 not found\"; exit 1; }\n"
                                 "ubus call network.interface.\"$1\" down";

/// True if the parent has given this process its own session and has gone, or is about to go.
bool is_detached(pid_t parent)
{
    return getsid(0) == parent || (parent == 1 && getsid(0) != getsid(1));
}

std::string name_of_caller()
{
    const pid_t parent = getppid();
    if (is_detached(parent))
        return "background";
    const std::string path = "/proc/" + std::to_string(parent) + "/comm";
    std::array<char, 64> name{};
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t count = file < 0 ? 0 : read(file, name.data(), name.size());
    if (file >= 0)
        close(file);
    return count > 0 ? std::string(name.data(), static_cast<size_t>(count) - 1) : std::string("?");
}

bool send_all(int socket, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
}

/// The router's answer: the status in the first byte, then the output. Empty without a router.
std::string report(std::span<char *const> arguments)
{
    std::string text = name_of_caller() + '\0';
    for (const char *argument : arguments)
        text.append(argument, strlen(argument) + 1);

    const int socket_descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = simulator::command_socket_address();
    std::string answer;
    if (connect(socket_descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
        send_all(socket_descriptor, text) && shutdown(socket_descriptor, SHUT_WR) == 0) {
        std::array<char, 4096> buffer;
        for (;;) {
            const ssize_t count = read(socket_descriptor, buffer.data(), buffer.size());
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
                break;
            answer.append(buffer.data(), static_cast<size_t>(count));
        }
    }
    close(socket_descriptor);
    return answer;
}

[[noreturn]] void become(const char *program, std::vector<const char *> arguments)
{
    arguments.push_back(nullptr);
    execv(program, const_cast<char *const *>(arguments.data()));
    fprintf(stderr, "simcommand: %s: %s\n", program, strerror(errno));
    exit(127);
}

[[noreturn]] void run_script(const char *script, std::span<char *const> arguments)
{
    if (arguments.size() < 2) {
        fprintf(stderr, "usage: %s <interface>\n", arguments[0]);
        exit(1);
    }
    become(real_shell, {"sh", "-c", script, arguments[0], arguments[1]});
}

/// Older routers take the time as "timeout -t 2 command", newer ones as "timeout 2 command": both work here.
[[noreturn]] void run_timeout(std::span<char *const> arguments)
{
    std::vector<const char *> command{"timeout"};
    const bool old_form = arguments.size() > 1 && std::string_view(arguments[1]) == "-t";
    for (const char *argument : arguments.subspan(old_form ? 2 : 1))
        command.push_back(argument);
    become(real_timeout, command);
}

/// The router's ps takes "-w" for long lines; this one prints none but long lines and does not know it.
[[noreturn]] void run_ps(std::span<char *const> arguments)
{
    std::vector<const char *> command{"ps"};
    for (const char *argument : arguments.subspan(1))
        if (std::string_view(argument) != "-w")
            command.push_back(argument);
    become(real_ps, command);
}

/// The upgrade script keeps its progress in a file: the words of its answer, one a second.
void write_progress(const std::string &words)
{
    for (size_t start = 0; (start = words.find_first_not_of(" \n", start)) != std::string::npos;) {
        const size_t end = std::min(words.find_first_of(" \n", start), words.size());
        const int file = open("/tmp/modem_upgrade_status", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (file < 0)
            return;
        dprintf(file, "%s\n", words.substr(start, end - start).c_str());
        close(file);
        sleep(1);
        start = end;
    }
}

/// A program of another processor's is handed to its runner, which goes by the program's own name.
void run_if_product(const std::string &name, std::span<char *const> arguments)
{
    const std::string product = "/usr/libexec/simrouter/product/" + name;
    const std::string runner = "/usr/libexec/simrouter/runner/" + name;
    if (access(product.c_str(), F_OK) != 0)
        return;
    std::vector<const char *> command{name.c_str(), product.c_str()};
    command.insert(command.end(), arguments.begin() + 1, arguments.end());
    become(runner.c_str(), command);
}

std::string_view base_name(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace

int main(int argc, char **argv)
{
    const std::span<char *const> arguments(argv, static_cast<size_t>(argc));
    if (arguments.empty())
        return 1;
    const std::string_view name = base_name(arguments[0]);
    const bool is_shell = name == "sh" || name == "-sh";

    if (name == "timeout")
        run_timeout(arguments);
    if (name == "ps")
        run_ps(arguments);
    run_if_product(std::string(name), arguments);
    if (is_shell) {
        if (arguments.size() > 2 && std::string_view(arguments[1]) == "-c")
            report(arguments);
        become(real_shell, {arguments.begin(), arguments.end()});
    }
    const std::string answer = report(arguments);
    if (answer.empty()) {
        fprintf(stderr, "%s: there is no simulated router here\n", arguments[0]);
        return 1;
    }
    if (name == "modem_fw_flash") {
        write_progress(answer.substr(1));
        return static_cast<unsigned char>(answer[0]);
    }
    fwrite(answer.data() + 1, 1, answer.size() - 1, stdout);
    fflush(stdout);
    if (name == "ifup" && answer[0] == 0)
        run_script(ifup_script, arguments);
    if (name == "ifdown" && answer[0] == 0)
        run_script(ifdown_script, arguments);
    return static_cast<unsigned char>(answer[0]);
}
