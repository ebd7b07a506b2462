#include "platform/shell.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include "platform/clock.h"
#include "platform/files.h"

namespace {

constexpr size_t longest_output = size_t{1024} * 1024;

// While this lives, no SIGCHLD handler of the process can take the exit status of this child.
class ChildSignalBlocked {
  public:
    ChildSignalBlocked()
    {
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGCHLD);
        pthread_sigmask(SIG_BLOCK, &blocked, &before_);
    }
    ChildSignalBlocked(const ChildSignalBlocked &) = delete;
    ChildSignalBlocked &operator=(const ChildSignalBlocked &) = delete;
    ~ChildSignalBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_;
};

// After a fork only async-signal-safe functions are called: the process may have other threads.

// A server may ignore or block signals that shell scripts need: SIGPIPE ends the writer of a pipe, SIGTERM a command
// that runs too long. So they get their default action back. The three signals that nohup and "&" ignore on purpose
// stay as they are.
void reset_signals()
{
    for (int number = 1; number < NSIG; number++)
        if (number != SIGHUP && number != SIGINT && number != SIGQUIT)
            signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// A back end's connections and files are not the command's: one that goes on running would keep them open.
void close_descriptors_from(unsigned first)
{
#ifdef SYS_close_range
    if (syscall(SYS_close_range, first, ~0U, 0U) == 0)
        return;
#endif
    // Kernels before 5.9 have no close_range. Reading /proc/self/fd instead would need memory from the heap.
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        limit.rlim_cur = 1024;
    for (rlim_t descriptor = first; descriptor < std::min<rlim_t>(limit.rlim_cur, 1 << 20); descriptor++)
        close(static_cast<int>(descriptor));
}

// The OpenWrt package has its own programs of names that a stock OpenWrt lacks, or has with other arguments. They are
// for this program's commands only, so their folder is in no other process's path. No memory is taken from the heap.
// path becomes part of the environment.
void prefer_package_programs(TextOut path)
{
    constexpr size_t name_length = sizeof "PATH=" - 1;
    for (char **variable = environ; variable != nullptr && *variable != nullptr; variable++)
        if (strncmp(*variable, "PATH=", name_length) == 0) {
            if (path.assign("PATH=/usr/libexec/modemctl/bin:") && path.append(*variable + name_length))
                *variable = path.data();
            return;
        }
}

[[noreturn]] void become(const char *program, const char *const *words)
{
    close_descriptors_from(STDERR_FILENO + 1);
    reset_signals();
    Text<1024> path;
    prefer_package_programs(path);
    // A server may have no umask, but nobody else may write into a file that a command makes.
    umask(umask(0) | S_IWGRP | S_IWOTH);
    execvp(program, const_cast<char *const *>(words));
    _exit(127);
}

[[noreturn]] void become_shell(ShellCommand command)
{
    const char *const words[] = {"sh", "-c", command.c_str(), nullptr};
    become("/bin/sh", words);
}

void set_standard_output(int descriptor)
{
    // dup2 onto itself would leave close-on-exec set.
    if (descriptor == STDOUT_FILENO)
        fcntl(STDOUT_FILENO, F_SETFD, 0);
    else
        dup2(descriptor, STDOUT_FILENO);
}

void open_null_streams()
{
    const int null_device = open("/dev/null", O_RDWR); // 0 if all descriptors are closed
    dup2(null_device, STDIN_FILENO);
    dup2(null_device, STDOUT_FILENO);
    dup2(null_device, STDERR_FILENO);
}

// The exit status; -1 when child was killed, and when the system kept no status because the process ignores SIGCHLD.
int wait_for(pid_t child)
{
    int status = 0;
    pid_t ended = 0;
    do
        ended = waitpid(child, &status, 0);
    while (ended < 0 && errno == EINTR);
    return ended == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

constexpr int64_t endless = INT64_MAX;
constexpr int64_t short_time_ms = 5000;

// A running command with its standard output. The end of the scope reads and discards the rest of the output, because a
// command whose reader goes away would be killed halfway, and waits for the command to end.
class ShellOutput {
  public:
    // A command that must not take long has a process group of its own, to be killed with all that it has started.
    explicit ShellOutput(ShellCommand command, Duration duration)
        : end_ms_(duration == Duration::any ? endless : monotonic_ms() + short_time_ms)
    {
        int ends[2];
        if (command.empty() || pipe2(ends, O_CLOEXEC) != 0)
            return;
        output_ = Fd{ends[0]};
        const Fd input{ends[1]};
        child_ = fork();
        if (child_ == 0) {
            if (end_ms_ != endless)
                setpgid(0, 0);
            set_standard_output(input.get());
            become_shell(command);
        }
    }
    ShellOutput(const ShellOutput &) = delete;
    ShellOutput &operator=(const ShellOutput &) = delete;
    ~ShellOutput()
    {
        while (!next().empty()) {
        }
        if (started())
            wait_for(child_);
    }
    bool started() const { return child_ > 0; }

    // Kills a limited command that prints anything, or has not ended after so long.
    void allow_only_its_end(int wait_ms)
    {
        if (started() && readiness_within(wait_ms) != POLLHUP)
            end_now();
    }

    // The next piece without its zero bytes, valid until the next call; empty at the end.
    std::string_view next()
    {
        while (started()) {
            if (end_ms_ != endless && !is_ready_in_time())
                continue;
            const ssize_t got = read(output_.get(), piece_.data(), piece_.size());
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                break;
            if (const size_t kept = drop_zero_bytes(piece_.data(), static_cast<size_t>(got)); kept > 0)
                return {piece_.data(), kept};
        }
        return {};
    }

  private:
    // What the output is ready for; 0 after so long, and after a signal.
    int readiness_within(int wait_ms) const
    {
        pollfd output = {.fd = output_.get(), .events = POLLIN, .revents = 0};
        poll(&output, 1, wait_ms);
        return output.revents;
    }

    // False after a signal, and when the time is over: the command is then killed, and its output comes to an end.
    bool is_ready_in_time()
    {
        const int64_t left_ms = end_ms_ - monotonic_ms();
        if (left_ms > 0)
            return readiness_within(static_cast<int>(left_ms)) != 0;
        end_now();
        return false;
    }

    void end_now()
    {
        setpgid(child_, child_); // it may not have come so far yet
        kill(-child_, SIGKILL);
        end_ms_ = endless;
    }

    ChildSignalBlocked guard_;
    Fd output_;
    int64_t end_ms_;
    pid_t child_ = -1;
    std::array<char, 4096> piece_;
};

// The command's output up to the first ending; all of it if ending is a zero byte.
int store_output(ShellCommand command, char ending, TextOut out, Duration duration)
{
    out.clear();
    ShellOutput output{command, duration};
    if (!output.started())
        return -1;
    size_t stored = 0;
    for (std::string_view piece = output.next(); !piece.empty(); piece = output.next())
        for (const char character : piece) {
            if (character == ending || stored + 1 >= out.capacity())
                return static_cast<int>(stored);
            out.data()[stored++] = character;
        }
    return static_cast<int>(stored);
}

} // namespace

int getShellCommandReturn(ShellCommand command, TextOut out, Duration duration)
{
    return store_output(command, '\0', out, duration);
}

int getShellCommandReturnLine(ShellCommand command, TextOut out, Duration duration)
{
    return store_output(command, '\n', out, duration);
}

HeapText getShellCommandReturnDynamic(ShellCommand command, Duration duration)
{
    ShellOutput output{command, duration};
    HeapText text;
    size_t length = 0;
    while (length < longest_output) {
        const std::string_view kept = first_characters(output.next(), longest_output - length);
        if (kept.empty())
            break;
        char *const grown = static_cast<char *>(realloc(text.get(), length + kept.size() + 1));
        if (!grown)
            return nullptr;
        static_cast<void>(text.release());
        text.reset(grown);
        memcpy(grown + length, kept.data(), kept.size());
        length += kept.size();
        grown[length] = '\0';
    }
    return text;
}

int getUciReturn(const char *path, TextOut out)
{
    out.clear();
    // The quotes keep the shell from reading "@type[0]" as a file name pattern. A path with a quote is refused.
    if (strchr(path, '\''))
        return -1;
    return getShellCommandReturnLine(ShellLine<256>{"uci -q get '{}'", Piece::as_it_came(path)}, out);
}

int execCommand(ShellCommand command)
{
    if (command.empty())
        return -1;
    const ChildSignalBlocked guard;
    const pid_t child = fork();
    if (child == 0)
        become_shell(command);
    return child < 0 ? -1 : wait_for(child);
}

int run_program(const char *const *words)
{
    const ChildSignalBlocked guard;
    const pid_t child = fork();
    if (child == 0) {
        open_null_streams();
        become(words[0], words);
    }
    return child < 0 ? -1 : wait_for(child);
}

void run_for_message(ShellCommand command)
{
    constexpr int longest_ms = 1000;
    ShellOutput output{command, Duration::short_time};
    output.allow_only_its_end(longest_ms);
}

int fork_exec2(ShellCommand command)
{
    constexpr int not_started = 1;
    if (command.empty())
        return -1;
    const ChildSignalBlocked guard;
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        // The command is a grandchild, so that init collects it and not this process.
        const pid_t background = fork();
        if (background != 0)
            _exit(background > 0 ? 0 : not_started);
        close_descriptors_from(0);
        open_null_streams();
        become_shell(command);
    }
    return child < 0 || wait_for(child) == not_started ? -1 : 0;
}
