#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/system/harness.h"

// A machine's start takes seconds, so that each suite has one machine and walks through all of its scripts in it; its
// tests look at what came of them.

using Lines = std::vector<std::string>;

inline constexpr int status_no_machine = 77;

struct Script {
    const char *name;
    std::string text;
};

/// wait_until CONDITION waits for a state, as long as a busy machine may need. After what never comes the others have
/// less time, so that the suite ends. note TEXT says on standard error when it was, and how long nothing had to be
/// done. note_number BUS, and after it until_back BUS, wait for a modem that goes and comes back: the kernel counts its
/// devices, so that a machine too busy to see it away knows that it was.
inline constexpr const char *walk_functions = R"sh(
patience=200
now() { read -r up idle </proc/uptime; echo ${up%.*}; }
wait_until() {
    limit=$(($(now) + patience))
    until eval "$1"; do
        [ $(now) -lt $limit ] || { echo "waited in vain: $1" >&2; patience=20; return 1; }
        sleep 0.2
    done
}
note_number() { before=$(cat /sys/bus/usb/devices/$1/devnum); }
until_back() {
    there=/sys/bus/usb/devices/$1
    wait_until '[ -e $there/port ] && [ $(cat $there/devnum 2>/dev/null || echo $before) != $before ]'
}
note() { read -r up idle </proc/uptime; echo "$up s, idle $idle s: $1" >&2; }
)sh";

/// What scripts printed, in one router.
class Walk {
  public:
    Walk(const Lines &options, const std::vector<Script> &scripts)
    {
        std::string whole = walk_functions;
        for (const Script &script : scripts)
            whole += std::string("echo '== ") + script.name + "'; note '" + script.name + "'\n" + script.text + "\n";
        run_ = run_shell(options, whole + "note end\n");
        printf("%s", run_.err.c_str()); // where the time went: a test that fails shows it
    }
    bool is_missing() const { return run_.status == status_no_machine; }
    const RouterRun &run() const { return run_; }
    /// What the script of that name printed.
    std::string of(const std::string &name) const
    {
        const std::string head = "== " + name + "\n";
        const size_t start = run_.out.find(head);
        if (start == std::string::npos)
            return "(nothing of \"" + name + "\": " + run_.err + ")";
        const size_t body = start + head.size();
        const size_t end = run_.out.find("== ", body);
        return run_.out.substr(body, end == std::string::npos ? end : end - body);
    }

  private:
    RouterRun run_;
};

inline Lines with_kernel(Lines options)
{
    options.emplace_back("--kernel");
    return options;
}

/// The modems in the ports 2, 3 ... of a hub.
inline Lines in_hub(const Lines &models)
{
    Lines options;
    int port = 2;
    for (const std::string &model : models)
        options.insert(options.end(), {"--modem", model + "@1-1." + std::to_string(port++)});
    return options;
}

/// A modem of a test's own. @return its profile's path
inline std::string own_modem(const std::string &name, const std::string &profile)
{
    static const TemporaryFolder folder;
    std::string path = folder.path() + '/' + name + ".modem";
    std::ofstream(path) << profile;
    return path;
}

/// Each suite's machine, started by its first test.
template <typename Suite> const Walk &walk_of()
{
    static const Walk walk(with_kernel(Suite::options()), Suite::scripts());
    return walk;
}

template <typename Suite> class OnKernel : public testing::Test {
  protected:
    void SetUp() override
    {
        if (walk().is_missing())
            GTEST_SKIP() << walk().run().err;
        ASSERT_EQ(walk().run().status, 0) << walk().run().err;
    }
    const Walk &walk() const { return walk_of<Suite>(); }
};

/// With the programs that open a modem's session.
template <typename Suite> class OnKernelWithClients : public OnKernel<Suite> {
  protected:
    void SetUp() override
    {
        for (const char *program : {"/usr/bin/qmicli", "/usr/bin/mbimcli", "/usr/sbin/pppd"})
            if (!std::filesystem::exists(program))
                GTEST_SKIP() << program << " is missing: tools/setup.sh kernel installs it";
        OnKernel<Suite>::SetUp();
    }
};
