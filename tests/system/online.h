#pragma once

#include <algorithm>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include "tests/paths.h"
#include "tests/system/harness.h"

// What tests of going online share. Tests that wait long stand in suites called Slow...: they are run once, and not
// again byte by byte.

using Lines = std::vector<std::string>;

/// A router whose SIM is ready and whose APN database has the world's networks.
inline RouterRun run_online(Lines options, const std::string &script)
{
    options.insert(options.end(), {"--put-text", "/tmp/sim_status=ready", "--put-text", "/tmp/sim_type=att", "--put",
                                   TEST_DATA "/apn/apn-config.js:/www/src/lib/apn-config.js"});
    return run_shell(options, script);
}

/// Runs them side by side, since they mostly wait, and gives their results in their order.
inline std::vector<RouterRun> run_at_once(const std::vector<std::function<RouterRun()>> &runs)
{
    std::vector<std::future<RouterRun>> futures;
    for (const auto &run : runs)
        futures.push_back(std::async(std::launch::async, run));
    std::vector<RouterRun> results;
    for (auto &future : futures)
        results.push_back(future.get());
    return results;
}

/// How often modemctl brought the first modem's interface up.
inline long attempts(const RouterRun &run)
{
    const auto shell = run.journal_of("shell", "modemctl");
    return std::count(shell.begin(), shell.end(), "ubus call network.interface.modem_1_1_2 up");
}

/// The router's /etc/config/network as it comes, read in a router in which nothing has run.
inline const std::string &factory_network()
{
    static const std::string text = run_shell({}, "cat /etc/config/network").out;
    return text;
}
