#include <gtest/gtest.h>

#include "tests/system/online.h"

// Automatic connection that has to wait for connections that never come about.

namespace slow_online_test {

struct SlowRow {
    const char *modem;
    const char *link;
    const char *out;
    long attempts;
};

const SlowRow slow_rows[] = {
    // Two APNs of that network stand before it.
    {"MC7430,imsi=505011234567890", "setup=100,apn=telstra.internet", R"(
connect success

config interface 'modem_1_1_2'
	option ifname 'eth2'
	option service 'fdd_lte'
	option apn 'telstra.internet'
	option proto 'directip'
	option device '/dev/ttyUSB2'
	option node '1-1.2:1.3'
	option metric '40'
	option disabled '0'

)",
     3},
    {"EC25,imsi=302680123456789", "setup=100,needs=serial", R"(
connect success

config interface 'modem_1_1_2'
	option ifname '3g-modem'
	option service 'fdd_lte'
	option apn 'inet.stm.sk.ca'
	option proto '3g'
	option device '/dev/ttyUSB3'
	option node '1-1.2:1.3'
	option metric '40'
	option disabled '0'

)",
     2},
    // What was tried last stays configured: the network daemon goes on trying.
    {"BG95,imsi=302680123456789", "apn=none.of.them", R"(
config interface 'modem_1_1_2'
	option ifname '3g-modem'
	option service 'fdd_lte'
	option apn 'inet.stm.sk.ca'
	option proto '3g'
	option device '/dev/ttyUSB2'
	option node '1-1.2:1.2'
	option metric '40'
	option disabled '0'

)",
     1},
};

TEST(SlowConnectAuto, TriesTheNextWayAndTheNextApnAfterEachFailure)
{
    std::vector<std::function<RouterRun()>> runs;
    for (const SlowRow &row : slow_rows)
        runs.emplace_back([&row] {
            return run_online({"--modem", row.modem, "--link", row.link},
                              "modemctl connect-auto; tail -n +30 /etc/config/network");
        });
    const auto results = run_at_once(runs);
    for (size_t i = 0; i < results.size(); i++) {
        EXPECT_EQ(results[i].out, slow_rows[i].out) << slow_rows[i].modem;
        EXPECT_EQ(attempts(results[i]), slow_rows[i].attempts) << slow_rows[i].modem;
    }
}

} // namespace slow_online_test
