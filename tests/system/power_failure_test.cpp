#include <gtest/gtest.h>

#include "tests/system/online.h"

// A router loses its power whenever it likes.

namespace {

const Lines router{"--modem", "EC25", "--link", "setup=100"};

TEST(SlowPowerFailure, LeavesEveryPackageWholeAsItWasOrAsItBecomes)
{
    const std::string make_between =
        "mkdir /tmp/between; uci delete network.modem_1_1_2; uci commit network; cp /etc/config/network /tmp/between;";
    const std::string connect = "modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet >/dev/null;";
    const RouterRun run = run_online(router, connect + make_between + connect + "exec " + built("cut_power") +
                                                 " 50 2 modemctl connect serial /dev/ttyUSB3 umts iot");
    EXPECT_EQ(run.out, "cellconf old\ndevconf old\nfirewall old\nmwan3 old\nnetwork old new\nsmsrelay old\n"
                       "system old new\nwireless old\n");
}

} // namespace
