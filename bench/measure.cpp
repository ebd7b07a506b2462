// measure RUNS COMMAND...: runs a command RUNS times, discards its output, and prints the median of the wall time of a
// whole process in ms, the peak of its memory in KiB, and "ok" or "failed". With QEMU_GUEST_BASE in the environment
// (and a command that qemu executes) the memory is what the program itself has at its end, without qemu's own.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using FractionalMs = std::chrono::duration<double, std::milli>;

struct Run {
    double wall_ms = 0;
    long peak_kib = 0;
    bool ended_well = false;
};

/// The peak since the process executed its program: what wait4() counts has the memory of before in it.
long peak_of(const std::string &process)
{
    std::ifstream status("/proc/" + process + "/status");
    for (std::string word; status >> word;)
        if (long kib = 0; word == "VmHWM:" && status >> kib)
            return kib;
    return 0;
}

long resident_above(const std::string &process, unsigned long base)
{
    constexpr unsigned long address_space = 1UL << 32; // those of 32-bit processors; nothing of qemu's is so low
    std::ifstream maps("/proc/" + process + "/smaps");
    long total = 0;
    bool inside = false;
    for (std::string line; std::getline(maps, line);) {
        unsigned long start = 0;
        unsigned long end = 0;
        long kib = 0;
        if (sscanf(line.c_str(), "%lx-%lx ", &start, &end) == 2)
            inside = start >= base && start < base + address_space;
        else if (inside && sscanf(line.c_str(), "Rss: %ld kB", &kib) == 1)
            total += kib;
    }
    return total;
}

Run run_once(char **command)
{
    Run run;
    const auto start = Clock::now();
    const pid_t child = fork();
    if (child == 0) {
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        ptrace(PTRACE_TRACEME);
        raise(SIGSTOP);
        execvp(command[0], command);
        _exit(127);
    }
    const std::string process = std::to_string(child);
    const char *guest_base = getenv("QEMU_GUEST_BASE");
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL);
    ptrace(PTRACE_CONT, child, nullptr, 0);
    while (waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        const int event = status >> 16;
        if (event == PTRACE_EVENT_EXIT)
            run.peak_kib =
                guest_base == nullptr ? peak_of(process) : resident_above(process, strtoul(guest_base, nullptr, 0));
        ptrace(PTRACE_CONT, child, nullptr, event == 0 ? WSTOPSIG(status) : 0);
    }
    run.wall_ms = FractionalMs{Clock::now() - start}.count();
    run.ended_well = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return run;
}

} // namespace

int main(int argc, char **argv)
{
    const int runs = argc > 2 ? atoi(argv[1]) : 0;
    if (runs < 1) {
        fputs("usage: measure RUNS COMMAND...\n", stderr);
        return 2;
    }
    std::vector<double> times;
    long peak_kib = 0;
    bool ended_well = true;
    for (int i = 0; i < runs; i++) {
        const Run run = run_once(argv + 2);
        times.push_back(run.wall_ms);
        peak_kib = std::max(peak_kib, run.peak_kib);
        ended_well = ended_well && run.ended_well;
    }
    std::sort(times.begin(), times.end());
    printf("%.1f %ld %s\n", times[times.size() / 2], peak_kib, ended_well ? "ok" : "failed");
    return 0;
}
