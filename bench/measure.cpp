// Runs commands inside a simulated router and prints a table row for each: whole-process wall time and peak memory.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using FractionalMs = std::chrono::duration<double, std::milli>;

struct Run {
    double wall_ms;
    long peak_kib;
    bool ended_well;
};

Run run_once(const char *command)
{
    const auto start = Clock::now();
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        // exec: the row is the command's own, without a shell around it.
        execl("/bin/bash", "bash", "-c", (std::string{"exec "} + command).c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    return {FractionalMs{Clock::now() - start}.count(), usage.ru_maxrss, WIFEXITED(status) && WEXITSTATUS(status) == 0};
}

void print_row(const char *name, const char *command, double prescribed_ms, int runs)
{
    std::vector<double> times;
    long peak_kib = 0;
    bool ended_well = true;
    for (int i = 0; i < runs; i++) {
        const Run run = run_once(command);
        times.push_back(run.wall_ms);
        peak_kib = std::max(peak_kib, run.peak_kib);
        ended_well = ended_well && run.ended_well;
    }
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];
    printf("%-34s %9.1f %9.1f %9.1f %11ld%s\n", name, times.front(), median, median - prescribed_ms, peak_kib,
           ended_well ? "" : "  (failed)");
    fflush(stdout);
}

} // namespace

// Arguments: runs, then name, command and prescribed waits in ms, three words a row.
int main(int argc, char **argv)
{
    const int runs = argc > 1 ? atoi(argv[1]) : 0;
    if (runs < 1 || (argc - 2) % 3 != 0) {
        fputs("usage: measure RUNS [NAME COMMAND PRESCRIBED_MS]...\n", stderr);
        return 2;
    }
    printf("%-34s %9s %9s %9s %11s\n", "command", "min ms", "median ms", "own ms", "peak KiB");
    for (int i = 2; i < argc; i += 3)
        print_row(argv[i], argv[i + 1], atof(argv[i + 2]), runs);
    return 0;
}
