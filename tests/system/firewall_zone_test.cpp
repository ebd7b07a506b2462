#include <gtest/gtest.h>

#include "tests/system/online.h"

// How bringing an interface up and taking it down changes the firewall's zone: every command, on every kind of board.

namespace firewall_zone_test {

// What brings modem_1_1_2 up into the zone "wan wan6".
Lines lines_of_entering(const char *commit)
{
    return {"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network",
            "uci set firewall.@zone[1].network=\"wan wan6 modem_1_1_2\"", commit, "/etc/init.d/firewall reload"};
}

struct ZoneRow {
    const char *board;
    const char *zone;
    const char *call;
    const char *out; ///< the result, and the zone afterwards
    Lines shell;
    Lines run;
};

const ZoneRow zone_rows[] = {
    {"generic",
     "wan wan6",
     "iface_up 15 modem_1_1_2",
     "0 \nwan wan6 modem_1_1_2\n",
     lines_of_entering("uci commit firewall"),
     {"/etc/init.d/firewall reload"}},
    {"puffin",
     "wan wan6 ",
     "iface_up 15 modem_1_1_2",
     "0 \nwan wan6 modem_1_1_2\n",
     lines_of_entering("uci commit firewall;sync"),
     {"/etc/init.d/firewall reload"}},
    {"generic",
     "wan\twan6",
     "iface_up 15 modem_1_1_2",
     "0 \nwan wan6 modem_1_1_2\n",
     lines_of_entering("uci commit firewall"),
     {"/etc/init.d/firewall reload"}},
    {"condor",
     "wan",
     "iface_up 15 modem_1_1_2",
     "0 \nwan modem_1_1_2\n",
     {"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network",
      "uci set firewall.@zone[1].network=\"wan modem_1_1_2\"", "uci commit firewall", "/etc/init.d/firewall reload"},
     {"/etc/init.d/firewall reload"}},
    {"generic",
     "wan wan6 modem_1_1_2",
     "iface_up 15 modem_1_1_2",
     "0 \nwan wan6 modem_1_1_2\n",
     {"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network", "zonewall"},
     {"zonewall"}},
    {"puffin",
     "modem_1_1_2",
     "iface_up 15 modem_1_1_2",
     "0 \nmodem_1_1_2\n",
     {"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network", "zonewall"},
     {"zonewall"}},
    // The name of a longer one counts as the name.
    {"condor",
     "wan modem_1_1_2_4",
     "iface_up 15 modem_1_1_2",
     "0 \nwan modem_1_1_2_4\n",
     {"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network", "zonewall"},
     {"zonewall"}},
    {"generic",
     "wan wan6 modem_1_1_2",
     "iface_down 5 modem_1_1_2",
     "2 \nwan wan6\n",
     {"uci set network.modem_1_1_2.disabled=\"1\"", "uci commit network",
      "uci get firewall.@zone[1].network | sed -e \"s/modem_1_1_2//g\"",
      "uci set firewall.@zone[1].network=\"wan wan6\"", "uci commit firewall", "/etc/init.d/firewall reload"},
     {"/etc/init.d/firewall reload"}},
    {"puffin",
     "wan modem_1_1_2 wan6",
     "iface_down 5 modem_1_1_2",
     "2 \nwan  wan6\n",
     {"uci set network.modem_1_1_2.disabled=\"1\"", "uci commit network;sync",
      "uci get firewall.@zone[1].network | sed -e \"s/modem_1_1_2//g\"",
      "uci set firewall.@zone[1].network=\"wan  wan6\"", "uci commit firewall;sync", "/etc/init.d/firewall reload"},
     {"/etc/init.d/firewall reload"}},
    {"condor",
     "wan modem_1_1_2_4 modem_1_1_2",
     "iface_down 5 modem_1_1_2",
     "2 \nwan _4\n",
     {"/etc/init.d/shortcut-fe stop", "uci set network.modem_1_1_2.disabled=\"1\"", "uci commit network",
      "uci get firewall.@zone[1].network | sed -e \"s/modem_1_1_2//g\"", "uci set firewall.@zone[1].network=\"wan _4\"",
      "uci commit firewall", "/etc/init.d/firewall reload"},
     {"/etc/init.d/shortcut-fe stop", "/etc/init.d/firewall reload"}},
};

TEST(FirewallZone, FollowsTheInterfaceByTheseCommands)
{
    std::vector<std::function<RouterRun()>> runs;
    for (const ZoneRow &row : zone_rows)
        runs.emplace_back([&row] {
            return run_online(
                {"--modem", "EC25", "--board", row.board, "--link", "setup=100"},
                "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi; uci commit network;"
                "uci set firewall.@zone[1].network=\"" +
                    std::string(row.zone) + "\"; uci commit firewall;" + built_word("call_operation") + " 3 1-1.2 " +
                    row.call + "; uci get firewall.@zone[1].network");
        });
    const auto results = run_at_once(runs);
    for (size_t i = 0; i < results.size(); i++) {
        const std::string what = std::string(zone_rows[i].board) + ", " + zone_rows[i].call + ", " + zone_rows[i].zone;
        EXPECT_EQ(results[i].out, zone_rows[i].out) << what;
        EXPECT_EQ(results[i].journal_of("shell", "call_operation"), zone_rows[i].shell) << what;
        EXPECT_EQ(results[i].journal_of("run"), zone_rows[i].run) << what;
    }
}

TEST(FirewallZone, IsLeftAsItIsWithAWordInTheLogWhenItCannotBeWritten)
{
    const RouterRun run = run_online({"--modem", "EC25", "--link", "setup=100"},
                                     "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi;"
                                     "uci commit network; uci set firewall.@zone[1].network='wan \"x'; uci commit "
                                     "firewall;" +
                                         built_word("call_operation") +
                                         " 3 1-1.2 iface_up 15 modem_1_1_2; uci get firewall.@zone[1].network");
    EXPECT_EQ(run.out, "0 \nwan \"x\n");
    bool is_logged = false;
    for (const std::string &line : run.journal_of("syslog"))
        is_logged = is_logged || line.find("the WAN zone's networks stay as they are") != std::string::npos;
    EXPECT_TRUE(is_logged);
}

TEST(SlowInterfaceUp, GivesUpAfterItsBudget)
{
    const auto up_twice = [](const char *link) {
        const std::string up = built_word("call_operation") + " 3 1-1.2 iface_up ";
        return run_online({"--modem", "EC25", "--link", link},
                          "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi;" + up +
                              "1 modem_1_1_2;" + up + "15 modem_1_1_2");
    };
    const auto results = run_at_once({[&] { return up_twice("setup=8000"); }, [&] { return up_twice("setup=never"); }});
    EXPECT_EQ(results[0].out, "1 \n0 \n");
    EXPECT_EQ(results[1].out, "1 \n1 \n");
}

} // namespace firewall_zone_test
