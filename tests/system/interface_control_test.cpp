#include <gtest/gtest.h>

#include "tests/system/harness.h"

// Bringing an interface up and down, with its firewall zone.

namespace interface_control_test {

using Lines = std::vector<std::string>;

const std::string make_interface =
    "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi; uci commit "
    "network; uci set firewall.@zone[1].network=\"$ZONE\"; uci commit firewall; exec ";

RouterRun control(const char *zone, Lines options, const std::string &call)
{
    options.insert(options.end(), {"--modem", "EC25"});
    return run_shell(options, std::string{"ZONE='"} + zone + "'; " + make_interface + built_word("call_operation") +
                                  " 3 1-1.2 " + call);
}

TEST(InterfaceUp, EntersTheInterfaceIntoItsZone)
{
    const RouterRun run = control("wan wan6", {}, "iface_up 15 modem_1_1_2");
    EXPECT_EQ(run.out, "0 \n");
    EXPECT_EQ(run.journal_of("shell", "call_operation"),
              (Lines{"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network",
                     "uci set firewall.@zone[1].network=\"wan wan6 modem_1_1_2\"", "uci commit firewall",
                     "/etc/init.d/firewall reload"}));
}

TEST(InterfaceUp, SyncsThePuffinsFlash)
{
    const auto shell =
        control("wan wan6", {"--board", "puffin"}, "iface_up 15 modem_1_1_2").journal_of("shell", "call_operation");
    ASSERT_GT(shell.size(), 3u);
    EXPECT_EQ(shell[3], "uci commit firewall;sync");
}

TEST(InterfaceUp, LeavesAZoneAloneThatHoldsTheInterface)
{
    const RouterRun run = control("wan wan6 modem_1_1_2", {}, "iface_up 15 modem_1_1_2");
    EXPECT_EQ(run.journal_of("shell", "call_operation"),
              (Lines{"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network", "zonewall"}));
}

TEST(InterfaceUp, LeavesAZoneAloneWhoseListDoesNotFitItsCommand)
{
    const std::string zone(90, 'w');
    const RouterRun run = control(zone.c_str(), {}, "iface_up 15 modem_1_1_2");
    EXPECT_EQ(run.out, "0 \n");
    EXPECT_EQ(run.journal_of("shell", "call_operation"),
              (Lines{"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network"}));
}

TEST(InterfaceUp, WaitsForItsBudgetAndAsksOnceMore)
{
    EXPECT_EQ(control("wan", {"--link", "modem_1_1_2,setup=3000"}, "iface_up 1 modem_1_1_2").out, "1 \n");
    EXPECT_EQ(control("wan", {"--link", "modem_1_1_2,setup=3000"}, "iface_up 15 modem_1_1_2").out, "0 \n");
    EXPECT_EQ(control("wan", {"--link", "modem_1_1_2,setup=never"}, "iface_up 2 modem_1_1_2").out, "1 \n");
    EXPECT_EQ(control("wan", {}, "iface_up 0 no_such_interface").out, "2 \n");
}

TEST(InterfaceDown, TakesTheInterfaceOutOfItsZone)
{
    const RouterRun run = control("wan modem_1_1_2 wan6", {}, "iface_down 5 modem_1_1_2");
    EXPECT_EQ(run.out, "2 \n");
    EXPECT_EQ(run.journal_of("shell", "call_operation"),
              (Lines{"uci set network.modem_1_1_2.disabled=\"1\"", "uci commit network",
                     "uci get firewall.@zone[1].network | sed -e \"s/modem_1_1_2//g\"",
                     "uci set firewall.@zone[1].network=\"wan  wan6\"", "uci commit firewall",
                     "/etc/init.d/firewall reload"}));
}

TEST(InterfaceDown, StopsTheCondorsShortcutsFirst)
{
    for (const char *board : {"condor", "condor-d2"}) {
        const auto shell =
            control("wan", {"--board", board}, "iface_down 5 modem_1_1_2").journal_of("shell", "call_operation");
        ASSERT_FALSE(shell.empty());
        EXPECT_EQ(shell[0], "/etc/init.d/shortcut-fe stop") << board;
    }
}

TEST(InterfaceDown, SyncsThePuffinsFlash)
{
    const auto shell =
        control("wan", {"--board", "puffin"}, "iface_down 5 modem_1_1_2").journal_of("shell", "call_operation");
    ASSERT_EQ(shell.size(), 6u);
    EXPECT_EQ(shell[1], "uci commit network;sync");
    EXPECT_EQ(shell[4], "uci commit firewall;sync");
}

TEST(InterfaceDown, CutsTheNameOutOfLongerOnesToo)
{
    const auto shell =
        control("wan modem_1_1_22", {}, "iface_down 5 modem_1_1_2").journal_of("shell", "call_operation");
    ASSERT_EQ(shell.size(), 6u);
    EXPECT_EQ(shell[3], "uci set firewall.@zone[1].network=\"wan 2\"");
}

TEST(InterfaceDown, LeavesTheZoneOfAnInterfaceThatStaysUp)
{
    // The interface that is disabled is another one than the one that is asked for: it stays up.
    const RouterRun run =
        run_shell({"--modem", "EC25", "--link", "setup=100,companion=1", "--put-text", "/tmp/sim_status=ready"},
                  "modemctl connect qmi /dev/cdc-wdm0 internet >/dev/null; uci set firewall.@zone[1].network='wan "
                  "modem_1_1_2_4'; "
                  "uci commit; " +
                      built_word("call_operation") +
                      " 3 1-1.2 iface_down 5 modem_1_1_2_4; "
                      "uci get firewall.@zone[1].network");
    EXPECT_EQ(run.out, "0 \nwan modem_1_1_2_4\n");
}

TEST(InterfaceDown, CountsAStateThatCannotBeHadAsDown)
{
    const RouterRun run = control("wan", {"--ubus", "absent"}, "iface_down 5 modem_1_1_2");
    EXPECT_EQ(run.out, "2 \n");
}

} // namespace interface_control_test
