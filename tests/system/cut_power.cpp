// Cuts the router's power again and again while a command changes the configuration: cut_power TIMES SEED COMMAND
// [ARGUMENT...]. After each time everything in /etc/config must be as it was before the command or as a whole run of it
// leaves it, or for a moment as in /tmp/between where that folder is there. Prints for each package which of the first
// two was seen, and whatever else was.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>

#include "tests/system/packages.h"

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::microseconds;
pid_t start(char **command)
{
    const pid_t child = fork();
    if (child == 0) {
        freopen("/dev/null", "w", stdout);
        execvp(command[0], command);
        _exit(127);
    }
    return child;
}

struct WholeRun {
    Packages after;
    Microseconds duration; ///< until nothing changes any more
};

WholeRun run_wholly(char **command)
{
    const Clock::time_point begin = Clock::now();
    const pid_t child = start(command);
    WholeRun run{read_packages(), {}};
    while (waitpid(child, nullptr, WNOHANG) == 0) {
        if (Packages now = read_packages(); now != run.after)
            run = {std::move(now), std::chrono::duration_cast<Microseconds>(Clock::now() - begin)};
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    run.after = read_packages();
    kill_children();
    return run;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 4)
        return 2;
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const int times = atoi(argv[1]);
    std::mt19937 random(static_cast<unsigned>(atoi(argv[2])));
    const Packages before = read_packages();
    const Packages between = read_packages(packages_between);
    const auto [after, duration] = run_wholly(argv + 3);
    std::uniform_int_distribution<int64_t> moment(0, duration.count() * 6 / 5);

    std::map<std::string, std::set<std::string>> seen;
    for (int i = 0; i < times; i++) {
        restore(before);
        const pid_t child = start(argv + 3);
        // At once first, and at last only when all is done, so that both states are seen for sure.
        if (i + 1 == times)
            waitpid(child, nullptr, 0);
        else if (i > 0)
            std::this_thread::sleep_for(Microseconds(moment(random)));
        kill_children();
        for (const auto &package : read_packages())
            seen[package.first].insert(holds(before, package)    ? "1 old"
                                       : holds(after, package)   ? "2 new"
                                       : holds(between, package) ? "3"
                                                                 : "4 neither:\n" + package.second);
    }
    for (const auto &[name, states] : seen) {
        printf("%s", name.c_str());
        for (const std::string &state : states)
            printf("%s", state.c_str() + 1);
        printf("\n");
    }
}
