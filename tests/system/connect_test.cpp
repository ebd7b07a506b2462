#include <algorithm>

#include <gtest/gtest.h>

#include "tests/system/harness.h"

// Going online and offline: what the flows write, run and print.

namespace connect_test {

using Lines = std::vector<std::string>;

RouterRun router(Lines options, const std::string &script)
{
    options.insert(options.end(), {"--put-text", "/tmp/sim_status=ready", "--put-text", "/tmp/sim_type=att"});
    return run_shell(options, script);
}

const std::string show_network = "uci show network.modem_1_1_2; ";

TEST(Connect, NeedsTypeDeviceAndServer)
{
    for (const char *words : {"connect", "connect serial", "connect serial /dev/ttyUSB3"})
        EXPECT_EQ(router({"--modem", "EC25"}, std::string{"modemctl "} + words).out,
                  "\nUsage:<modemctl> <connect> <serial/qmi> <device> <server> <apn>\n")
            << words;
    EXPECT_EQ(router({"--modem", "EC25"}, "modemctl connect ncm /dev/ttyUSB3 internet; echo $?").out, "0\n");
}

TEST(Connect, BySerialWritesThePppInterface)
{
    const RouterRun run = router({"--modem", "EC25", "--link", "setup=100"},
                                 "modemctl connect serial /dev/ttyUSB3 '*99#' internet; " + show_network);
    EXPECT_EQ(run.out, "\nconnect success\n"
                       "network.modem_1_1_2=interface\n"
                       "network.modem_1_1_2.ifname='3g-modem'\n"
                       "network.modem_1_1_2.service='*99#'\n"
                       "network.modem_1_1_2.apn='internet'\n"
                       "network.modem_1_1_2.proto='3g'\n"
                       "network.modem_1_1_2.device='/dev/ttyUSB3'\n"
                       "network.modem_1_1_2.node='1-1.2:1.3'\n"
                       "network.modem_1_1_2.metric='40'\n"
                       "network.modem_1_1_2.disabled='0'\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+CGDCONT=1,\"IP\",\"internet\"\r\n");
}

TEST(Connect, WithoutAnApnWritesNone)
{
    const RouterRun run = router({"--modem", "EC25", "--link", "setup=never"},
                                 "modemctl connect qmi /dev/cdc-wdm0 internet; " + show_network);
    // A device that was given is not waited for: one that is not up after a second counts as connected.
    EXPECT_EQ(run.out.find("\nconnect success\n"), 0u) << run.out;
    EXPECT_EQ(run.out.find(".apn="), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("network.modem_1_1_2.proto='qmi'\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("network.modem_1_1_2.node='1-1.2:1.4'\n"), std::string::npos) << run.out;
    EXPECT_EQ(run.sent_to("ttyUSB2"), "");
}

TEST(Connect, BySerialWithoutAnApnWritesNone)
{
    const RouterRun run =
        router({"--modem", "EC25", "--link", "setup=100"},
               "modemctl connect serial /dev/ttyUSB3 '*99#'; uci show network.modem_1_1_2 | cut -d. -f3");
    EXPECT_EQ(run.out, "\nconnect success\n\nifname='3g-modem'\nservice='*99#'\nproto='3g'\n"
                       "device='/dev/ttyUSB3'\nnode='1-1\nmetric='40'\ndisabled='0'\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "");
}

TEST(Connect, ByQmiRunsItsCommandsInTheirOrder)
{
    const RouterRun run =
        router({"--modem", "EC25", "--link", "setup=100"}, "modemctl connect qmi /dev/cdc-wdm0 internet apn1");
    // The background command is journaled as whoever is its parent at that moment, and at any place.
    auto shell = run.journal_of("shell", "modemctl");
    std::erase(shell, "mwan3 restart");
    EXPECT_EQ(shell, (Lines{"cat /tmp/sim_type", "cat /tmp/sim_status", "cat /tmp/sim_type",
                            "/etc/init.d/led reload 2>&1 >/dev/null", "killall uqmi 2>/dev/null",
                            "timeout -t 2 uqmi -d /dev/cdc-wdm0 --stop-network 4294967295 --autoconnect 2>/dev/null",
                            "ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network",
                            "uci set firewall.@zone[1].network=\"wan wan6 modem_1_1_2\"", "uci commit firewall",
                            "/etc/init.d/firewall reload"}));
}

TEST(Connect, MakesTheInterfaceAMultiWanMemberOnce)
{
    const std::string connect = "modemctl connect qmi /dev/cdc-wdm0 internet >/dev/null; ";
    const RouterRun run = router({"--modem", "EC25", "--link", "setup=100", "--wait"},
                                 connect + connect +
                                     "uci show mwan3.modem_1_1_2; uci show mwan3.modem_1_1_2_only; "
                                     "uci get mwan3.default_poli.use_member; uci get system.led_3gnet.dev");
    EXPECT_EQ(
        run.out,
        "mwan3.modem_1_1_2=interface\nmwan3.modem_1_1_2.enabled='1'\nmwan3.modem_1_1_2.family='ipv4'\n"
        "mwan3.modem_1_1_2.reliability='2'\nmwan3.modem_1_1_2.count='1'\nmwan3.modem_1_1_2.timeout='2'\n"
        "mwan3.modem_1_1_2.interval='5'\nmwan3.modem_1_1_2.down='3'\nmwan3.modem_1_1_2.up='5'\n"
        "mwan3.modem_1_1_2.track_ip='8.8.4.4' '8.8.8.8' '208.67.222.222' '208.67.220.220'\n"
        "mwan3.modem_1_1_2_only=member\nmwan3.modem_1_1_2_only.interface='modem_1_1_2'\n"
        "mwan3.modem_1_1_2_only.metric='4'\nmwan3.modem_1_1_2_only.weight='3'\nwan_only modem_1_1_2_only\nwwan0\n");
    // It runs in the background, detached from the program that started it.
    const auto commands = run.journal_of("run");
    EXPECT_EQ(std::count(commands.begin(), commands.end(), "mwan3 restart"), 1);
}

TEST(Connect, RefusesATextThatAHandlerWouldRunBeforeAnythingIsWritten)
{
    const std::string mark = "connect serial /dev/ttyUSB3 umts kept.apn >/dev/null; uci export >/tmp/before; ";
    const std::string compare = "uci export | cmp /tmp/before - && ls /tmp/made 2>/dev/null; uci changes; ";
    const RouterRun run = router(
        {"--modem", "EC25", "--link", "setup=100"},
        "modemctl " + mark + "modemctl connect serial /dev/ttyUSB3 umts 'x;touch /tmp/made;true '; echo $?; " +
            "modemctl connect qmi /dev/cdc-wdm0 umts 'two words'; echo $?; " +
            R"(for key in apn dianum; do for text in '$(touch /tmp/made)' '`touch /tmp/made`' ';touch /tmp/made'; do )" +
            R"(modemapi post /modem/set "{\"modem_id\":3,\"device\":\"/dev/ttyUSB3\",\"$key\":\"$text\"}"; done; done; )" +
            R"(for key in apn username password ath; do modemapi post /modem/set )" +
            R"("{\"modem_id\":3,\"device\":\"/dev/cdc-wdm0\",\"$key\":\"*\"}"; done; )" +
            "uci set network.modem_1_1_2.dialnumber=';touch /tmp/made'; uci commit network; uci export >/tmp/before; "
            "modemctl new-connect-auto; " +
            compare);
    std::string expected = "0\n0\n";
    for (int i = 0; i < 10; i++)
        expected += "-5\n{\n}\n";
    EXPECT_EQ(run.out, expected);
    const auto log = run.journal_of("syslog");
    EXPECT_EQ(log.size(), 13u);
    EXPECT_EQ(std::count(log.begin(), log.end(), "err not connected: protocol 3g would not take option apn as a value"),
              4);
    EXPECT_EQ(
        std::count(log.begin(), log.end(), "err not connected: protocol qmi would not take option auth as a value"), 1);
}

TEST(Connect, FollowsTheOperatorInMultiWan)
{
    const auto connect = [](const std::string &name) {
        return R"(modemapi post /modem/set '{"modem_id":3,"device":"/dev/cdc-wdm0")" +
               (name.empty() ? name : R"(,"operator":")" + name + "\"") +
               "}' >/dev/null; uci get mwan3.modem_1_1_2.enabled; uci changes mwan3; ";
    };
    // A new member, the same again, another operator, none, and back.
    const RouterRun run =
        router({"--modem", "EC25", "--link", "setup=100", "--wait"},
               connect("Visible") + connect("Visible Wireless") + connect("Other") + connect("") + connect("Visible"));
    EXPECT_EQ(run.out, "0\n0\n1\n1\n0\n");
    const auto commands = run.journal_of("run");
    EXPECT_EQ(std::count(commands.begin(), commands.end(), "mwan3 restart"), 3);
}

TEST(Connect, OfTheUnknownDeviceStopsNoConnectionOfItsOwn)
{
    const RouterRun run =
        router({"--modem", "unlisted", "--link", "setup=100"}, "modemctl connect qmi /dev/cdc-wdm0 internet");
    EXPECT_EQ(run.out, "\nconnect success\n");
    const auto shell = run.journal_of("shell", "modemctl");
    EXPECT_EQ(std::count(shell.begin(), shell.end(), "killall uqmi 2>/dev/null"), 1);
    EXPECT_TRUE(std::none_of(shell.begin(), shell.end(),
                             [](const std::string &line) { return line.find("uqmi -d") != std::string::npos; }));
}

TEST(Connect, WritesALongDeviceWhole)
{
    const std::string device = "/dev/ttyUSB3" + std::string(100, 'x');
    const RouterRun run =
        router({"--modem", "EC25", "--link", "setup=100"},
               "modemctl connect serial " + device + " lte >/dev/null; uci get network.modem_1_1_2.device");
    EXPECT_EQ(run.out, device + "\n");
}

TEST(Connect, OfASecondModemHasItsOwnMetric)
{
    for (const char *board : {"condor", "condor-d2"}) {
        const RouterRun run =
            router({"--modem", "EC25@2-1.2", "--board", board, "--link", "setup=100"},
                   "modemctl 2-1.2 connect qmi /dev/cdc-wdm0 internet; uci get network.modem_2_1_2.metric");
        EXPECT_EQ(run.out, "\nconnect success\n60\n") << board;
    }
}

TEST(Connect, MarksRawIpOnTheFirstControlDeviceOnly)
{
    const auto raw_ip = [](const std::string &device) {
        return router({"--modem", "NL678E", "--link", "setup=100"},
                      "modemctl connect qmi " + device + " internet >/dev/null; uci -q get network.modem_1_1_2.raw_ip")
            .out;
    };
    EXPECT_EQ(raw_ip("/dev/cdc-wdm0"), "1\n");
    EXPECT_EQ(raw_ip("/dev/cdc-wdm1"), "");
}

TEST(Connect, WritesVerizonsMtu)
{
    const RouterRun run =
        run_shell({"--modem", "EC25", "--put-text", "/tmp/sim_type=verizon", "--link", "setup=100"},
                  "modemctl connect qmi /dev/cdc-wdm0 internet >/dev/null; uci get network.modem_1_1_2.mtu");
    EXPECT_EQ(run.out, "1428\n");
}

TEST(Connect, ForgetsTheFailuresBefore)
{
    const RouterRun run =
        router({"--modem", "EC25", "--put-text", "/tmp/modem.1-1.2/fail_count=3", "--link", "setup=100"},
               "modemctl connect qmi /dev/cdc-wdm0 internet; ls /tmp/modem.1-1.2");
    EXPECT_EQ(run.out, "\nconnect success\n");
}

TEST(Connect, ByDirectIpTakesTheModemsEthernetDevice)
{
    const RouterRun run =
        router({"--modem", "MC7430", "--link", "setup=100"},
               "modemctl connect serial /dev/ttyUSB0 internet; uci get network.modem_1_1_2.proto; uci get "
               "network.modem_1_1_2.ifname; uci get system.led_3gnet.dev");
    const auto lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), 5u) << run.out;
    EXPECT_EQ(lines[2], "directip");
    EXPECT_EQ(lines[3].find("eth"), 0u);
    EXPECT_EQ(lines[4], lines[3]);
}

TEST(Connect, OfAWwanDeviceTakesItsNetworkDevice)
{
    const auto connect = [](const char *model, const char *modem_id, const char *flags) {
        const RouterRun run = router({"--modem", model},
                                     built_word("call_operation") + " " + modem_id + " 1-1.2 serial_connect " + flags +
                                         " /dev/ttyUSB3 internet; for option in proto ifname device; do uci get "
                                         "network.modem_1_1_2.$option; done");
        EXPECT_EQ(run.err, "");
        return lines_of(run.out);
    };
    EXPECT_EQ(connect("EC25", "3", "0x10"), (Lines{"0 ", "callip", "wwan0", "/dev/ttyUSB3"}));
    EXPECT_EQ(connect("EC25", "3", "0x71"), (Lines{"0 ", "callip", "wwan0", "/dev/ttyUSB3"})); // before NCM
    EXPECT_EQ(connect("MC7430", "5", "0x34").at(1), "directip");                               // which is before both
    // Without one in sysfs it is the serial one's.
    EXPECT_EQ(connect("BG95", "7", "0x10"), (Lines{"0 ", "callip", "3g-modem", "/dev/ttyUSB3"}));
}

const std::string database = R"(/www/src/lib/apn-config.js=var apn_config_default ={"apns":{"apn":[
{"-mcc":"232","-mnc":"03","-apn":"mms.example","-type":"mms"},
{"-mcc":"232","-mnc":"03","-apn":"internet.example","-type":"default,supl","-user":"me","-password":"secret"},
{"-mcc":"262","-mnc":"01","-apn":"other"}]}})";

TEST(ConnectAuto, TakesTheApnOfTheSimsNetwork)
{
    const RouterRun run =
        router({"--modem", "EC25,imsi=232031234567890", "--put-text", database, "--link", "setup=100"},
               "modemctl connect-auto; " + show_network);
    EXPECT_EQ(run.out.find("\nconnect success\n"), 0u) << run.out << run.err;
    EXPECT_NE(run.out.find("network.modem_1_1_2.apn='internet.example'\nnetwork.modem_1_1_2.proto='qmi'\n"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("network.modem_1_1_2.username='me'\nnetwork.modem_1_1_2.password='secret'\n"),
              std::string::npos);
    EXPECT_NE(run.out.find("network.modem_1_1_2.service='fdd_lte'\n"), std::string::npos);
}

TEST(ConnectAuto, EndsWith255WithoutADatabase)
{
    const RouterRun run = router({"--modem", "EC25"}, "modemctl -D connect-auto; echo $?");
    EXPECT_NE(run.out.find("}\nparse file failed\n255\n"), std::string::npos) << run.out;
    EXPECT_EQ(router({"--modem", "EC25"}, "modemctl connect-auto; uci show network | grep -c modem").out, "0\n");
}

TEST(ConnectAuto, ConnectsWithoutAnApnWhereTheDatabaseHasNone)
{
    const RouterRun run =
        router({"--modem", "EC25,imsi=999991234567890", "--put-text", database, "--link", "setup=100"},
               "modemctl connect-auto; " + show_network);
    EXPECT_EQ(run.out.find("\nconnect success\n"), 0u) << run.out << run.err;
    EXPECT_EQ(run.out.find(".apn="), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("network.modem_1_1_2.proto='3g'\n"), std::string::npos) << run.out;
}

TEST(ConnectAuto, KnowsTheCarriersWithAFixedApn)
{
    const RouterRun run =
        router({"--modem", "EC25,imsi=901461234567890", "--put-text", database, "--link", "setup=100"},
               "modemctl connect-auto; uci get network.modem_1_1_2.apn");
    EXPECT_EQ(run.out, "\nconnect success\nglobalnet\n");
}

TEST(NewConnectAuto, ReconnectsFromWhatIsConfigured)
{
    const std::string configure = "modemctl connect qmi /dev/cdc-wdm0 umts apn1 >/dev/null; ";
    const RouterRun run =
        router({"--modem", "EC25", "--link", "setup=100"}, configure + "modemctl new-connect-auto; " + show_network);
    EXPECT_EQ(run.out, "\nconnect success\n"
                       "network.modem_1_1_2=interface\n"
                       "network.modem_1_1_2.ifname='wwan0'\n"
                       "network.modem_1_1_2.service='umts'\n"
                       "network.modem_1_1_2.apn='apn1'\n"
                       "network.modem_1_1_2.proto='qmi'\n"
                       "network.modem_1_1_2.device='/dev/cdc-wdm0'\n"
                       "network.modem_1_1_2.node='1-1.2:1.4'\n"
                       "network.modem_1_1_2.metric='40'\n"
                       "network.modem_1_1_2.disabled='0'\n");
}

TEST(NewConnectAuto, DoesNothingWithoutAModemsDevice)
{
    EXPECT_EQ(router({"--modem", "EC25"}, "modemctl new-connect-auto; echo $?").out, "0\n");
    const std::string configure = "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.ifname=3g-modem; "
                                  "uci set network.modem_1_1_2.device=/dev/ttyS0; uci commit; ";
    const RouterRun run =
        router({"--modem", "EC25"}, configure + "modemctl new-connect-auto; echo $?; " + show_network);
    EXPECT_EQ(run.out, "0\nnetwork.modem_1_1_2=interface\nnetwork.modem_1_1_2.ifname='3g-modem'\n"
                       "network.modem_1_1_2.device='/dev/ttyS0'\n");
}

TEST(Disconnect, TakesTheTemplatesInterfaceDown)
{
    const RouterRun run = router({"--modem", "EC25"}, "modemctl disconnect");
    EXPECT_EQ(run.out, "\nmodem disconnect\n");
    const auto shell = run.journal_of("shell", "modemctl");
    ASSERT_FALSE(shell.empty());
    EXPECT_EQ(shell[0], "uci set network.modem.disabled=\"1\"");
}

} // namespace connect_test
