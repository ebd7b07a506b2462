#include "simulator/router/sandbox.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "platform/files.h"
#include "simulator/network/status.h"

namespace simulator {

namespace {

constexpr int common_namespaces = CLONE_NEWPID | CLONE_NEWNS | CLONE_NEWIPC | CLONE_NEWUTS;

void write_map(const char *path, const std::string &text)
{
    const Fd file(open(path, O_WRONLY | O_CLOEXEC));
    if (!file || write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw NotAllowed(std::string(path) + ": " + strerror(errno));
}

Rights enter_namespaces(Network network)
{
    const int namespaces = common_namespaces | (network == Network::own ? CLONE_NEWNET : 0);
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (user == 0 && unshare(namespaces) == 0)
        return Rights::root;
    int death_signal = 0;
    prctl(PR_GET_PDEATHSIG, &death_signal);
    if (unshare(namespaces | CLONE_NEWUSER) != 0)
        throw NotAllowed(std::string("unshare: ") + strerror(errno));
    prctl(PR_SET_PDEATHSIG, death_signal); // entering a user namespace clears it
    write_map("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    write_map("/proc/self/setgroups", "deny");
    write_map("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    return Rights::user_namespace;
}

/// parent_end hangs up when the parent is gone; the parent may have died before the signal was asked for.
void die_with_parent(int parent_end)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    pollfd parent{.fd = parent_end, .events = 0, .revents = 0};
    if (poll(&parent, 1, 0) != 0)
        _exit(status_internal);
}

int wait_for(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    // The command had the terminal; taking it back must not stop this process.
    signal(SIGTTOU, SIG_IGN);
    if (isatty(STDIN_FILENO))
        tcsetpgrp(STDIN_FILENO, getpgrp());
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    fprintf(stderr, "simrouter: the simulated router was ended by signal %d\n", WTERMSIG(status));
    return status_internal;
}

} // namespace

void run_isolated(Network network, const std::function<int(Rights)> &body)
{
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    const Fd parent_end(ends[0]);
    Fd own_end(ends[1]);

    const Rights rights = enter_namespaces(network);
    fflush(nullptr);
    const pid_t child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    // _exit: the PID namespace is gone, so an exit handler that forks (LeakSanitizer) would fail.
    if (child > 0)
        _exit(wait_for(child));

    own_end = Fd();
    die_with_parent(parent_end.get());
    _exit(body(rights));
}

void drop_dangerous_rights()
{
    for (const int capability : {CAP_SYS_MODULE, CAP_SYS_TIME, CAP_SYS_BOOT, CAP_SYS_RAWIO, CAP_MKNOD, CAP_SYSLOG,
                                 CAP_MAC_ADMIN, CAP_MAC_OVERRIDE, CAP_WAKE_ALARM, CAP_AUDIT_CONTROL})
        prctl(PR_CAPBSET_DROP, capability);
}

} // namespace simulator
