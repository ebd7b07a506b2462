#pragma once

#include <algorithm>
#include <functional>
#include <future>
#include <string>
#include <vector>

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

/// The router's /etc/config/network as it comes.
inline const std::string factory_network = R"(
config interface 'loopback'
	option device 'lo'
	option proto 'static'
	option ipaddr '127.0.0.1'
	option netmask '255.0.0.0'

config globals 'globals'
	option ula_prefix 'fd5c:d1a5:72c2::/48'

config device
	option name 'br-lan'
	option type 'bridge'
	list ports 'eth0'

config interface 'lan'
	option device 'br-lan'
	option proto 'static'
	option ipaddr '192.168.1.1'
	option netmask '255.255.255.0'
	option ip6assign '60'

config interface 'wan'
	option device 'eth1'
	option proto 'dhcp'

config interface 'wan6'
	option device 'eth1'
	option proto 'dhcpv6'
)";
