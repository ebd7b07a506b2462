#include <algorithm>

#include <gtest/gtest.h>

#include "tests/system/harness.h"

// The endpoints that change what the modem does, with every command that they hand to the shell.

namespace api_control_test {

using Lines = std::vector<std::string>;

RouterRun serve(Lines options, const std::string &requests, const std::string &before = {},
                const std::string &after = {})
{
    options.insert(options.end(), {"--put-text", "/tmp/sim_status=ready", "--put-text", "/tmp/sim_type=att"});
    return run_in_router(options, {"sh", "-c", before + "modemapi <<'END'\n" + requests + "END\n" + after});
}

// Shell commands of the back end itself. A background command's may come from anybody, so it is left out by who asks.
Lines shell_of(const RouterRun &run, const Lines &background = {})
{
    Lines shell = run.journal_of("shell", "modemapi");
    for (const std::string &command : background)
        std::erase(shell, command);
    return shell;
}

bool has_shell(const RouterRun &run, const std::string &command)
{
    const Lines shell = run.journal_of("shell");
    return std::find(shell.begin(), shell.end(), command) != shell.end();
}

// Connecting by itself

TEST(Auto, StartsTheCommandLineAndDoesNotWait)
{
    const RouterRun run = serve({"--modem", "EC25", "--wait"}, "post /modem/auto {\"modem_id\":3,\"bus\":\"2-1.2\"}\n"
                                                               "post /modem/auto {\"modem_id\":99}\n");
    EXPECT_EQ(run.out, "0 {}\n0 {}\n") << "the id is not looked up";
    EXPECT_TRUE(has_shell(run, "modemctl -B 2-1.2 connect-auto"));
    EXPECT_TRUE(has_shell(run, "modemctl -B 1-1.2 connect-auto"));
    EXPECT_FALSE(has_shell(run, "/etc/init.d/shortcut-fe stop"));
}

TEST(Auto, StopsTheShortcutsOfTheCondorBoardFirst)
{
    const RouterRun run = serve({"--board", "condor", "--wait"}, "post /modem/auto {\"modem_id\":3}\n");
    EXPECT_EQ(run.journal_of("shell").at(1), "/etc/init.d/shortcut-fe stop");
    EXPECT_TRUE(has_shell(run, "modemctl -B 1-1.2 connect-auto"));
}

TEST(Auto, NeedsAModelAndABus)
{
    EXPECT_EQ(serve({}, "post /modem/auto {}\npost /modem/auto {\"modem_id\":-1}\n"
                        "post /modem/auto {\"modem_id\":3,\"bus\":\"1-1.2; reboot\"}\n")
                  .out,
              "-251 {}\n-251 {}\n-251 {}\n");
}

// Settings

TEST(Set, ChecksItsRequestInOrder)
{
    const RouterRun run = serve({"--modem", "EC25"},
                                "post /modem/set {}\n"
                                "post /modem/set {\"modem_id\":-1,\"device\":\"/dev/ttyUSB3\"}\n"
                                "post /modem/set {\"modem_id\":77}\n"
                                "post /modem/set {\"modem_id\":3}\n"
                                "post /modem/set {\"modem_id\":3,\"device\":null}\n"
                                "post /modem/set {\"modem_id\":3,\"device\":[\"/dev/ttyUSB3\"]}\n"
                                "post /modem/set {\"modem_id\":3,\"device\":\"/dev/ttyUSB2\"}\n"
                                "post /modem/set {\"modem_id\":3,\"device\":\"/dev/ttyS0\"}\n"
                                "post /modem/set {\"modem_id\":3,\"device\":\"\"}\n"
                                "post /modem/set {\"modem_id\":3,\"device\":\"/dev/ttyUSB3\",\"bus\":\"$(reboot)\"}\n");
    EXPECT_EQ(run.out, "-251 {}\n-251 {}\n-250 {}\n-5 {}\n-5 {}\n-5 {}\n-265 {}\n-256 {}\n-256 {}\n-251 {}\n");
    EXPECT_EQ(shell_of(run), Lines{});
}

TEST(Set, ConnectsByTheDeviceWithAllThatIsAsked)
{
    const RouterRun run = serve(
        {"--modem", "EC25", "--link", "setup=100"},
        R"(post /modem/set {"modem_id":3,"device":"/dev/ttyUSB3","service":"lte","apn":"internet","pincode":"1234","dianum":"*99#","username":"me","password":"secret","ath":"PAP","mtu":"1400","operator":"Visible","ttl":321})"
        "\n",
        {}, "uci show network.modem_1_1_2; uci show cellconf; uci get devconf.modem.operator");
    EXPECT_EQ(run.out, "0 {}\n"
                       "network.modem_1_1_2=interface\n"
                       "network.modem_1_1_2.ifname='3g-modem'\n"
                       "network.modem_1_1_2.service='lte'\n"
                       "network.modem_1_1_2.apn='internet'\n"
                       "network.modem_1_1_2.proto='3g'\n"
                       "network.modem_1_1_2.device='/dev/ttyUSB3'\n"
                       "network.modem_1_1_2.node='1-1.2:1.3'\n"
                       "network.modem_1_1_2.pincode='1234'\n"
                       "network.modem_1_1_2.dialnumber='*99#'\n"
                       "network.modem_1_1_2.username='me'\n"
                       "network.modem_1_1_2.password='secret'\n"
                       "network.modem_1_1_2.auth='PAP'\n"
                       "network.modem_1_1_2.mtu='1400'\n"
                       "network.modem_1_1_2.metric='40'\n"
                       "network.modem_1_1_2.disabled='0'\n"
                       "cellconf.modem_1_1_2=forceTTL\n"
                       "cellconf.modem_1_1_2.dev='3g-modem_1_1_2'\n"
                       "cellconf.modem_1_1_2.ttl='65'\n"
                       "Visible\n");
}

// A DirectIP modem's device is an Ethernet one whose TTL is not forced, whatever the LED follows.
TEST(Set, ForcesTheTtlOfNoDeviceOfADirectIpModem)
{
    const RouterRun run = serve({"--modem", "MC7430", "--link", "setup=100"},
                                "post /modem/set {\"modem_id\":5,\"device\":\"/dev/ttyUSB0\",\"ttl\":64}\n", {},
                                "uci show cellconf; uci get system.led_3gnet.dev | grep -c .");
    EXPECT_EQ(run.out, "0 {}\n"
                       "cellconf.modem_1_1_2=forceTTL\n"
                       "cellconf.modem_1_1_2.ttl='64'\n"
                       "1\n");
}

TEST(Set, TakesQcmBeforeTheDevice)
{
    const RouterRun qcm = serve({"--modem", "EC25", "--link", "setup=100"},
                                "post /modem/set {\"modem_id\":3,\"device\":\"/dev/ttyUSB3\",\"proto\":\"qcm\"}\n", {},
                                "uci get network.modem_1_1_2.proto");
    EXPECT_EQ(qcm.out, "0 {}\nqcm\n");
    const RouterRun qmi = serve({"--modem", "EC25", "--link", "setup=100"},
                                "post /modem/set {\"modem_id\":3,\"device\":\"/dev/cdc-wdm0\"}\n", {},
                                "uci get network.modem_1_1_2.proto");
    EXPECT_EQ(qmi.out, "0 {}\nqmi\n");
    EXPECT_TRUE(
        has_shell(qmi, "timeout -t 2 uqmi -d /dev/cdc-wdm0 --stop-network 4294967295 --autoconnect 2>/dev/null"));
}

TEST(Set, LetsSomeModelsDialOnTheirAtPort)
{
    // The MC7430 has one port for both.
    const RouterRun run = serve({"--modem", "MC7430", "--link", "setup=100"},
                                "post /modem/set {\"modem_id\":5,\"device\":\"/dev/ttyUSB2\"}\n");
    EXPECT_EQ(run.out, "0 {}\n");
}

TEST(Set, ReloadsTheLedOfTheBadgerBoardLater)
{
    const RouterRun run = serve({"--board", "badger", "--modem", "EC25", "--link", "setup=100"},
                                "post /modem/set {\"modem_id\":3,\"device\":\"/dev/ttyUSB3\"}\n");
    EXPECT_EQ(shell_of(run).back(), "sleep 10 ;/etc/init.d/led reload 2>&1 >/dev/null");
}

TEST(Set, LeavesTheTablesEntryAlone)
{
    const RouterRun run =
        serve({"--modem", "EC25@2-1.2", "--link", "setup=100"},
              "post /modem/set {\"modem_id\":3,\"bus\":\"2-1.2\",\"device\":\"/dev/ttyUSB3\",\"ttl\":65}\n"
              "post /modem/set {\"modem_id\":3,\"bus\":\"2-1.2\",\"device\":\"/dev/ttyUSB3\"}\n",
              {}, "uci -q show cellconf.modem_2_1_2");
    EXPECT_EQ(run.out, "0 {}\n0 {}\n") << "the second request asks for no TTL, so there is none";
}

// Enabling

TEST(Enable, WritesTheOptionAndStartsAfresh)
{
    const RouterRun run = serve({"--modem", "EC25"}, "post /modem/enable {}\n",
                                "mkdir -p /tmp/modem.1-1.2; echo 3 >/tmp/modem.1-1.2/fail_count; uci set "
                                "network.modem_1_1_2=interface; uci set network.modem_1_1_2.disabled=1; uci commit; ",
                                "uci get network.modem_1_1_2.disabled; ls /tmp/modem.1-1.2");
    EXPECT_EQ(run.out, "0 {}\n0\n");
    EXPECT_EQ(shell_of(run), (Lines{"killall uqmi 2>/dev/null", "killall -9 modemctl 2>/dev/null"}));
}

TEST(Enable, TakesTheInterfaceOutOfItsZoneToDisableIt)
{
    const RouterRun run = serve({"--board", "condor", "--modem", "EC25"}, "post /modem/enable {\"disable\":true}\n",
                                "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=3g; uci set "
                                "'firewall.@zone[1].network=wan wan6 modem_1_1_2'; uci commit; ",
                                "uci get network.modem_1_1_2.disabled; uci get firewall.@zone[1].network");
    EXPECT_EQ(run.out, "0 {}\n1\nwan wan6\n");
    EXPECT_EQ(
        shell_of(run),
        (Lines{"/etc/init.d/shortcut-fe stop", "uci set network.modem_1_1_2.disabled=\"1\"", "uci commit network",
               "uci get firewall.@zone[1].network | sed -e \"s/modem_1_1_2//g\"",
               "uci set firewall.@zone[1].network=\"wan wan6\"", "uci commit firewall", "/etc/init.d/firewall reload",
               "kill $(ps|grep mwan3track|grep modem_1_1_2|awk -F ' ' '{print $1}')", "killall uqmi 2>/dev/null",
               "killall -9 modemctl 2>/dev/null", "/etc/init.d/shortcut-fe stop"}));
}

TEST(Enable, TakesAnEmptyBusForNone)
{
    const RouterRun run = serve({"--modem", "EC25"}, "post /modem/enable {\"bus\":\"\"}\n",
                                "uci set network.modem_1_1_2=interface; uci commit; ",
                                "uci get network.modem_1_1_2.disabled; uci -q get network.modem_.disabled");
    EXPECT_EQ(run.out, "0 {}\n0\n");
}

TEST(Enable, EndsConnectFlowsOfOthers)
{
    const RouterRun run =
        serve({"--modem", "EC25", "--fault", "silence"}, "post /modem/enable {}\n",
              "modemctl AT ATI & other=$!; while [ ! -e /proc/$other ]; do :; done; ", "wait $other; echo $?");
    EXPECT_EQ(run.out, "0 {}\n137\n");
}

TEST(Enable, OfABusThatIsNoneChangesNothing)
{
    const RouterRun run =
        serve({"--modem", "EC25"}, "post /modem/enable {\"bus\":\"1-1.2 reboot\",\"disable\":true}\n");
    EXPECT_EQ(run.out, "0 {}\n");
    EXPECT_EQ(shell_of(run), Lines{});
}

// Reset

const std::string sim_watch = "sleep 20 && /usr/bin/carrier_check &";
const std::string sms_start = "sleep 3 && /etc/init.d/smstools3 start";

TEST(Reset, NeedsAModelAndABus)
{
    const RouterRun run = serve({"--modem", "EC25"}, "post /modem/reset {\"bus\":\"1-1.2\"}\n"
                                                     "post /modem/reset {\"modem_id\":2}\n"
                                                     "post /modem/reset {\"modem_id\":3,\"bus\":\"a b\"}\n");
    EXPECT_EQ(run.out, "-251 {}\n-250 {}\n-251 {}\n");
    EXPECT_EQ(shell_of(run), Lines{});
}

TEST(Bus, OfTenCharactersIsNotTakenForItsFirstNine)
{
    const RouterRun run = serve({"--modem", "EC25@1-1.1.1.2"},
                                "post /modem/reset {\"modem_id\":3,\"bus\":\"1-1.1.1.23\"}\n"
                                "post /modem/auto {\"modem_id\":3,\"bus\":\"1-1.1.1.23\"}\n"
                                "post /modem/cells/get {\"modem_id\":3,\"bus\":\"1-1.1.1.23\"}\n"
                                "post /modem/sim/switch {\"modem_id\":3,\"sim_num\":\"1\",\"bus\":\"1-1.1.1.23\"}\n");
    EXPECT_EQ(run.out, "-251 {}\n-251 {}\n-251 {}\n-22 {}\n");
    EXPECT_EQ(shell_of(run), Lines{});
    EXPECT_EQ(run.log, "");
}

const std::string with_interface = "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=3g; uci "
                                   "commit network; ubus call network reload; ";

TEST(Reset, SwitchesThePowerUnlessItIsToldToDisable)
{
    const RouterRun run =
        serve({"--board", "marten", "--modem", "EC25"}, "post /modem/reset {\"modem_id\":3}\n",
              with_interface + "echo x >/sys/class/gpio/lte_power/value; mkdir -p /tmp/modem.1-1.2; touch "
                               "/tmp/modem.1-1.2/cimi; ",
              "ls /tmp | grep modem; cat /sys/class/gpio/lte_power/value");
    EXPECT_EQ(run.out, "0 {}\n1\n");
    EXPECT_EQ(shell_of(run, {sms_start}),
              (Lines{"/usr/bin/mbn_refresh", "ifdown modem_1_1_2", "rm -rf /tmp/modem.1-1.2;/etc/init.d/smstools3 stop",
                     "echo 0 > /sys/class/gpio/lte_power/value;sleep 1;echo 1 > /sys/class/gpio/lte_power/value",
                     sim_watch, "ifup modem_1_1_2"}));
    EXPECT_TRUE(has_shell(run, sms_start));
    EXPECT_EQ(run.journal_of("syslog"), Lines{});
    EXPECT_EQ(run.sent_to("ttyUSB2"), "");
}

TEST(Reset, SendsTheModelsCommandWhenItIsToldToDisable)
{
    const RouterRun run =
        serve({"--modem", "MC7430"}, "post /modem/reset {\"modem_id\":5,\"disable\":true}\n", with_interface);
    EXPECT_EQ(run.out, "0 {}\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT!RESET\r\n");
    EXPECT_EQ(run.journal_of("syslog"), Lines{"debug reset success"});
    EXPECT_EQ(run.journal_of("device"), (Lines{"gone", "back"}));
}

TEST(Reset, OfAModemThatDoesNotComeBackFails)
{
    // A bare module stays off once it is told so.
    const RouterRun run =
        serve({"--modem", "EC25"}, "post /modem/reset {\"modem_id\":3,\"disable\":true}\n", with_interface);
    EXPECT_EQ(run.out, "-250 {}\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+QPOWD\r\n");
    EXPECT_EQ(run.journal_of("syslog"), Lines{"debug reset success"});
    EXPECT_FALSE(has_shell(run, "ifup modem_1_1_2"));
}

TEST(Reset, OfAModelWithoutACommandOnlyWaits)
{
    const RouterRun run =
        serve({"--modem", "UC20"}, "post /modem/reset {\"modem_id\":4,\"disable\":true}\n", with_interface);
    EXPECT_EQ(run.out, "0 {}\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "");
    EXPECT_EQ(run.journal_of("syslog"), Lines{});
    EXPECT_EQ(shell_of(run, {sms_start}),
              (Lines{"/usr/bin/mbn_refresh", "ifdown modem_1_1_2", "rm -rf /tmp/modem.1-1.2;/etc/init.d/smstools3 stop",
                     sim_watch, "ifup modem_1_1_2"}));
}

TEST(Reset, OfAModemThatIsNotThereLogsBothLines)
{
    const RouterRun run =
        serve({"--modem", "EC25@2-1.2"}, "post /modem/reset {\"modem_id\":3,\"disable\":true}\n", with_interface);
    EXPECT_EQ(run.out, "-250 {}\n");
    EXPECT_EQ(run.journal_of("syslog"), (Lines{"debug reset failed", "debug reset success"}));
}

// Any AT command

TEST(AtEndpoint, PassesTheReplyOn)
{
    const RouterRun run = serve({"--modem", "EC25"},
                                "post /modem/at {\"at-command\":\"AT+CPIN?\",\"at-port\":\"/dev/ttyUSB2\"}\n"
                                "post /modem/at {\"at-command\":\"AT+NOSUCH\",\"at-port\":\"/dev/ttyUSB2\"}\n"
                                "post /modem/at {\"at-command\":\"AT\",\"at-port\":\"/dev/ttyUSB9\"}\n"
                                "post /modem/at {\"at-command\":\"AT\",\"at-port\":\"/etc/config/network\"}\n"
                                "post /modem/at {\"at-command\":\"AT\"}\n"
                                "post /modem/at {\"at-port\":\"/dev/ttyUSB2\"}\n"
                                "post /modem/at {\"at-command\":[],\"at-port\":\"/dev/ttyUSB2\"}\n",
                                "md5sum /etc/config/network >/tmp/sum; ", "md5sum -c /tmp/sum");
    EXPECT_EQ(run.out, "0 {\"message\":\"AT+CPIN?\\r\\r\\n+CPIN: READY\\r\\n\\r\\nOK\\r\\n\"}\n"
                       "0 {\"message\":\"AT+NOSUCH\\r\\r\\nERROR\\r\\n\"}\n"
                       "-255 {}\n-255 {}\n-255 {}\n-255 {}\n-255 {}\n/etc/config/network: OK\n");
}

TEST(AtEndpoint, CutsACommandAt255Characters)
{
    const RouterRun run = serve({"--modem", "EC25"}, "post /modem/at {\"at-command\":\"AT+" + std::string(300, 'X') +
                                                         "\",\"at-port\":\"/dev/ttyUSB2\"}\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+" + std::string(252, 'X') + "\r\n");
}

TEST(AtEndpoint, SetsTheDefaultBandOfTheFirmware)
{
    const RouterRun run =
        serve({"--modem", "EC25"}, "post /modem/at {\"at-command\":\"default_band\",\"at-port\":\"/dev/ttyUSB2\"}\n");
    EXPECT_EQ(run.out.substr(0, 14), "0 {\"message\":\"") << run.out;
    EXPECT_NE(run.sent_to("ttyUSB2").find("AT+QCFG=\"band\""), std::string::npos) << run.sent_to("ttyUSB2");
    EXPECT_EQ(
        serve({"--modem", "MC7430"}, "post /modem/at {\"at-command\":\"default_band\",\"at-port\":\"/dev/ttyUSB2\"}\n")
            .out,
        "-17 {\"message\":\"\"}\n")
        << "a revision that is not known";
    EXPECT_EQ(serve({}, "post /modem/at {\"at-command\":\"default_band\",\"at-port\":\"/dev/ttyUSB2\"}\n").out,
              "-17 {\"message\":\"\"}\n");
}

// The other SIM

const std::string sim_section = "uci set cellconf.sim=sim; uci commit cellconf; ";
TEST(SimSwitch, ChecksItsRequestInOrder)
{
    const RouterRun run =
        serve({"--modem", "EC25"}, "post /modem/sim/switch {}\n"
                                   "post /modem/sim/switch {\"bus\":\"2-1.2\",\"modem_id\":3}\n"
                                   "post /modem/sim/switch {\"sim_num\":\"1\",\"modem_id\":3}\n"
                                   "post /modem/sim/switch {\"bus\":\"a;b\",\"sim_num\":\"1\",\"modem_id\":3}\n"
                                   "post /modem/sim/switch {\"bus\":\"2-1.2\",\"sim_num\":\"1\"}\n");
    EXPECT_EQ(run.out, "-22 {}\n-22 {}\n-22 {}\n-22 {}\n-251 {}\n");
    EXPECT_EQ(shell_of(run), Lines{});
}

TEST(SimSwitch, SwitchesEvenForAModelThatIsNotKnown)
{
    const RouterRun run =
        serve({"--board", "condor"}, "post /modem/sim/switch {\"bus\":\"2-1.2\",\"sim_num\":\"3\",\"modem_id\":77}\n",
              sim_section, "uci get cellconf.sim.sim_num");
    EXPECT_EQ(run.out, "-250 {}\n1\n");
    EXPECT_EQ(shell_of(run), (Lines{"echo 1 >/sys/class/gpio/export", "echo out >/sys/class/gpio/gpio1/direction",
                                    "echo 0 > /sys/class/gpio/gpio1/value", "rm -rf /tmp/modem.2-1.2/signal*",
                                    "rm -rf /tmp/modem.2-1.2/cimi"}));
}

TEST(SimSwitch, RestartsTheModemOnTheOtherSim)
{
    const std::string light = "sleep 15 && signal_led.sh 2-1.2";
    const RouterRun run =
        serve({"--board", "condor", "--modem", "EC25@2-1.2", "--wait"},
              "post /modem/sim/switch {\"bus\":\"2-1.2\",\"sim_num\":\"2\",\"modem_id\":3}\n",
              sim_section + "mkdir -p /tmp/modem.2-1.2; cd /tmp/modem.2-1.2; touch signal signal.old cimi modem-imei; ",
              "uci get cellconf.sim.sim_num; ls /tmp/modem.2-1.2");
    EXPECT_EQ(run.out, "0 {}\n2\nmodem-imei\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+QPOWD\r\n");
    EXPECT_EQ(run.journal_of("syslog"), Lines{"debug reset success"});
    EXPECT_EQ(shell_of(run, {light}),
              (Lines{"echo 1 >/sys/class/gpio/export", "echo out >/sys/class/gpio/gpio1/direction",
                     "echo 1 > /sys/class/gpio/gpio1/value", "rm -rf /tmp/modem.2-1.2/signal*",
                     "rm -rf /tmp/modem.2-1.2/cimi"}));
    EXPECT_TRUE(has_shell(run, light));
}

TEST(SimSwitch, SwitchesThePowerOfOtherModels)
{
    const RouterRun run = serve({"--board", "condor", "--wait"},
                                "post /modem/sim/switch {\"bus\":\"\",\"sim_num\":\"\",\"modem_id\":6}\n", sim_section);
    EXPECT_EQ(run.out, "0 {}\n");
    const Lines shell = run.journal_of("shell");
    EXPECT_TRUE(has_shell(run, "echo 1 > /sys/class/gpio/gpio7/value; sleep 1; echo 0 > /sys/class/gpio/gpio7/value"));
    EXPECT_TRUE(has_shell(run, "sleep 15 && signal_led.sh 2-1.2")) << "the dual-SIM modem's bus where none is named";
}

} // namespace api_control_test
