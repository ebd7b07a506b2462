#include <algorithm>

#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// The scripts of the OpenWrt package on a router: at boot, at hotplug events, with everything missing that a maker's
// router would have.

namespace openwrt_scripts_test {

using Lines = std::vector<std::string>;

const std::string files = SOURCE_ROOT "/packaging/openwrt/files";
const std::string stand_ins = SOURCE_ROOT "/tests/data/openwrt";

/// A router with the package, its data and the services enabled.
RouterRun router(Lines options, const std::string &script)
{
    options.insert(options.end(), {"--put",      files + "/etc:/etc",
                                   "--put",      files + "/usr:/usr",
                                   "--put",      stand_ins + "/rc.common:/etc/rc.common",
                                   "--put",      stand_ins + "/hotplug-call:/usr/sbin/hotplug-call",
                                   "--put",      stand_ins + "/logger:/usr/sbin/logger",
                                   "--put",      stand_ins + "/ping:/usr/bin/ping",
                                   "--put-text", "/etc/rc.d/S94modemctl-signal=",
                                   "--put-text", "/etc/rc.d/S95modemctl=",
                                   "--put-text", "/etc/rc.d/S96modemctl-watch=",
                                   "--put",      BUILD_ROOT "/packaging/apn-config.js:/www/src/lib/apn-config.js"});
    return run_shell(options, script);
}

const std::string sim = "EC25,imsi=232031234567890"; // of a network whose first APN is "gprsinternet"

/// One event per USB interface, all at once, as a modem's appearing gives them.
const std::string appears = "for i in 0 1 2 3 4; do hotplug-call usb add usb_interface 1-1.2:1.$i & done; wait; ";
const std::string show_log = "cat /tmp/log; ";
const std::string connect_with_own_apn = "modemctl connect qmi /dev/cdc-wdm0 umts own.apn >/dev/null; "
                                         "uci set network.modem_1_1_2.username=me; uci commit network; ";
/// Of settings that nobody made.
const std::string mark = "$(for o in service apn username password pincode; do printf '%s/' "
                         "\"$(uci -q get network.modem_1_1_2.$o)\"; done | sha256sum | cut -d ' ' -f 1)";
const std::string go_down = "ubus call network.interface.modem_1_1_2 down; ";

long count_of(const Lines &lines, const std::string &text)
{
    return std::count_if(lines.begin(), lines.end(),
                         [&](const std::string &line) { return line.find(text) != std::string::npos; });
}

TEST(Hotplug, BringsTheModemOnlineOnceForAllItsEvents)
{
    const RouterRun run = router({"--modem", sim, "--link", "setup=100"},
                                 appears + show_log +
                                     "uci get network.modem_1_1_2.apn; "
                                     "ubus -S call network.interface.modem_1_1_2 status | cut -c 1-26");
    EXPECT_EQ(run.out, "1-1.2: connecting with the APN of the SIM's network\n1-1.2: online\ngprsinternet\n"
                       "{\"up\":true,\"pending\":false\n")
        << run.err;
    EXPECT_EQ(count_of(run.journal_of("shell"), "ubus call network.interface.modem_1_1_2 up"), 1);
}

TEST(Hotplug, ConnectsOnceWhenTheModemGoesAndComesBackMeanwhile)
{
    const RouterRun run =
        router({"--modem", stand_ins + "/leaves_once.modem,imsi=232031234567890", "--link", "setup=100"},
               "hotplug-call usb add usb_interface 1-1.2:1.0 & "
               "while [ -e /sys/bus/usb/devices/1-1.2 ]; do sleep 0.1; done; "
               "hotplug-call usb remove usb_device 1-1.2; "
               "until [ -e /sys/bus/usb/devices/1-1.2 ]; do sleep 0.1; done; " +
                   appears + show_log + "uci get network.modem_1_1_2.apn");
    EXPECT_EQ(run.out, "1-1.2: connecting with the APN of the SIM's network\n1-1.2: online\ngprsinternet\n") << run.err;
    EXPECT_EQ(run.journal_of("device"), (Lines{"gone", "back"}));
    EXPECT_EQ(count_of(run.journal_of("shell"), "ubus call network.interface.modem_1_1_2 up"), 1);
}

TEST(Hotplug, LeavesTheConfigurationAloneWhenTheModemIsGoneForGood)
{
    const RouterRun run =
        router({"--modem", sim, "--fault", "gone-before=0:AT+CPIN?"},
               appears + show_log + "uci show network | grep -c modem; uci -q get devconf.modem_auto");
    EXPECT_EQ(run.out, "1-1.2: connecting with the APN of the SIM's network\n1-1.2: the modem is gone\n"
                       "1-1.2: not online yet\n0\n")
        << run.err;
}

TEST(Hotplug, DoesNotConnectWithoutASimCard)
{
    const RouterRun run =
        router({"--modem", sim + ",pin=SIM PUK", "--link", "setup=100"},
               appears + show_log + "uci show network | grep -c modem; ls /tmp/sim_status 2>/dev/null");
    EXPECT_EQ(run.out,
              "1-1.2: connecting with the APN of the SIM's network\n1-1.2: PUK_SIM\n1-1.2: not online yet\n0\n")
        << run.err;
}

TEST(Hotplug, KeepsTheSettingsThatSomebodyMade)
{
    const RouterRun run = router({"--modem", sim, "--link", "setup=100"}, connect_with_own_apn + go_down + appears +
                                                                              "head -n 1 /tmp/log; "
                                                                              "uci get network.modem_1_1_2.apn; "
                                                                              "uci get network.modem_1_1_2.username");
    EXPECT_EQ(run.out, "1-1.2: connecting as configured\nown.apn\nme\n") << run.err;
}

// netifd goes on calling the interface up, and the new device is down.
const std::string leaving_modem = stand_ins + "/leaves_once.modem,imsi=232031234567890";
const std::string leaves_and_comes_back = "printf 'AT+CPIN?\\r' >/dev/ttyUSB2; "
                                          "while [ -e /sys/bus/usb/devices/1-1.2 ]; do sleep 0.1; done; "
                                          "until [ -e /sys/bus/usb/devices/1-1.2 ]; do sleep 0.1; done; ";
const std::string wait_until_up =
    "until ubus -S call network.interface.modem_1_1_2 status | grep -q '\"up\":true'; do sleep 0.1; done; ";
const std::string show_line =
    "ubus -S call network.interface.modem_1_1_2 status | cut -c 1-10; cat /sys/class/net/wwan0/flags; ";

TEST(Hotplug, StartsAnInterfaceAgainThatIsUpInNameOnly)
{
    const std::string connected = connect_with_own_apn + "ubus call network reload; " + wait_until_up;
    const RouterRun run = router({"--modem", leaving_modem, "--link", "setup=100"},
                                 connected + leaves_and_comes_back + show_line + appears + show_log + show_line);
    EXPECT_EQ(run.out, "{\"up\":true\n0x1002\n1-1.2: connecting as configured\n1-1.2: online\n{\"up\":true\n0x1003\n")
        << run.err;
    EXPECT_EQ(count_of(run.journal_of("shell", "modemctl"), "ubus call network.interface.modem_1_1_2 up"), 1)
        << "of connect: the settings are not written anew for it";
    // Nothing to do where the device is up.
    const RouterRun healthy = router({"--modem", sim, "--link", "setup=100"},
                                     connected + show_line + appears + "cat /tmp/log 2>/dev/null; true");
    EXPECT_EQ(healthy.out, "{\"up\":true\n0x1003\n") << healthy.err;
}

TEST(Hotplug, LooksForTheApnAgainOnALineThatIsUpInNameOnly)
{
    const RouterRun run = router({"--modem", leaving_modem, "--link", "setup=100"},
                                 "modemctl connect-auto >/dev/null; uci set devconf.modem_auto=auto; "
                                 "uci set devconf.modem_auto.modem_1_1_2=" +
                                     mark + "; uci commit devconf; " + leaves_and_comes_back + show_line + appears +
                                     show_log + show_line);
    EXPECT_EQ(run.out, "{\"up\":true\n0x1002\n1-1.2: connecting with the APN of the SIM's network\n1-1.2: online\n"
                       "{\"up\":true\n0x1003\n")
        << run.err;
}

// A router is often quicker than its modem: the handler finds no port, and nobody tells netifd when there is one.
TEST(Hotplug, StartsAnInterfaceWhoseModemCameTooLate)
{
    const std::string status = "ubus -S call network.interface.modem_1_1_2 status";
    const std::string show = status + " | grep -o '^.*\"autostart\"'; ";
    const std::string start_without_modem =
        "printf 'AT+CPIN?\\r' >/dev/ttyUSB2; while [ -e /sys/bus/usb/devices/1-1.2 ]; do sleep 0.1; done; "
        "ubus call network.interface.modem_1_1_2 up; "
        "until " +
        status +
        " | grep -q NO_DEVICE; do sleep 0.1; done; "
        "until [ -e /sys/bus/usb/devices/1-1.2 ]; do sleep 0.1; done; ifup modem_1_1_2; sleep 0.3; ";
    for (const std::string &start : {appears, std::string("modemctl new-connect-auto >/dev/null; ") + wait_until_up}) {
        const RouterRun run = router({"--modem", leaving_modem, "--link", "setup=100"},
                                     connect_with_own_apn + "ubus call network reload; " + go_down +
                                         start_without_modem + show + start + show);
        EXPECT_EQ(run.out, "{\"up\":false,\"pending\":false,\"available\":false,\"autostart\"\n"
                           "{\"up\":true,\"pending\":false,\"available\":true,\"autostart\"\n")
            << start << run.err;
        EXPECT_EQ(count_of(run.journal_of("shell", "modemctl"), "ubus call network.interface.modem_1_1_2 up"),
                  start == appears ? 1 : 2)
            << start;
    }
}

// The settings do not change, so netifd would find nothing to do.
TEST(DeadLine, IsStartedAgainByEveryConnect)
{
    const std::string bytes = "grep wwan0 /proc/net/dev | tr -s ' ' | cut -d ' ' -f 3; ";
    for (const std::string words : {"connect qmi /dev/cdc-wdm0 umts own.apn", "new-connect-auto", "connect-auto"}) {
        const std::string first = words == "new-connect-auto" ? "connect qmi /dev/cdc-wdm0 umts own.apn" : words;
        const std::string connect = "modemctl " + words + "; " + wait_until_up;
        const RouterRun run = router({"--modem", leaving_modem, "--link", "setup=100,traffic=1000"},
                                     "modemctl " + first + "; " + wait_until_up + bytes + connect + bytes +
                                         leaves_and_comes_back + show_line + connect + show_line + bytes);
        EXPECT_EQ(run.out, "\nconnect success\n1000\n\nconnect success\n1000\n{\"up\":true\n0x1002\n"
                           "\nconnect success\n{\"up\":true\n0x1003\n1000\n")
            << words << run.err;
    }
}

TEST(Hotplug, KeepsSettingsThatNewConnectAutoDoesNotKnow)
{
    const std::string own =
        "for option in proto=qcm metric=5 peerdns=0 apn=an.access.point.name.of.forty.characters.xy "
        "ttl=64; do uci set network.modem_1_1_2.$option; done; "
        "uci add_list network.modem_1_1_2.dns=9.9.9.9; uci set cellconf.modem_1_1_2=forceTTL; "
        "uci set cellconf.modem_1_1_2.ttl=64; uci commit; ";
    const std::string all = "for p in network cellconf mwan3 firewall; do uci export $p; done";
    for (const char *link : {"setup=100", "setup=never"}) {
        const RouterRun run = router({"--modem", sim, "--link", link},
                                     connect_with_own_apn + own + all + " >/tmp/before; " + go_down + appears +
                                         "head -n 1 /tmp/log; " + all + " | diff /tmp/before - && echo unchanged");
        EXPECT_EQ(run.out, "1-1.2: connecting as configured\nunchanged\n") << link << run.err;
    }
}

TEST(Hotplug, WritesTheApnIntoAModemThatDoesNotComeUp)
{
    const RouterRun run =
        router({"--modem", sim, "--link", "setup=never"},
               connect_with_own_apn + go_down + appears + show_log + "uci get network.modem_1_1_2.apn");
    EXPECT_EQ(run.out, "1-1.2: connecting as configured\n1-1.2: not online yet\nown.apn\n") << run.err;
    EXPECT_EQ(count_of(run.journal_of("shell"), "ubus call network.interface.modem_1_1_2 up"), 2)
        << "of connect and new-connect-auto";
}

TEST(Hotplug, WritesTheSimsStateAnewWhereAFullFileSystemLeftItEmpty)
{
    EXPECT_EQ(router({"--modem", sim, "--link", "setup=100", "--put-text", "/tmp/empty=x"},
                     ": >/tmp/sim_status; " + appears + "cat /tmp/sim_status")
                  .out,
              "ready\n");
}

TEST(Hotplug, KeepsWhatSomebodyAddedToSettingsThatWereFound)
{
    const RouterRun run =
        router({"--modem", sim, "--link", "setup=100"},
               appears +
                   "uci set network.modem_1_1_2.username=me; uci set network.modem_1_1_2.pincode=1234; "
                   "uci commit network; rm /tmp/log; " +
                   go_down + appears +
                   "head -n 1 /tmp/log; uci get network.modem_1_1_2.username; "
                   "uci get network.modem_1_1_2.pincode; uci get network.modem_1_1_2.apn");
    EXPECT_EQ(run.out, "1-1.2: connecting as configured\nme\n1234\ngprsinternet\n") << run.err;
}

TEST(Hotplug, LooksForTheApnAgainWhereItWasFoundAutomatically)
{
    // The card was of another network: its APN stands in the section, and the mark says that nobody set it.
    const RouterRun run = router({"--modem", sim, "--link", "setup=100"},
                                 appears +
                                     "uci set network.modem_1_1_2.apn=internet.t-d1.de; uci commit network; "
                                     "rm /etc/modemctl/worked-apns; uci set devconf.modem_auto.modem_1_1_2=" +
                                     mark + "; uci commit devconf; " + go_down +
                                     "hotplug-call usb remove usb_device 1-1.2; rm /tmp/log; " + appears +
                                     "head -n 1 /tmp/log; uci get network.modem_1_1_2.apn");
    EXPECT_EQ(run.out, "1-1.2: connecting with the APN of the SIM's network\ngprsinternet\n") << run.err;
}

TEST(Hotplug, FindsTheDeviceOfAConfiguredModemByItsUsbInterface)
{
    const RouterRun run = router({"--modem", sim, "--link", "setup=100"},
                                 connect_with_own_apn + go_down +
                                     "uci set network.modem_1_1_2.device=/dev/cdc-wdm7; uci commit network; " +
                                     appears + "head -n 2 /tmp/log; uci get network.modem_1_1_2.device");
    EXPECT_EQ(run.out, "1-1.2: connecting as configured\n1-1.2: the device is now /dev/cdc-wdm0\n/dev/cdc-wdm0\n")
        << run.err;
}

TEST(Hotplug, BringsASecondModemUpWithItsOwnSettings)
{
    const RouterRun run =
        router({"--modem", sim, "--modem", "EP06@2-1.2", "--link", "setup=100"},
               "uci add_list devconf.modem.bus=2-1.2; uci commit devconf; " + connect_with_own_apn +
                   "modemctl 2-1.2 connect qmi /dev/cdc-wdm1 umts second.apn >/dev/null; "
                   "ubus call network.interface.modem_2_1_2 down; hotplug-call usb bind usb_interface 2-1.2:1.4; "
                   "uci get network.modem_2_1_2.apn; uci get network.modem_2_1_2.device; cat /tmp/log; "
                   "until ubus -S call network.interface.modem_2_1_2 status | grep '\"up\":true' >/dev/null; do sleep "
                   "0.1; done");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.find("second.apn\n/dev/cdc-wdm1\n2-1.2: connecting as configured\n"), 0u) << run.out;
}

TEST(Hotplug, LeavesADisabledInterfaceAlone)
{
    const RouterRun run = router({"--modem", sim, "--link", "setup=100"},
                                 connect_with_own_apn +
                                     "uci set network.modem_1_1_2.disabled=1; uci commit network; "
                                     "ubus call network reload; " +
                                     appears + show_log + "uci get network.modem_1_1_2.disabled");
    EXPECT_EQ(run.out, "1-1.2: disabled\n1\n") << run.err;
}

TEST(Hotplug, LeavesBusesAloneThatAreNotConfigured)
{
    const RouterRun run =
        router({"--modem", "EC25@1-1.3", "--link", "setup=100"},
               "for i in 0 1 2; do hotplug-call usb add usb_interface 1-1.3:1.$i; done; "
               "hotplug-call usb add usb_interface 3-2:1.0; hotplug-call usb add usb_device 1-1.2; "
               "ls /tmp/log /var/run/modemctl-reconnect.* 2>/dev/null; uci show network | grep -c modem");
    EXPECT_EQ(run.out, "0\n") << run.err;
    EXPECT_EQ(run.journal_of("shell", "modemctl"), Lines{});
    EXPECT_EQ(run.sent_to("ttyUSB2"), "");
}

TEST(Hotplug, DoesNothingWhereTheServiceIsDisabledOrTheNetworkDaemonDoesNotRunYet)
{
    EXPECT_EQ(router({"--modem", sim}, "rm /etc/rc.d/S95modemctl; " + appears + "ls /tmp/log 2>/dev/null").out, "");
    EXPECT_EQ(router({"--modem", sim, "--ubus", "absent"}, appears + "ls /tmp/log 2>/dev/null").out, "");
}

TEST(Hotplug, ForgetsWhatItKnewOfAModemThatIsGone)
{
    const RouterRun run = router({"--put-text", "/tmp/modem.1-1.2/cimi=1", "--put-text", "/tmp/modem.1-1/cimi=2"},
                                 "hotplug-call usb remove usb_interface 1-1.2:1.0; ls -d /tmp/modem.1-1.2; "
                                 "hotplug-call usb remove usb_device 1-1.2; ls -d /tmp/modem.*");
    EXPECT_EQ(run.out, "/tmp/modem.1-1.2\n/tmp/modem.1-1\n") << run.err;
}

TEST(Hotplug, ToldOfAModemThatIsNotThereGivesUp)
{
    const RouterRun run = router({}, "hotplug-call usb add usb_interface 1-1.2:1.0; ls /tmp/log 2>/dev/null; "
                                     "ls /var/run/modemctl-reconnect.*");
    EXPECT_EQ(run.out, "/var/run/modemctl-reconnect.1-1.2.lock\n") << run.err;
    EXPECT_EQ(run.status, 0);
}

TEST(Boot, ConnectsEveryConfiguredModem)
{
    const RouterRun run =
        router({"--modem", sim, "--link", "setup=100"},
               "uci add_list devconf.modem.bus=1-1.4; uci commit devconf; /etc/init.d/modemctl start; "
               "cat /tmp/procd; " +
                   show_log + "uci get network.modem_1_1_2.apn");
    EXPECT_EQ(run.out, "1-1.2: /usr/libexec/modemctl-reconnect 1-1.2\n1-1.4: /usr/libexec/modemctl-reconnect 1-1.4\n"
                       "1-1.2: connecting with the APN of the SIM's network\n1-1.2: online\ngprsinternet\n")
        << run.err;
}

TEST(Boot, AndHotplugEventsAtTheSameTimeConnectOnce)
{
    const RouterRun run =
        router({"--modem", sim, "--link", "setup=100"},
               "/etc/init.d/modemctl start & " + appears + show_log + "uci get network.modem_1_1_2.apn");
    EXPECT_EQ(run.out, "1-1.2: connecting with the APN of the SIM's network\n1-1.2: online\ngprsinternet\n") << run.err;
    EXPECT_EQ(count_of(run.journal_of("shell"), "ubus call network.interface.modem_1_1_2 up"), 1);
}

TEST(Boot, TwiceAtOnceConnectsOnce)
{
    const RouterRun run = router({"--modem", sim, "--link", "setup=100"},
                                 "/etc/init.d/modemctl start & /etc/init.d/modemctl start & wait; " + show_log);
    EXPECT_EQ(run.out, "1-1.2: connecting with the APN of the SIM's network\n1-1.2: online\n") << run.err;
    EXPECT_EQ(count_of(run.journal_of("shell"), "ubus call network.interface.modem_1_1_2 up"), 1);
}

TEST(Boot, LeavesTheConfigurationAloneWhenTheModemGoesMeanwhile)
{
    const RouterRun run = router({"--modem", sim, "--fault", "gone-before=0:AT+CPIN?"},
                                 "cp -r /etc/config /tmp/before; /etc/init.d/modemctl start; " + show_log +
                                     "diff -r /tmp/before /etc/config && echo unchanged");
    EXPECT_EQ(run.out, "1-1.2: connecting with the APN of the SIM's network\n1-1.2: the modem is gone\n"
                       "1-1.2: not online yet\nunchanged\n")
        << run.err;
}

TEST(Boot, TakesTheFirstKnownModemWhereNoneIsConfigured)
{
    const std::string none_configured = "uci delete devconf.modem.bus; uci commit devconf; ";
    const RouterRun run = router({"--modem", "EC25@1-1.3,imsi=232031234567890", "--link", "setup=100"},
                                 none_configured + "/etc/init.d/modemctl start; " + show_log +
                                     "uci get devconf.modem.bus; until grep ' watch ' /tmp/procd; do sleep 0.1; done");
    EXPECT_EQ(run.out, "1-1.3: taken as the modem's bus\n1-1.3: connecting with the APN of the SIM's network\n"
                       "1-1.3: online\n1-1.3\n1-1.3: /usr/bin/modemctl watch 1-1.3\n")
        << run.err;
    const RouterRun listed = router({"--modem", "RM520N@1-1.3", "--link", "setup=100", "--put",
                                     SOURCE_ROOT "/packaging/data/models:/usr/share/modemctl/models"},
                                    none_configured + "/etc/init.d/modemctl start; head -n 1 /tmp/log");
    EXPECT_EQ(listed.out, "1-1.3: taken as the modem's bus\n") << listed.err;
    // Not every device with serial ports is a modem: one that is not known is not even asked.
    const RouterRun unknown =
        router({"--modem", "unlisted", "--link", "setup=100"},
               none_configured + "/etc/init.d/modemctl start; ls /tmp/log 2>/dev/null; uci -q get devconf.modem.bus");
    EXPECT_EQ(unknown.out, "");
    EXPECT_EQ(unknown.sent_to("ttyUSB0"), "");
}

TEST(Boot, TakesOneOfTwoModemsThatAppearAtOnce)
{
    const RouterRun run = router(
        {"--modem", sim, "--modem", "EP06@2-1.2,imsi=234151234567890", "--link", "setup=100"},
        "uci delete devconf.modem.bus; uci commit devconf; for bus in 1-1.2 2-1.2; do for i in 0 1 2 3 4; do "
        "hotplug-call usb add usb_interface $bus:1.$i & done; done; wait; uci get devconf.modem.bus; "
        "grep -c taken /tmp/log; grep -c online /tmp/log; uci show network | grep -c '[.]modem_[12]_1_2=interface'");
    EXPECT_TRUE(run.out == "1-1.2\n1\n1\n1\n" || run.out == "2-1.2\n1\n1\n1\n") << run.out << run.err;
}

TEST(Boot, ServesTheLevelsOfAModemThatItHasJustTaken)
{
    const RouterRun run = router({"--modem", "SIMCOM7600,imsi=232031234567890", "--link", "setup=100"},
                                 "uci delete devconf.modem.bus; uci commit devconf; /etc/init.d/modemctl start; "
                                 "until grep state /tmp/procd; do sleep 0.1; done");
    EXPECT_EQ(run.out, "1-1.2: /usr/libexec/modemctl/state 1-1.2 60\n") << run.err;
}

// apk starts the services of a package that it has upgraded, and does not stop them before.
TEST(PackageUpgrade, LeavesNoProgramOfTheOldPackageRunning)
{
    const RouterRun run = router({"--modem", "SIMCOM7600,imsi=232031234567890"},
                                 "for name in watch signal; do /etc/init.d/modemctl-$name start & done; "
                                 "until [ \"$(cat /tmp/procd.files | wc -l)\" = 2 ]; do sleep 0.1; done 2>/dev/null; "
                                 "sort /tmp/procd.files");
    EXPECT_EQ(run.out, "1-1.2: /usr/bin/modemctl\n1-1.2: /usr/libexec/modemctl/state\n") << run.err;
}

TEST(PackageUpgrade, StartsNoServiceThatIsDisabled)
{
    const RouterRun run =
        router({"--modem", "SIMCOM7600,imsi=232031234567890"},
               "rm /etc/rc.d/*; for service in /etc/init.d/modemctl*; do "
               "PKG_UPGRADE=1 $service start; done; cat /tmp/procd 2>/dev/null; "
               "/etc/init.d/modemctl-signal start & until cat /tmp/procd; do sleep 0.1; done 2>/dev/null");
    EXPECT_EQ(run.out, "1-1.2: /usr/libexec/modemctl/state 1-1.2 60\n") << run.err;
}

// Whoever holds a lock may be killed, by the kernel for lack of memory for instance.
TEST(Boot, TakesTheLockOfAProcessThatDied)
{
    const RouterRun run =
        router({"--modem", sim, "--link", "setup=100"},
               "uci delete devconf.modem.bus; uci commit devconf; mkdir -p /var/lock; umask 077; "
               "for lock in /var/run/modem_bus.lock /var/run/modemctl-reconnect.1-1.2.lock /var/run/modem_state.lock "
               "/var/lock/modemctl.network.lock /var/lock/modemctl.devconf.lock; do "
               "(exec 9>$lock; flock 9; echo $lock >>/tmp/held; exec sleep 100) & echo $! >>/tmp/holders; done; "
               "until [ \"$(wc -l </tmp/held)\" = 5 ]; do sleep 0.1; done; : >/var/run/modemctl-reconnect.1-1.2.again; "
               "hotplug-call usb add usb_interface 1-1.2:1.0 & sleep 1; ls /tmp/log 2>/dev/null; "
               "kill -9 $(cat /tmp/holders); wait $!; wait; hotplug-call usb bind usb_interface 1-1.2:1.0; wait; " +
                   show_log + "uci get network.modem_1_1_2.apn");
    EXPECT_EQ(run.out, "1-1.2: taken as the modem's bus\n1-1.2: connecting with the APN of the SIM's network\n"
                       "1-1.2: online\ngprsinternet\n")
        << run.err;
}

// A second place for a PIN or a password would be a file that nobody looks after.
TEST(Boot, KeepsSecretsInTheirFileAndThatFileToRoot)
{
    const RouterRun run = router(
        {"--modem", sim, "--link", "setup=100"},
        "mkdir -m 700 /run/own; sh /etc/uci-defaults/30-modemctl; rm /etc/config/devconf; sh "
        "/etc/uci-defaults/30-modemctl; "
        "uci add_list devconf.modem.bus=1-1.2; uci commit devconf; " +
            connect_with_own_apn +
            "uci set network.modem_1_1_2.password=geheim77; uci set network.modem_1_1_2.pincode=73914862; uci "
            "commit; " +
            go_down +
            // Whatever is in one of these folders at any moment.
            "touch /tmp/runs; (while [ -e /tmp/runs ]; do find /tmp /run /var/lock /etc -type f ! -perm 0600 "
            "-exec grep -lE 'geheim77|73914862' {} + 2>/dev/null; done >/run/own/readable) & "
            "/etc/init.d/modemctl start 2>/run/own/errors; hotplug-call usb add usb_interface 1-1.2:1.0 "
            "2>>/run/own/errors; "
            "modemctl new-connect-auto 2>>/run/own/errors >/dev/null; rm /tmp/runs; wait; "
            "grep -rlE 'geheim77|73914862' /tmp /run /var/lock /etc | grep -v /run/own; sort -u /run/own/readable; "
            "stat -c '%a %n' /etc/config/network /etc/config/devconf; grep -cE 'geheim77|73914862' /tmp/log "
            "/run/own/errors; "
            "uci get network.modem_1_1_2.pincode");
    EXPECT_EQ(run.out, "/etc/config/network\n600 /etc/config/network\n600 /etc/config/devconf\n/tmp/log:0\n"
                       "/run/own/errors:0\n73914862\n")
        << run.err;
    for (const std::string &line : run.journal_of("syslog"))
        EXPECT_EQ(line.find("geheim77"), std::string::npos) << line;
    for (const char *kind : {"shell", "run"})
        EXPECT_EQ(count_of(run.journal_of(kind, "modemctl"), "geheim77"), 0) << kind;
}

// Who makes UCI's folder of saved changes first, at boot, must not have them committed.
TEST(Boot, CommitsNoChangesOfAnotherUser)
{
    const RouterRun run =
        router({"--modem", sim, "--link", "setup=100"},
               "uci delete devconf.modem.bus; uci commit devconf; rm -rf /tmp/.uci; mkdir -m 777 /tmp/.uci; "
               "echo \"devconf.evil='modem'\" >/tmp/.uci/devconf; chown -R 65534 /tmp/.uci 2>/dev/null || { echo "
               "alone; exit; }; "
               "/etc/init.d/modemctl start; uci show devconf | grep evil; stat -c '%u %a' /tmp/.uci; uci get "
               "devconf.modem.bus");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "0 700\n1-1.2\n") << run.err;
}

// The removal of all messages names the spool's files by a pattern.
TEST(Boot, MakesTheSpoolWhereNobodyElseCanPutALink)
{
    const RouterRun run = router(
        {"--modem", sim},
        "rm -rf /var/spool /etc/spool; mkdir -p /etc/spool /etc/kept /var/spool/sms; echo 1 >/etc/kept/file; "
        "ln -s /var/spool/sms /etc/spool/sms; ln -s /etc/kept /var/spool/sms/incoming; "
        "ln -s /etc/kept /var/spool/sms/storage; chown -hR 65534 /var/spool 2>/dev/null || { echo alone; exit; }; "
        "/etc/init.d/modemctl-signal start; modemapi post /modem/sms/delete_all '{\"modem_id\":3}' 2>/dev/null | head "
        "-n "
        "1; cat /etc/kept/file; stat -c %u /var/spool /var/spool/sms /var/spool/sms/incoming");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "0\n1\n0\n0\n0\n") << run.err;
}

TEST(Boot, WithoutAModemIsQuiet)
{
    const RouterRun run =
        router({}, "uci delete devconf.modem.bus; uci commit devconf; /etc/init.d/modemctl start; echo $?; "
                   "ls /tmp/log 2>/dev/null");
    EXPECT_EQ(run.out, "0\n") << run.err;
    EXPECT_EQ(run.err, "");
}

TEST(Boot, WithoutAnApnDatabaseSaysSo)
{
    const RouterRun run = router({"--modem", sim, "--link", "setup=100"},
                                 "rm /www/src/lib/apn-config.js; /etc/init.d/modemctl start; " + show_log);
    EXPECT_EQ(run.out, "1-1.2: connecting with the APN of the SIM's network\n"
                       "1-1.2: no APN database: install modemctl-data, or connect with an APN of your own\n"
                       "1-1.2: online\n")
        << run.err;
}

TEST(Boot, GoesOnToTheApnWithWhichSomethingAnswersAndKeepsItForTheCard)
{
    const RouterRun run = router({"--modem", "EC25,imsi=310260123456789,ef_ad=00000003,iccid=8901260000000000001",
                                  "--link", "setup=100", "--put", BUILD_ROOT "/packaging/apns:/usr/share/modem/apns"},
                                 "echo epc.tmobile.com >/tmp/walled; /etc/init.d/modemctl start; " + show_log +
                                     "uci get network.modem_1_1_2.apn; cat /etc/modemctl/worked-apns; "
                                     "modemctl apn | sed -n 2p | tr -s ' '");
    EXPECT_EQ(run.out, "1-1.2: connecting with the APN of the SIM's network\n1-1.2: online\nepc.tmobile.com\n"
                       "8901260000000000001\tepc.tmobile.com\t\t\tnone\tipv4v6\n"
                       "epc.tmobile.com NONE ipv4v6 worked before\n")
        << run.err;
}

TEST(SlowBoot, TakesTheFirstApnThatIsAcceptedIfNothingAnswers)
{
    const RouterRun run = router({"--modem", "EC25,imsi=310260123456789,ef_ad=00000003", "--link", "setup=100", "--put",
                                  BUILD_ROOT "/packaging/apns:/usr/share/modem/apns"},
                                 "echo none >/tmp/walled; /etc/init.d/modemctl start; " + show_log +
                                     "uci get network.modem_1_1_2.apn; ls /etc/modemctl/worked-apns");
    EXPECT_EQ(run.out, "1-1.2: connecting with the APN of the SIM's network\n1-1.2: connected, but nothing answers\n"
                       "1-1.2: online\nfast.t-mobile.com\n")
        << run.err;
}

TEST(Boot, OnARouterWithoutItsMakersCommandsStillConnects)
{
    const RouterRun run = router(
        {"--modem", sim, "--link", "setup=100"},
        "rm /etc/config/mwan3 /etc/config/cellconf /etc/config/smsrelay /etc/config/devconf; "
        "for name in mwan3 zonewall uqmi iwinfo opkg sendsms ssmtp wifi mbn_refresh carrier_check signal_led.sh; do "
        "rm /usr/bin/$name /usr/sbin/$name; done; rm /etc/init.d/mwan3 /etc/init.d/smstools3 /etc/init.d/routes; "
        "sh /etc/uci-defaults/30-modemctl; /etc/init.d/modemctl start; " +
            show_log + "uci get network.modem_1_1_2.apn");
    EXPECT_EQ(run.out, "1-1.2: taken as the modem's bus\n1-1.2: connecting with the APN of the SIM's network\n1-1.2: "
                       "online\ngprsinternet\n")
        << run.err;
}

TEST(UciDefaults, MakeTheSectionsOnAStockRouter)
{
    const RouterRun run =
        router({}, "rm /etc/config/devconf /etc/config/cellconf /etc/config/smsrelay /etc/config/mwan3; "
                   "uci delete system.led_3gnet; uci commit system; "
                   "sh /etc/uci-defaults/30-modemctl; echo $?; uci changes; "
                   "uci show devconf; uci show cellconf; uci show smsrelay; [ -e /etc/config/mwan3 ] || echo no mwan3; "
                   "uci -q get system.led_3gnet");
    EXPECT_EQ(run.out, "0\ndevconf.modem=modem\ndevconf.modem_sms=service\ndevconf.passthrough=passthrough\n"
                       "cellconf.sim=sim\nsmsrelay.general=sms\n"
                       "no mwan3\n")
        << run.err;
}

TEST(UciDefaults, OverwriteNothing)
{
    const std::string all =
        "for package in devconf cellconf smsrelay mwan3 system network; do uci export $package; done";
    const RouterRun run = router({}, "uci set devconf.modem.operator=Mine; uci set devconf.passthrough=mine; "
                                     "uci set devconf.modem_sms=mine; uci set cellconf.sim=mine; "
                                     "uci set cellconf.sim.sim_num=2; uci commit; " +
                                         all +
                                         " >/tmp/before; "
                                         "sh /etc/uci-defaults/30-modemctl; sh /etc/uci-defaults/30-modemctl; " +
                                         all +
                                         " >/tmp/after; "
                                         "cmp /tmp/before /tmp/after && grep -c mine /tmp/after");
    EXPECT_EQ(run.out, "3\n") << run.out << run.err;
}

TEST(UciDefaults, GiveTheModemAnLedThatNothingElseUses)
{
    const std::string leds =
        "mkdir -p /sys/class/leds/green:wwan /sys/class/leds/green:lte; "
        "uci delete system.led_3gnet; uci set system.led_modem.sysfs=green:wwan; uci commit system; ";
    const RouterRun run = router({}, leds + "sh /etc/uci-defaults/30-modemctl; uci show system.led_3gnet");
    EXPECT_EQ(run.out, "system.led_3gnet=led\nsystem.led_3gnet.name='3gnet'\nsystem.led_3gnet.sysfs='green:lte'\n"
                       "system.led_3gnet.trigger='netdev'\nsystem.led_3gnet.mode='link tx rx'\n")
        << run.err;
}

} // namespace openwrt_scripts_test
