#pragma once

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

/// What scripts printed, in one router.
class Walk {
  public:
    Walk(const Lines &options, const std::vector<Script> &scripts)
    {
        // What never comes must not take the whole machine's time.
        std::string whole = "wait_until() { tries=0; until eval \"$1\" || [ $tries -ge 300 ]; do sleep 0.1; "
                            "tries=$((tries + 1)); done; }\n";
        for (const Script &script : scripts)
            whole += std::string("echo '== ") + script.name + "'\n" + script.text + "\n";
        run_ = run_shell(options, whole);
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
