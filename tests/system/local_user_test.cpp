#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// Another user of the router, or a service that was taken over, can write where everybody can: into /tmp and /var/lock.
// What it leaves there for us to find must not make root read or write files for it.

namespace {

// Runs a script after what the other user has done. Where only one user can be had (simrouter in a user namespace)
// there is no other one.
RouterRun run_after(const std::string &planted, const std::string &script,
                    const std::vector<std::string> &modems = {"--modem", "EC25,rat=NOSERVICE"})
{
    return run_shell(modems,
                     "cp -r /etc/config /tmp/before; touch /tmp/x; chown 65534 /tmp/x 2>/dev/null || { echo alone; "
                     "exit; }\n" +
                         planted + "\n" + script + "\ndiff -r /etc/config /tmp/before && echo unchanged");
}

TEST(LocalUser, CannotMakeUsReadOrWriteThroughAStateFolder)
{
    const RouterRun run =
        run_after("cd /tmp; mkdir modem.1-1.2; for f in cimi modem-name modem-imei; do ln -s "
                  "/etc/config/network modem.1-1.2/$f; done; chown -h 65534 modem.1-1.2",
                  "modemctl carrier; modemapi get /modem/info | grep -o '\"name\":.*'; ls modem.1-1.2");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "\"name\":\"EC25\",\ncimi\nmodem-imei\nmodem-name\nunchanged\n") << run.err;
}

TEST(LocalUser, CannotLeadUsElsewhereByALinkInPlaceOfTheFolder)
{
    const RouterRun run =
        run_after("mkdir /tmp/theirs; ln -s /etc/config /tmp/modem.1-1.2; chown -h 65534 /tmp/modem.1-1.2",
                  "modemctl carrier; modemapi get /modem/info >/dev/null");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "unchanged\n") << run.err;
}

TEST(LocalUser, CannotGiveUsASignalOrTakeAFailCountAway)
{
    const RouterRun run = run_after(
        "cd /tmp; mkdir modem.1-1.2; echo '{\"type\":\"lte\"}' >modem.1-1.2/signal; echo 3 "
        ">modem.1-1.2/fail_count; chown -R 65534 modem.1-1.2",
        "cp -r /tmp/modem.1-1.2 /tmp/modem.2-1.2; modemctl 2-1.2 signal | grep mode; modemctl signal; "
        "modemapi post /modem/enable '{}' >/dev/null; modemapi post /modem/enable '{\"bus\":\"2-1.2\"}' >/dev/null; "
        "ls modem.1-1.2 modem.2-1.2; cp /tmp/before/* /etc/config",
        {"--modem", "SIMCOM7600@1-1.2", "--modem", "ME3630@2-1.2"});
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "  \"mode\":\"4G\"\nNot support\nmodem.1-1.2:\nfail_count\nsignal\n\nmodem.2-1.2:\n"
                       "signal\nunchanged\n")
        << run.err;
}

TEST(LocalUser, CannotHaveAFileOpenedAsTheWritersLock)
{
    const RouterRun run =
        run_after("mkdir -p /var/lock; ln -s /tmp/made /var/lock/modemctl.network.lock; chown -h 65534 "
                  "/var/lock/modemctl.network.lock",
                  "modemctl connect serial /dev/ttyUSB3 '*99#' internet >/dev/null 2>&1; uci get "
                  "network.modem_1_1_2.apn; ls /tmp/made 2>/dev/null; cp /tmp/before/* /etc/config");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "internet\nunchanged\n") << run.err;
}

TEST(LocalUser, CannotMakeTheHotplugScriptEmptyOrMakeAFile)
{
    const RouterRun run =
        run_shell({"--modem", "EC25", "--put", SOURCE_ROOT "/packaging/openwrt/files/usr:/usr"},
                  "touch /tmp/x; chown 65534 /tmp/x 2>/dev/null || { echo alone; exit; }; echo kept >/etc/kept; "
                  "for file in lock again; do ln -s /etc/kept /tmp/modemctl-reconnect.1-1.2.$file; done; "
                  "ln -s /etc/made /tmp/sim_status; chown -h 65534 /tmp/modemctl-reconnect.* /tmp/sim_status; "
                  "/usr/libexec/modemctl-reconnect 1-1.2 >/dev/null 2>&1; "
                  "cat /etc/kept; ls /etc/made 2>/dev/null; ls /var/run | grep -c modemctl");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "kept\n1\n") << run.err;
    EXPECT_NE(run.sent_to("ttyUSB2").find("AT+CPIN?"), std::string::npos) << "it went as far as to ask the SIM";
}

TEST(LocalUser, CannotHoldAConnectUpByAPipe)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25", "--link", "setup=100"},
        "mkfifo /tmp/sim_type /tmp/sim_status /tmp/modem_upgrade_status; modemctl connect serial /dev/ttyUSB3 '*99#' "
        "internet; uci get network.modem_1_1_2.apn; uci -q get network.modem_1_1_2.mtu; "
        "modemapi post /modem/upgrade_status '{}' | grep -c status");
    EXPECT_EQ(run.out, "\nconnect success\ninternet\n0\n") << run.err;
    const RouterRun upgrade = run_shell({"--modem", "EP06"}, "mkfifo /tmp/modem_upgrade_status; modemapi post "
                                                             "/modem/upgrade_status '{}' | grep -o '\"status\".*'");
    EXPECT_EQ(upgrade.out, "\"status\":0\n");
}

TEST(SignalCache, ThatIsAPipeHoldsNobody)
{
    for (const char *model : {"SIMCOM7600", "ME3630", "MC7430", "unlisted"}) {
        const RouterRun run =
            run_shell({"--modem", model}, "mkdir /tmp/modem.1-1.2; mkfifo /tmp/modem.1-1.2/signal; "
                                          "modemctl signal; modemapi get /modem/info | grep -c '\"modem_id\"'");
        EXPECT_EQ(run.out, "Not support\n1\n") << model << run.err;
    }
}

} // namespace
