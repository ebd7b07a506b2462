// Kills a command, and all that it started, at its first system call, at its second and so on until it comes to its
// end: kill_at_call all|changes FIRST STEP COMMAND [ARGUMENT...]. With "changes" only those calls count that can change
// a file or a device; FIRST and STEP choose among them. After each time every package in /etc/config must be as before
// the command or as a whole run of it leaves it, and after another run of it the configuration, with what is saved but
// not committed, must be that of a whole run. What the modem is called and its IMEI, which are asked once, must not
// have been kept in part. Prints how many times it was killed, "enough" or "few", and every package that is another
// one.

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "tests/system/packages.h"

namespace {

pid_t start(char **command, bool traced)
{
    const pid_t child = fork();
    if (child == 0) {
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        if (traced) {
            setenv("ASAN_OPTIONS", "log_to_syslog=1:detect_leaks=0", 1); // finding leaks would trace the program itself
            ptrace(PTRACE_TRACEME);
            raise(SIGSTOP);
        }
        execvp(command[0], command);
        _exit(127);
    }
    return child;
}

bool can_change(const __ptrace_syscall_info &info)
{
    switch (info.entry.nr) {
    case SYS_openat:
        return (info.entry.args[2] & (O_WRONLY | O_RDWR | O_CREAT | O_TRUNC)) != 0;
    case SYS_write:
    case SYS_writev:
    case SYS_pwrite64:
    case SYS_sendto:
    case SYS_sendmsg:
    case SYS_fsync:
    case SYS_fdatasync:
    case SYS_ftruncate:
    case SYS_fchmod:
    case SYS_fchmodat:
    case SYS_fchown:
    case SYS_flock:
    case SYS_ioctl:
    case SYS_unlinkat:
    case SYS_mkdirat:
    case SYS_renameat2:
    case SYS_renameat:
#ifdef SYS_rename // those that newer processors do not have
    case SYS_rename:
    case SYS_unlink:
    case SYS_mkdir:
    case SYS_rmdir:
    case SYS_link:
    case SYS_chmod:
#endif
        return true;
    default:
        return false;
    }
}

/// Kills everything in front of the call of that number, from 0 on. @return false when the command had no such call
bool kill_at(char **command, bool changes_only, int number)
{
    const pid_t first = start(command, true);
    int status = 0;
    waitpid(first, &status, 0);
    ptrace(PTRACE_SETOPTIONS, first, nullptr,
           PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC |
               PTRACE_O_EXITKILL);
    ptrace(PTRACE_SYSCALL, first, nullptr, 0);
    for (pid_t traced; (traced = waitpid(-1, &status, __WALL)) > 0;) {
        if (!WIFSTOPPED(status)) {
            if (traced == first)
                return false;
            continue;
        }
        int signal = WSTOPSIG(status);
        if (signal == (SIGTRAP | 0x80)) {
            signal = 0;
            __ptrace_syscall_info info{};
            ptrace(PTRACE_GET_SYSCALL_INFO, traced, sizeof(info), &info);
            if (info.op == PTRACE_SYSCALL_INFO_ENTRY && (!changes_only || can_change(info)) && number-- == 0)
                return true;
        } else if (status >> 16 != 0 || signal == SIGSTOP) {
            signal = 0; // one of ptrace's own
        }
        ptrace(PTRACE_SYSCALL, traced, nullptr, signal);
    }
    return false;
}

const std::filesystem::path state_folder = "/tmp/modem.1-1.2";

/// What is kept for good, and taken as it stands; other files of the state folder are checked by whoever reads them.
Packages read_kept()
{
    Packages kept = read_packages(state_folder);
    std::erase_if(kept, [](const auto &file) { return file.first != "modem-name" && file.first != "modem-imei"; });
    return kept;
}

/// @return all of UCI then, with what is saved but not committed
std::string run_wholly(char **command)
{
    waitpid(start(command, false), nullptr, 0);
    kill_children();
    std::string exported;
    FILE *uci = popen("uci export", "r");
    for (int character; (character = getc(uci)) != EOF;)
        exported += static_cast<char>(character);
    pclose(uci);
    return exported;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 5)
        return 2;
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const bool changes_only = std::string_view(argv[1]) == "changes";
    const int first = atoi(argv[2]);
    const int step = atoi(argv[3]);
    char **command = argv + 4;
    const Packages before = read_packages();
    const Packages between = read_packages(packages_between);
    const std::string configuration = run_wholly(command);
    const Packages after = read_packages();
    const Packages kept = read_kept();

    int times = 0;
    for (bool killed = true; killed; times += killed) {
        const int number = first + times * step;
        restore(before);
        std::filesystem::remove_all(state_folder);
        killed = kill_at(command, changes_only, number);
        kill_children();
        for (const auto &package : read_packages())
            if (!holds(before, package) && !holds(after, package) && !holds(between, package))
                printf("killed at %d, %s is neither old nor new:\n%s", number, package.first.c_str(),
                       package.second.c_str());
        for (const auto &[name, text] : read_kept())
            if (kept.at(name) != text)
                printf("killed at %d, of %s is kept: '%s'\n", number, name.c_str(), text.c_str());
        if (const std::string now = run_wholly(command); now != configuration)
            printf("killed at %d, after the next run the configuration is:\n%s", number, now.c_str());
    }
    fprintf(stderr, "killed %d times\n", times);
    printf("%s\n", times * step >= 100 ? "enough" : "few");
}
