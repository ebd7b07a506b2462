#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// What the OpenWrt package supplies in place of the programs of the routers' makers.

namespace stock_router_test {

using Lines = std::vector<std::string>;
using Names = std::set<std::string>;

const std::string files = SOURCE_ROOT "/packaging/openwrt/files";
const std::string stand_ins = SOURCE_ROOT "/tests/data/openwrt";
const std::string models_file = SOURCE_ROOT "/packaging/data/models:/usr/share/modemctl/models";

/// A router with the package. Programs that the simulator records, and a stock OpenWrt lacks, are taken away.
RouterRun stock_router(Lines options, const std::string &script, const std::string &missing = "")
{
    options.insert(options.end(), {"--put", files + "/etc:/etc", "--put", files + "/usr:/usr", "--put",
                                   stand_ins + "/logger:/usr/sbin/logger", "--put-text", "/tmp/sim_status=ready"});
    const std::string take = missing.empty() ? "" : "for name in " + missing + "; do rm -f $(which -a $name); done; ";
    return run_shell(options, take + script);
}

// What OpenWrt's handlers read, as each says itself when it is asked ("dump"), and what the network daemon reads of
// every interface.
const std::map<std::string, Names> read_by = {
    {"qmi",
     {"device", "apn", "v6apn", "auth", "username", "password", "pincode", "delay", "modes", "pdptype", "profile",
      "v6profile", "dhcp", "dhcpv6", "autoconnect", "plmn", "timeout", "mtu"}},
    {"mbim",
     {"device", "apn", "pincode", "delay", "allow_roaming", "allow_partner", "auth", "username", "password", "dhcp",
      "dhcpv6", "pdptype", "mtu"}},
    {"ncm",
     {"device", "ifname", "apn", "auth", "username", "password", "pincode", "delay", "mode", "pdptype", "profile"}},
    {"directip", {"device", "apn", "pincode", "auth", "username", "password"}},
    {"3g",
     {"username", "password", "keepalive", "demand", "pppd_options", "ipv6", "mtu", "device", "apn", "service",
      "pincode", "delay", "dialnumber"}},
};
const Names read_of_all = {"proto", "metric", "disabled", "auto", "defaultroute", "peerdns", "dns"};
/// Makers' handlers and this program read these. Every connect writes them.
const Names read_by_others = {"ifname", "node", "service", "raw_ip"};
/// What a connection needs to be whole there.
const std::map<std::string, Names> needed_by = {
    {"qmi", {"device", "apn", "pdptype", "metric"}},
    {"mbim", {"device", "apn", "pdptype", "metric", "allow_roaming", "allow_partner"}},
    {"ncm", {"device", "apn", "pdptype", "metric"}},
    {"directip", {"device", "apn"}},
    {"3g", {"device", "apn"}},
};

struct SectionRow {
    const char *modem;
    const char *connect;
    const char *proto;
    const char *device;
};
const SectionRow section_rows[] = {
    {"EC25", "connect qmi /dev/cdc-wdm0 fdd_lte internet", "qmi", "/dev/cdc-wdm0"},
    {"EC25", "connect serial /dev/ttyUSB3 fdd_lte internet", "3g", "/dev/ttyUSB3"},
    {"EP06", "connect qmi /dev/cdc-wdm0 fdd_lte internet", "qmi", "/dev/cdc-wdm0"},
    {"EC200T", "connect serial /dev/ttyUSB2 fdd_lte internet", "ncm", "/dev/ttyUSB2"},
    {"ME3630", "connect serial /dev/ttyUSB1 fdd_lte internet", "ncm", "/dev/ttyUSB1"},
    {"MC7430", "connect serial /dev/ttyUSB2 fdd_lte internet", "directip", "/dev/ttyUSB2"},
    {"SIMCOM7600", "connect serial /dev/ttyUSB3 fdd_lte internet", "qmi", "/dev/cdc-wdm0"}, // its kernel driver's
    {"BG95", "connect serial /dev/ttyUSB2 fdd_lte internet", "3g", "/dev/ttyUSB2"},
    {"EM9190", "connect serial /dev/cdc-wdm0 fdd_lte internet", "mbim", "/dev/cdc-wdm0"},
};

TEST(StockRouter, GetsASectionWithWhatItsHandlersReadAndNothingElse)
{
    for (const SectionRow &row : section_rows) {
        const RouterRun run = stock_router({"--modem", row.modem, "--put", models_file, "--link", "setup=never"},
                                           std::string{"modemctl "} + row.connect +
                                               " >/dev/null; uci show network.modem_1_1_2 | sed -n "
                                               "\"s/^network.modem_1_1_2.\\([^=]*\\)='\\(.*\\)'$/\\1 \\2/p\"");
        std::map<std::string, std::string> section;
        std::istringstream lines{run.out};
        for (std::string line; std::getline(lines, line);)
            section[line.substr(0, line.find(' '))] = line.substr(line.find(' ') + 1);
        EXPECT_EQ(section["proto"], row.proto) << row.modem;
        EXPECT_EQ(section["device"], row.device) << row.modem;
        for (const auto &[option, value] : section)
            EXPECT_TRUE(read_by.at(row.proto).contains(option) || read_of_all.contains(option) ||
                        read_by_others.contains(option))
                << row.modem << " " << row.proto << ": nobody reads " << option;
        for (const std::string &option : needed_by.at(row.proto))
            EXPECT_FALSE(section[option].empty()) << row.modem << " " << row.proto << " lacks " << option;
        const bool has_ip_type = read_by.at(row.proto).contains("pdptype");
        EXPECT_EQ(section["pdptype"], has_ip_type ? "ipv4v6" : "") << row.modem;
    }
}

const Lines two_modems{"--modem", "EC25",
                       "--modem", "EP06@1-1.4",
                       "--link",  "modem_1_1_2,setup=100",
                       "--link",  "modem_1_1_4,setup=100,address=10.65.1.2/30,gateway=10.65.1.1"};
const std::string connect_first = "modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet >/dev/null; ";
const std::string connect_second = "modemctl 1-1.4 connect qmi /dev/cdc-wdm1 fdd_lte internet >/dev/null; ";
const std::string show_routes =
    "until [ $(ubus -S call network.interface dump | grep -o 'wwan[01]\",\"proto' | wc -l) = 2 "
    "]; do sleep 0.1; done; grep -P 'wwan.\\t00000000' /proc/net/route | cut -f 1,3,7; ";

TEST(StockRouter, GivesEachModemADefaultRouteOfItsOwn)
{
    const RouterRun run = stock_router(
        two_modems,
        connect_first + connect_second + show_routes + connect_first + connect_second + show_routes +
            "uci set devconf.modem_1_1_4=interface; uci set devconf.modem_1_1_4.metric=7; uci commit devconf; " +
            connect_second + connect_first + show_routes);
    const std::string first = "wwan0\t0101400A\t40\n";
    const std::string second = "wwan1\t0101410A\t50\n";
    EXPECT_EQ(run.out, first + second + first + second + "wwan1\t0101410A\t7\n" + first) << run.err;
}

TEST(StockRouter, TakesAMetricThatNoOtherInterfaceHas)
{
    const RouterRun run =
        stock_router({"--modem", "EC25", "--link", "setup=100"},
                     "uci set network.wan.metric=40; uci set network.lan.metric=60; "
                     "uci set network.old=route; uci set network.old.metric=x; uci commit network; " +
                         connect_first +
                         "uci get network.modem_1_1_2.metric; uci set network.wan.metric=50; "
                         "uci commit network; " +
                         connect_first + "uci get network.modem_1_1_2.metric; uci get network.wan.metric");
    EXPECT_EQ(run.out, "50\n40\n50\n") << run.err;
}

// Each one's script sees what the other's program wrote last.
TEST(StockRouter, GivesModemsThatConnectAtOnceDifferentMetrics)
{
    const RouterRun run = stock_router(two_modems, "for i in 1 2 3; do { " + connect_first + "} & { " + connect_second +
                                                       "} & wait; done; echo $(for bus in 2 4; do uci get "
                                                       "network.modem_1_1_$bus.metric; done | sort)");
    EXPECT_EQ(run.out, "40 50\n") << run.err;
}

// It may be what brings the other one online just now. A device that is gone is nobody's.
TEST(StockRouter, EndsNoQmiProgramOfAnotherModem)
{
    // It waits for who writes into the pipe, which nobody does.
    const std::string at_work = "mkfifo /tmp/never; mkdir /tmp/bin; cp /usr/bin/tac /tmp/bin/uqmi\n"
                                "start() { /tmp/bin/uqmi -- /tmp/never -d $1 & }\n"
                                "start /dev/cdc-wdm0; start /dev/cdc-wdm1; start /dev/cdc-wdm10\n"
                                "until [ $(pidof uqmi | wc -w) = 3 ]; do sleep 0.1; done\n"
                                "left() { for process in $(pidof uqmi); do tr '\\0' '\\n' "
                                "</proc/$process/cmdline; done | grep /dev/ | sort; }\n";
    const std::string connect = "connect qmi /dev/cdc-wdm0 fdd_lte internet >/dev/null\nleft\n";
    const RouterRun run =
        stock_router(two_modems, at_work + "modemctl 1-1.2 " + connect + "echo again\nstart /dev/cdc-wdm0\n" +
                                     connect_second + "left\necho all\nstart /dev/cdc-wdm0\nmodemctl " + connect);
    EXPECT_EQ(run.out, "/dev/cdc-wdm1\nagain\n/dev/cdc-wdm0\nall\n") << run.err;
}

TEST(StockRouter, PrintsNothingOfWhatTheQmiProgramPrints)
{
    const std::string stop = "uqmi -d /dev/cdc-wdm0 --stop-network 4294967295 --autoconnect";
    const RouterRun run = stock_router({"--modem", "EC25", "--link", "setup=100", "--answer", "uqmi:0:\"No effect\""},
                                       "modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet; " + stop);
    EXPECT_EQ(run.out, "\nconnect success\n\"No effect\"\n") << run.err;
    const Lines commands = run.journal_of("run");
    EXPECT_EQ(std::ranges::count_if(commands, [&](const std::string &line) { return line.ends_with(stop); }), 2)
        << "by modemctl and by hand";
}

struct MbimLoginRow {
    const char *members; ///< of the request beside model and device
    const char *auth;
};
// As umbim takes them: it compares with these words, and sends no login without one.
const MbimLoginRow mbim_login_rows[] = {
    {R"("username":"me","password":"pw","ath":"PAP")", "pap"},
    {R"("username":"me","password":"pw","ath":"CHAP")", "chap"},
    {R"("username":"me","password":"pw","ath":"PAP or CHAP")", "pap"},
    {R"("username":"me","password":"pw","ath":"NONE")", "NONE"},
    {R"("username":"me","password":"pw")", "pap"},
    {R"("ath":"NONE")", "NONE"},
    {R"("ath":"")", ""},
};

TEST(StockRouter, GivesTheMbimHandlerALoginInItsOwnWords)
{
    std::string script;
    std::string expected;
    for (const MbimLoginRow &row : mbim_login_rows) {
        script += R"(modemapi post /modem/set '{"modem_id":123,"device":"/dev/cdc-wdm0","apn":"a",)" +
                  std::string{row.members} + "}' >/dev/null; echo \"$(uci -q get network.modem_1_1_2.auth)\"; ";
        expected += row.auth + std::string{"\n"};
    }
    const RouterRun run =
        stock_router({"--modem", "EM9190", "--put", models_file, "--link", "setup=10"},
                     script + "uci set devconf.modem_1_1_2=interface; uci set devconf.modem_1_1_2.allow_roaming=0; "
                              "uci commit devconf; modemctl connect serial /dev/cdc-wdm0 fdd_lte a >/dev/null; "
                              "uci get network.modem_1_1_2.allow_roaming; uci get network.modem_1_1_2.allow_partner");
    EXPECT_EQ(run.out, expected + "0\n1\n") << run.err;
}

TEST(StockRouter, TakesTheUsersIpTypeAndModesOverEveryConnect)
{
    const RouterRun run =
        stock_router({"--modem", "EC25", "--link", "setup=100"},
                     "uci set devconf.modem_1_1_2=interface; uci set devconf.modem_1_1_2.pdptype=ipv6; "
                     "uci set devconf.modem_1_1_2.modes=lte,umts; uci commit devconf; for i in 1 2; do "
                     "modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet >/dev/null; "
                     "uci get network.modem_1_1_2.pdptype; uci get network.modem_1_1_2.modes; uci changes; done");
    EXPECT_EQ(run.out, "ipv6\nlte,umts\nipv6\nlte,umts\n") << run.err;
}

const std::string iface_event = "; . /etc/hotplug.d/iface/19-modemctl); ";

std::string event(const std::string &action, const std::string &device = "wwan0")
{
    return "(ACTION=" + action + "; INTERFACE=modem_1_1_2; DEVICE=" + device + iface_event;
}

TEST(StockRouter, TriesIpv4AloneWhereBothAreRefusedAndTheOtherWayRound)
{
    const std::string type = "uci get network.modem_1_1_2.pdptype; ";
    const RouterRun run = stock_router({"--modem", "EC25", "--link", "setup=never"},
                                       "modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet >/dev/null; " + type +
                                           event("ifup-failed", "") + type +
                                           "modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet >/dev/null; " + type +
                                           event("ifup-failed", "") + type +
                                           "uci set devconf.modem_1_1_2=interface; "
                                           "uci set devconf.modem_1_1_2.pdptype=ipv4v6; uci commit; " +
                                           event("ifup-failed", "") + type + "cat /tmp/log");
    EXPECT_EQ(run.out, "ipv4v6\nip\nip\nipv4v6\nipv4v6\n"
                       "modem_1_1_2: not connected with IPv4 and IPv6, trying IPv4 alone\n")
        << run.err;
}

TEST(StockRouter, ForcesTheTtlOfTheDeviceThatTheInterfaceHasUntilTheSettingGoes)
{
    const std::string set = R"(modemapi post /modem/set '{"modem_id":3,"device":"/dev/cdc-wdm0")";
    const std::string show = "cat /var/run/modemctl-ttl.* 2>/dev/null; echo .; ";
    const auto by_hand = [](const std::string &ttl) {
        return "uci set cellconf.modem_1_1_2.ttl='" + ttl + "'; uci commit cellconf; " + event("ifup");
    };
    const RouterRun run =
        stock_router({"--modem", "EC25", "--link", "setup=100"},
                     set + ",\"ttl\":65}' >/dev/null; " + event("ifup", "wwan3") + show + event("ifup", "wwan4") +
                         event("ifup", "wwan4") + show + event("ifup", "'wwan4\";'") + show + set + "}' >/dev/null; " +
                         event("ifup") + show + "uci set cellconf.modem_1_1_2=forceTTL; " + by_hand("256") + show +
                         by_hand("-1") + show + by_hand("1;2") + show);
    EXPECT_EQ(run.out, "oifname \"wwan3\" ip ttl set 65\noifname \"wwan3\" ip6 hoplimit set 65\n.\n"
                       "oifname \"wwan4\" ip ttl set 65\noifname \"wwan4\" ip6 hoplimit set 65\n.\n"
                       ".\n.\n.\n.\n.\n")
        << run.err;
    const auto commands = run.journal_of("run");
    EXPECT_EQ(std::count(commands.begin(), commands.end(), "/etc/init.d/firewall reload") -
                  std::count(run.journal.begin(), run.journal.end(), "shell\tmodemapi\t/etc/init.d/firewall reload"),
              3)
        << "once for each change";
}

TEST(StockRouter, SendsAMessageByTheDaemonsSpoolAndNotByTheDaemonsScript)
{
    const std::string daemons_script =
        "mkdir -p /var/spool/sms/outgoing; printf '#!/bin/sh\\n# a sms file in the outgoing "
        "queue.\\ntouch /tmp/wrong\\n' >/usr/bin/sendsms; chmod 755 /usr/bin/sendsms; ";
    const std::string show =
        "cd /var/spool/sms/outgoing; for file in *; do cat $file; echo; rm $file; done; ls /tmp/wrong "
        "/var/spool/sms/send* 2>/dev/null; ";
    const auto send = [](const std::string &members) {
        return "modemapi post /modem/sms/send '{\"modem_id\":3," + members + "}' >/dev/null; ";
    };
    const RouterRun run = stock_router(
        {"--modem", "EC25"},
        daemons_script + send("\"number\":\"+4917012345\",\"message\":\"hello world $(touch /tmp/wrong)\"") + show +
            send("\"number\":\"110\",\"message\":\"Grüße\",\"type\":\"national\"") + show +
            send("\"number\":\"1;2\",\"message\":\"no number\"") +
            send("\"number\":\"110\",\"message\":\"a\",\"type\":\"b\\nc\"") + "ls /var/spool/sms/outgoing",
        "sendsms");
    EXPECT_EQ(run.out, "To: 4917012345\nTo_TOA: international\n\nhello world $(touch /tmp/wrong)\n"
                       "To: 110\nTo_TOA: national\nAlphabet: UTF-8\n\nGrüße\n");
}

TEST(StockRouter, LooksForMessagesInTheSpoolThatIsInMemory)
{
    const std::string message = "From: 49170\\nSent: 26-11-22 05:00:00\\n\\nhello";
    const RouterRun run = stock_router(
        {"--modem", "EC25"}, "rm -rf /etc/spool/sms; sh /etc/uci-defaults/30-modemctl; readlink /etc/spool/sms; "
                             "printf '" +
                                 message +
                                 "' >/var/spool/sms/incoming/GMS99.abc; "
                                 "modemapi get /modem/sms/list '{\"modem_id\":3}' | grep -c hello; "
                                 "sh /etc/uci-defaults/30-modemctl; ls -d /var/spool/sms/sms 2>/dev/null");
    EXPECT_EQ(run.out, "/var/spool/sms\n1\n") << run.err;
}

TEST(StockRouter, LeavesSendingToTheMakersProgramWhereThereIsOne)
{
    const RouterRun run =
        stock_router({"--modem", "EC25"}, "modemapi post /modem/sms/send "
                                          "'{\"modem_id\":3,\"number\":\"110\",\"message\":\"hello\"}'");
    EXPECT_EQ(run.journal_of("run"), Lines{"/usr/sbin/sendsms 110 hello international"});
}

TEST(StockRouter, MailsByMsmtpWhereSsmtpIsGone)
{
    const std::string account = R"(modemapi post /modem/sms/account '{"account":"me@example.org",)"
                                R"("password":"secret","smtp":"mail.example.org:587"}'; )";
    const std::string put = "program() { mkdir -p /usr/bin; printf '#!/bin/sh\\n%s\\n' \"$2\" >/usr/bin/$1; chmod 755 "
                            "/usr/bin/$1; }; program apk 'echo \"base-files-1~abc x86_64 {base} [installed]\"'; ";
    const RouterRun none = stock_router({"--modem", "EC25"}, put + account, "opkg ssmtp");
    EXPECT_NE(none.out.find("ssmtp don't exist"), std::string::npos) << none.out;
    const RouterRun run =
        stock_router({"--modem", "EC25"},
                     put + "mkdir -p /etc/ssmtp; program msmtp 'echo \"$@\" >/tmp/mailed; cat >>/tmp/mailed'; " +
                         account + "cat /tmp/mailed",
                     "opkg ssmtp timeout");
    EXPECT_EQ(run.out.find("ssmtp don't exist"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("--port=587 --host=mail.example.org --from=me@example.org --user=me@example.org --auth=on "
                           "--timeout=15 --passwordeval=sed -n 's/^AuthPass=//p' /etc/ssmtp/ssmtp.conf --tls=on "
                           "--tls-starttls=on -- me@example.org\n"),
              std::string::npos)
        << run.out << run.err;
    EXPECT_EQ(run.out.find("secret"), std::string::npos);
}

TEST(StockRouter, SaysThatItCannotUpgradeAModem)
{
    const RouterRun run = stock_router(
        {"--modem", "EP06"},
        R"(modemapi post /modem/upgrade '{"modem_url":"http://example.org/fw.zip","target_version":"EP06_2",)"
        R"("current_version":"EP06ELAR03A08M4G_01.001.01.001","firmware_upload":"0","hash_type":"md5","hash_value":"d4"}')",
        "modem_fw_flash");
    EXPECT_EQ(run.out, "0\n{\n  \"missing\":\"\\/usr\\/bin\\/modem_fw_flash\"\n}\n");
}

TEST(StockRouter, MovesTheRadioThatOpenWrtCallsByItsOwnName)
{
    const RouterRun run = stock_router(
        {"--modem", "EC25", "--answer", "iwinfo radio1 info:0:          Mode: Master  Channel: 1 (2.412 GHz)"},
        "uci set wireless.radio0=wifi-device; uci set wireless.radio0.band=5g; uci set wireless.radio1=wifi-device; "
        "uci set wireless.radio1.band=2g; uci set wireless.radio1.channel=auto; uci set devconf.modem.dev1=40; uci "
        "commit; "
        "modemctl wifi_lte_interference; uci get wireless.radio1.channel");
    EXPECT_EQ(run.out, "11\n") << run.err;
}

TEST(StockRouter, SwitchesThePowerByTheNamesThatLinesHave)
{
    const std::string none = "rm -rf /sys/class/leds/*:usbpow* /sys/class/leds/*:3gcontrol /sys/class/gpio/*; ";
    // The level while the power is off, however late a busy machine lets us look.
    const std::string cycle =
        "(was=$(cat /sys/class/gpio/*/value); while [ \"$(cat /sys/class/gpio/*/value)\" = $was ]; do "
        "sleep 0.05; done; cat /sys/class/gpio/*/value) & " +
        built_word("call_operation") + " 3 1-1.2 power_cycle; cat /sys/class/gpio/*/value; tail -n 1 /tmp/log; ";
    const auto line = [](const std::string &name, const std::string &level) {
        return "mkdir -p /sys/class/gpio/" + name + "; echo " + level + " >/sys/class/gpio/" + name + "/value; ";
    };
    EXPECT_EQ(stock_router({"--modem", "EC25"}, none + line("modem-reset", "0") + cycle).out,
              "1\n0 \n0\n1-1.2: switching /sys/class/gpio/modem-reset/value\n");
    EXPECT_EQ(stock_router({"--modem", "EC25"}, none + line("gpio407", "1") +
                                                    "uci add system gpio_switch >/dev/null; "
                                                    "uci set system.@gpio_switch[0].name='USB Power'; "
                                                    "uci set system.@gpio_switch[0].gpio_pin=407; uci commit; " +
                                                    cycle)
                  .out,
              "0\n0 \n1\n1-1.2: switching /sys/class/gpio/gpio407/value\n");
    EXPECT_EQ(stock_router({"--modem", "EC25"}, none + line("led_blue", "1") + cycle.substr(cycle.find("& ") + 2)).out,
              "0 \n1\n1-1.2: this board has no power switch with the name of a modem\n");
}

// The tools of OpenWrt 23.05 and those of 24.10 understand different words, and each has its own program to find a
// line.
TEST(StockRouter, SwitchesThePowerByANameOfTheDeviceTree)
{
    const std::string tools = "rm -rf /sys/class/leds/*:usbpow* /sys/class/leds/*:3gcontrol /sys/class/gpio/*; "
                              "mkdir /tmp/bin; export PATH=/tmp/bin:$PATH; cd /tmp/bin; "
                              "tool() { printf '#!/bin/sh\n%s\n' \"$2\" >$1; chmod +x $1; }; "
                              "tool gpioset 'echo \"$*\" >>/tmp/switched'; ";
    const std::string switch_power = "/usr/libexec/modemctl/power; echo $?; " + built_word("call_operation") +
                                     " 3 1-1.2 power_cycle; cat /tmp/switched; tail -n 1 /tmp/log";
    const std::string older = "tool gpioinfo 'exit 1'; tool gpiofind '[ \"$1\" = lte-power ] && echo gpiochip1 17'; ";
    EXPECT_EQ(stock_router({"--modem", "EC25"}, tools + older + switch_power).out,
              "0\n0 \n--mode=time --sec=1 gpiochip1 17=0\n--mode=exit gpiochip1 17=1\n1-1.2: switching lte-power\n");
    const std::string newer = "tool gpioinfo '[ \"$1\" = lte-power ]'; ";
    EXPECT_EQ(stock_router({"--modem", "EC25"}, tools + newer + switch_power).out,
              "0\n0 \n--toggle 1s,0 lte-power=0\n1-1.2: switching lte-power\n");
    const std::string neither = "tool gpioinfo 'exit 1'; tool gpiofind 'exit 1'; touch /tmp/switched; ";
    EXPECT_EQ(stock_router({"--modem", "EC25"}, tools + neither + switch_power).out,
              "1\n0 \n1-1.2: this board has no power switch with the name of a modem\n");
}

TEST(StockRouter, GivesTheWatchAPowerSwitchOnlyIfItHasOne)
{
    const std::string script =
        "rm -rf /sys/class/leds/*:usbpow* /sys/class/leds/*:3gcontrol /sys/class/gpio/*; mkdir /sys/class/gpio/$line; "
        "echo 0 >/sys/class/gpio/$line/value; "
        "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi; "
        "uci set network.modem_1_1_2.device=/dev/cdc-wdm0; uci commit network; ubus call network reload; "
        "touch /etc/config/modemctl; uci set modemctl.watch=watch; uci set modemctl.watch.interval=1; "
        "uci set modemctl.watch.probe=none; uci set modemctl.watch.absent_wait=1; uci commit modemctl; "
        "is() { n=0; until modemctl watch status | grep -q \"^state *$1\"; do n=$((n + 1)); [ $n -lt 200 ] || break; "
        "sleep 0.1; done; }; "
        "mkdir /tmp/modem.1-1.2; chown 65534 /tmp/modem.1-1.2 2>/dev/null; "
        "/etc/init.d/modemctl-watch start & is online; printf 'AT+CGPADDR\\r' >/dev/ttyUSB2; is absent; sleep 4; "
        "grep -o 'switching.*' /tmp/log; ls /var/run/modemctl-power 2>/dev/null; "
        "modemctl watch status | sed -n 's/^budgets *power *//p'";
    const auto run = [&](const std::string &line) {
        return stock_router({"--modem", "EC25", "--link", "setup=100", "--fault", "gone-before=0:AT+CGPADDR", "--put",
                             stand_ins + "/rc.common:/etc/rc.common"},
                            "line=" + line + "; " + script);
    };
    EXPECT_EQ(run("modem-reset").out, "switching /sys/class/gpio/modem-reset/value\n/var/run/modemctl-power\n0\n");
    EXPECT_EQ(run("led_blue").out, "1\n");
}

TEST(StockRouter, HasTheLevelsOfModemsThatHaveNoOperationForThem)
{
    const std::string state =
        "/usr/libexec/modemctl/state 1-1.2; cat /tmp/modem.1-1.2/signal; modemctl signal | tr -d ' \\n'";
    const RouterRun run = stock_router({"--modem", "SIMCOM7600"}, "modemctl carrier >/dev/null; " + state);
    EXPECT_EQ(run.out,
              "{\"type\":\"lte\",\"rsrp\":-109,\"rsrq\":-18,\"snr\":80,\"rssi\":-74}\n"
              "{\"signals\":[{\"type\":\"LTE\",\"rssi\":\"-74\",\"rsrp\":\"-109\",\"rsrq\":\"-18\",\"sinr\":\"80\"}],"
              "\"strength\":2,\"mode\":\"4G\"}")
        << run.err;
    EXPECT_EQ(stock_router({"--modem", "EC25"}, "modemctl carrier >/dev/null; /usr/libexec/modemctl/state 1-1.2; "
                                                "ls /tmp/modem.1-1.2/signal 2>/dev/null")
                  .out,
              "")
        << "it has an operation for them";
}

TEST(StockRouter, NamesTheCardThatItsModemMustKnow)
{
    const std::string state = "/usr/libexec/modemctl/state 1-1.2; cat /tmp/sim_type 2>/dev/null; ";
    EXPECT_EQ(stock_router({"--modem", "EC25,imsi=311480123456789"}, state + state).out, "verizon\nverizon\n");
    EXPECT_EQ(stock_router({"--modem", "EC25,imsi=232031234567890"}, "echo verizon >/tmp/sim_type; " + state).out, "")
        << "another card";
}

TEST(StockRouter, NamesAnotherManagerThatHoldsTheModem)
{
    const std::string manager =
        "cp $(which sleep) /tmp/ModemManager; /tmp/ModemManager 60 3<>/dev/ttyUSB2 & sleep 0.2; ";
    const std::string all = "modemctl modems; modemctl modems --json | grep held_by; "
                            "modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet >/dev/null; kill %1; ";
    const RouterRun run = stock_router({"--modem", "EC25", "--link", "setup=100"}, manager + all);
    EXPECT_NE(run.out.find(" held by ModemManager\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\"held_by\":\"ModemManager\""), std::string::npos) << run.out;
    EXPECT_EQ(run.journal_of("syslog"),
              Lines{"warning ModemManager holds the modem on bus 1-1.2 too: stop it, or tell it "
                    "to leave this modem alone"});
    const RouterRun uqmi = stock_router({"--modem", "EC25", "--link", "setup=100"},
                                        "cp $(which sleep) /tmp/uqmi; /tmp/uqmi 60 3<>/dev/cdc-wdm0 & sleep 0.2; "
                                        "modemctl modems | grep held; kill %1");
    EXPECT_EQ(uqmi.out, "") << "it works for a connection";
}

} // namespace stock_router_test
