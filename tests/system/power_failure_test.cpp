#include <gtest/gtest.h>

#include "tests/system/online.h"

// A router loses its power whenever it likes, and we are killed by whoever runs out of memory or patience.

namespace power_failure_test {

RouterRun cut_power(const std::string &before, const std::string &times_and_command)
{
    return run_online({"--modem", "EC25", "--link", "setup=100"},
                      before + "exec " + built_word("cut_power") + " " + times_and_command);
}

TEST(SlowPowerFailure, LeavesEveryPackageWholeAsItWasOrAsItBecomes)
{
    std::vector<std::function<RouterRun()>> runs;
    for (const char *times_and_seed : {"50 1", "50 2", "50 3"})
        runs.emplace_back([times_and_seed] {
            return cut_power("", std::string(times_and_seed) + " modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet");
        });
    for (const RouterRun &run : run_at_once(runs))
        EXPECT_EQ(run.out, "cellconf old\ndevconf old\nfirewall old new\nmwan3 old new\nnetwork old new\n"
                           "smsrelay old\nsystem old new\nwireless old\n")
            << run.err;
}

// The old section goes before the new one comes.
TEST(SlowPowerFailure, FindsTheInterfaceAsItWasOrAsItBecomesOrNotAtAll)
{
    const std::string make_between =
        "mkdir /tmp/between; uci delete network.modem_1_1_2; uci commit network; cp /etc/config/network /tmp/between;";
    const std::string connect = "modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet >/dev/null;";
    EXPECT_EQ(cut_power(connect + make_between + connect, "50 4 modemctl connect serial /dev/ttyUSB3 umts iot").out,
              "cellconf old\ndevconf old\nfirewall old\nmwan3 old\nnetwork old new\nsmsrelay old\nsystem old new\n"
              "wireless old\n");
}

// Every twelfth call that can change something, in four routers side by side from another one on, so every third is
// met.
TEST(SlowKill, LeavesTheNextRunNothingToMend)
{
    std::vector<std::function<RouterRun()>> runs;
    for (const char *first : {"0", "3", "6", "9"})
        runs.emplace_back([first] {
            return run_online({"--modem", "EC25", "--link", "setup=100"},
                              "exec " + built_word("kill_at_call") + " changes " + first +
                                  " 12 modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet");
        });
    for (const RouterRun &run : run_at_once(runs))
        EXPECT_EQ(run.out, "enough\n") << run.err;
}

TEST(SlowKill, LeavesNoHalfNameOrImei)
{
    for (const char *operation : {"get_model", "get_imei"}) {
        const RouterRun run =
            run_shell({"--modem", "EC25"}, "exec " + built_word("kill_at_call") + " changes 0 1 " +
                                               built_word("call_operation") + " 3 1-1.2 " + operation);
        EXPECT_EQ(run.out, "few\n") << operation; // about thirty
        ASSERT_EQ(run.err.find("killed "), 0u) << run.err;
        EXPECT_GE(std::stoi(run.err.substr(7)), 20) << operation;
    }
}

} // namespace power_failure_test
