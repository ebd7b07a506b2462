#include "simulator/router/router.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <net/if.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "simulator/network/status.h"

namespace simulator {

namespace {

constexpr int most_last_rounds = 100;
/// Where a processor has no help with virtual machines and much else to do, seconds become minutes.
constexpr int64_t longest_plugging_ms = 120000;

/// SIGCHLD comes as a descriptor to the loop.
Fd watch_children()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return Fd(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

void prepare_system()
{
    constexpr std::string_view name = "OpenWrt";
    if (sethostname(name.data(), name.size()) != 0)
        throw std::system_error(errno, std::generic_category(), "sethostname");
    const Fd any(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq loopback{};
    strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP;
    if (ioctl(any.get(), SIOCSIFFLAGS, &loopback) != 0)
        throw std::system_error(errno, std::generic_category(), "lo");
}

/// The command gets its own process group, so that "kill 0" reaches no process outside, and the terminal if this
/// process had it.
void take_own_group()
{
    const bool has_terminal = isatty(STDIN_FILENO) && tcgetpgrp(STDIN_FILENO) == getpgrp();
    setpgid(0, 0);
    if (!has_terminal)
        return;
    signal(SIGTTOU, SIG_IGN);
    tcsetpgrp(STDIN_FILENO, getpgrp());
    signal(SIGTTOU, SIG_DFL);
}

[[noreturn]] void become_command(const std::vector<std::string> &command)
{
    std::vector<char *> arguments;
    for (const std::string &argument : command)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int error = errno;
    fprintf(stderr, "simrouter: %s: %s\n", arguments[0], strerror(error));
    _exit(error == ENOENT ? status_not_found : status_not_executable);
}

void greet(const std::list<PluggedModem> &modems)
{
    printf("A simulated router: everything in it ends with this shell. \"exit\" leaves it.\n");
    for (const PluggedModem &modem : modems)
        printf("  %s on bus %s: modemctl %s signal\n", modem.modem().profile().model.c_str(), modem.bus().c_str(),
               modem.bus().c_str());
    fflush(stdout);
}

} // namespace

Router::Router(const Options &options, std::vector<Modem> modems, RunFiles files, Rights rights)
    : options_(options), rights_(rights),
      files_(std::move(files)), terminal_parts_{loop_, names_, sysfs_,
                                                [this](const std::string &name, bool present) {
                                                    network_->set_device(name, present);
                                                },
                                                [this] { network_->check_devices(); }},
      parts_{loop_, files_.journal, files_.log,
             [this](const std::string &bus, const Profile &profile, Plug::Received received) {
                 return make_plug(bus, profile, std::move(received));
             },
             operators_demand(options)},
      commands_(loop_, [this](const CommandReport &report) { return on_command(report); }),
      child_signals_(watch_children())
{
    prepare_system();
    if (rights_ == Rights::user_namespace)
        exclusive_terminals_.emplace(loop_);
    syslog_.emplace(loop_, files_.journal);
    network_.emplace(loop_, files_.journal, options, [this](const std::string &device) { return find_modem(device); });
    if (options.kernel)
        usb_port_.emplace(loop_, std::move(files_.usb_devices), operators_demand(options),
                          [this] { network_->check_devices(); });
    else
        sysfs_.build(options.extra_folders);
    for (size_t i = 0; i < modems.size(); i++)
        modems_.emplace_back(parts_, options.modems[i].bus, std::move(modems[i]));
    wait_for_devices();
    network_->check_modems();
    loop_.watch(child_signals_.get(), EPOLLIN, [this](uint32_t) { collect_children(); });
}

std::unique_ptr<Plug> Router::make_plug(const std::string &bus, const Profile &profile, Plug::Received received)
{
    if (usb_port_)
        return std::make_unique<UsbPlug>(*usb_port_, bus, profile, std::move(received));
    return std::make_unique<TerminalPlug>(terminal_parts_, bus, profile, std::move(received));
}

/// A kernel takes its time to find a device and to choose drivers.
void Router::wait_for_devices()
{
    const int64_t deadline = EventLoop::now_ms() + longest_plugging_ms;
    while (!std::ranges::all_of(modems_, &PluggedModem::is_plugged)) {
        if (EventLoop::now_ms() > deadline) {
            std::string what = "the kernel's drivers have made no device of";
            for (const PluggedModem &modem : modems_)
                if (!modem.is_plugged())
                    what += ' ' + modem.modem().profile().name + " on bus " + modem.bus() + ", interface" +
                            modem.missing() + ';';
            throw std::runtime_error(what);
        }
        loop_.run_once(100);
    }
}

const PluggedModem *Router::find_modem(const std::string &device) const
{
    for (const PluggedModem &plugged : modems_)
        if (plugged.has_device(device))
            return &plugged;
    return nullptr;
}

int Router::run(const std::string &folder)
{
    command_ = start_command(folder);
    loop_.run();
    // The command's last actions are still written to the journal.
    for (int round = 0; round < most_last_rounds && loop_.run_once(0); round++) {
    }
    write_coverage();
    return final_status();
}

pid_t Router::start_command(const std::string &folder)
{
    std::vector<std::string> command = options_.command;
    if (command.empty()) {
        command = {"/bin/sh"};
        setenv("PS1", "root@OpenWrt:\\w# ", 1);
        if (isatty(STDOUT_FILENO))
            greet(modems_);
    }
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
    fflush(nullptr);
    const pid_t child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child > 0)
        return child;

    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    take_own_group();
    if (chdir(folder.c_str()) != 0 && chdir("/") != 0)
        _exit(status_internal);
    if (rights_ == Rights::root)
        drop_dangerous_rights();
    become_command(command);
}

/// As the first process of the namespace the router inherits every orphan in it.
void Router::collect_children()
{
    signalfd_siginfo info;
    while (read(child_signals_.get(), &info, sizeof info) > 0) {
    }
    int status = 0;
    pid_t child;
    while ((child = waitpid(-1, &status, WNOHANG | WUNTRACED)) > 0) {
        if (WIFSTOPPED(status)) {
            // There is no shell around it that could wake it again.
            if (child == command_)
                kill(-child, SIGCONT);
        } else if (child == command_) {
            command_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            network_->end_sessions(); // nothing that --wait waits for
        }
    }
    const bool none_left = child < 0 && errno == ECHILD;
    if (command_status_ && (none_left || !options_.wait))
        loop_.stop();
}

std::string Router::on_command(const CommandReport &report)
{
    if (report.arguments[0] == "sh" || report.arguments[0].ends_with("/sh") || report.arguments[0] == "-sh") {
        files_.journal.add("shell", report.caller, report.arguments.size() > 2 ? report.arguments[2] : "");
        return std::string(1, '\0');
    }
    const std::string text = command_text(report.arguments);
    files_.journal.add("run", report.caller, text);
    const Answer *answer = find_answer(options_.answers, text);
    if (answer == nullptr)
        return std::string(1, '\0');
    return static_cast<char>(answer->status) + answer->output + (answer->output.empty() ? "" : "\n");
}

/// "used|unused <profile> <file>:<line> <command>", "missing <profile> - <command>".
void Router::write_coverage()
{
    if (!files_.coverage)
        return;
    for (const PluggedModem &plugged : modems_) {
        const Modem &modem = plugged.modem();
        const Profile &profile = modem.profile();
        for (size_t i = 0; i < profile.rows.size(); i++) {
            const Row &row = profile.rows[i];
            files_.coverage.write((modem.row_uses()[i] > 0 ? "used " : "unused ") + profile.name + ' ' + row.file +
                                  ':' + std::to_string(row.line) + ' ' + one_line(row.command.text()));
        }
        for (const UnknownCommand &unknown : modem.unknown_commands())
            files_.coverage.write("missing " + profile.name + " - " + one_line(unknown.command));
    }
}

int Router::final_status() const
{
    int status = command_status_.value_or(status_internal);
    if (!options_.strict)
        return status;
    for (const PluggedModem &plugged : modems_)
        for (const UnknownCommand &unknown : plugged.modem().unknown_commands()) {
            fprintf(stderr, "simrouter: %s lacks %s\n", plugged.modem().profile().name.c_str(),
                    one_line(unknown.command).c_str());
            status = status_missing_command;
        }
    return status;
}

} // namespace simulator
