#include <algorithm>

#include <gtest/gtest.h>
#include <json-c/json.h>

#include "tests/system/harness.h"

// What a modem's report tells of its interface, SIM, signal and messages, asked through the shortest list that has it
// all, and through the commands for the supervisor and the Wi-Fi.

namespace status_test {

using Lines = std::vector<std::string>;

const std::string ask_report = "modemapi get /modem/app/brief_info; ";
const std::string connect_serially = "modemctl connect serial /dev/ttyUSB3 '*99#' internet >/dev/null 2>&1; ";

// The value of each member of the report's first modem, as plain JSON; empty when it is absent.
class Report {
  public:
    explicit Report(const RouterRun &run) : text_(run.out.substr(std::min(run.out.find('{'), run.out.size())))
    {
        json_ = json_tokener_parse(text_.c_str());
        if (json_object *modems = json_object_object_get(json_, "modems"); modems != nullptr)
            modem_ = json_object_array_get_idx(modems, 0);
        EXPECT_NE(modem_, nullptr) << run.out << run.err;
    }
    Report(const Report &) = delete;
    Report &operator=(const Report &) = delete;
    ~Report() { json_object_put(json_); }

    std::string operator[](const char *key) const
    {
        json_object *value = nullptr;
        if (!json_object_object_get_ex(modem_, key, &value))
            return "";
        return json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
    }

  private:
    std::string text_;
    json_object *json_;
    json_object *modem_ = nullptr;
};

RouterRun connected(Lines options, const std::string &script)
{
    options.insert(options.end(), {"--put-text", "/tmp/sim_status=ready", "--put-text", "/tmp/sim_type=att"});
    return run_shell(options, connect_serially + script);
}

TEST(Status, OfAnInterfaceThatIsUpHasItsAddressAndGateway)
{
    const RouterRun run =
        connected({"--modem", "EC25", "--link", "setup=100,address=10.64.1.2/30,gateway=10.64.1.1"}, ask_report);
    const Report report(run);
    EXPECT_EQ(report["up"], "\"on\"") << run.out;
    EXPECT_EQ(report["ip_addr"], "\"10.64.1.2\"");
    EXPECT_EQ(report["gateway"], "\"10.64.1.1\"");
    EXPECT_EQ(report["SIM_status"], "0");
    EXPECT_EQ(report["online"], "false");
    EXPECT_EQ(report["signal"], "3");
    EXPECT_EQ(report["mode"], "\"4G\"");
    EXPECT_EQ(report["newsms"], "0");
    const auto shell = run.journal_of("shell", "modemapi");
    EXPECT_NE(std::find(shell.begin(), shell.end(), "ifstatus modem_1_1_2 2>/dev/null"), shell.end());
}

// Received and sent bytes as the kernel counts them, on one line.
std::string show_counters(const std::string &device)
{
    return "sed -n 's/^ *" + device + ".*: *//p' /proc/net/dev | tr -s ' ' | cut -d ' ' -f 1,9; ";
}

TEST(Status, HasTheKernelsCountersOfAnEthernetDeviceAsNumbers)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25", "--link", "setup=100,traffic=3000000/140", "--put-text", "/tmp/sim_status=ready"},
        "modemctl connect qmi /dev/cdc-wdm0 internet >/dev/null 2>&1; " + show_counters("wwan0") + ask_report);
    const Report report(run);
    EXPECT_EQ(lines_of(run.out).at(0), "3000000 140");
    EXPECT_EQ(report["download"], "3000000.0");
    EXPECT_EQ(report["upload"], "140.0");
    EXPECT_EQ(report["ip_addr"], "\"10.64.1.2\"");
}

TEST(Status, HasTheKernelsCountersOfAPointToPointDeviceAsTexts)
{
    if (!has_tunnels())
        GTEST_SKIP() << "TUN devices are not allowed here";
    const RouterRun run = connected({"--modem", "EC25", "--link", "setup=100,traffic=3000000/140"},
                                    show_counters("3g-modem") + ask_report);
    const Report report(run);
    EXPECT_EQ(lines_of(run.out).at(0), "3000000 140");
    EXPECT_EQ(report["download"], "\"3000000\"") << "the device has no statistics of PPP";
    EXPECT_EQ(report["upload"], "\"140\"");
    EXPECT_EQ(report["ip_addr"], "\"10.64.1.2\"");
}

TEST(Status, HasThePppStatisticsOfAPppDeviceAsNumbers)
{
    if (!has_tunnels())
        GTEST_SKIP() << "TUN devices are not allowed here";
    const std::string with_ppp = "cp " + built_word("ppp_statistics.so") +
                                 " /tmp; export LD_PRELOAD=/tmp/ppp_statistics.so"
                                 " ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0; exec ";
    const RouterRun run =
        connected({"--modem", "EC25", "--link", "setup=100,traffic=3000000/140"}, with_ppp + ask_report);
    const Report report(run);
    EXPECT_EQ(report["download"], "4000000000.0");
    EXPECT_EQ(report["upload"], "12.0");
    EXPECT_EQ(report["ip_addr"], "\"10.64.1.2\"");
}

TEST(Status, WithoutTheKernelsTableLogsThatAndLeavesTheCountersOut)
{
    if (!has_tunnels())
        GTEST_SKIP() << "TUN devices are not allowed here";
    const std::string hide_table =
        "mount -t tmpfs none /proc/$$/net; exec "; // from the shell that becomes the back end
    const RouterRun run = connected({"--modem", "EC25", "--link", "setup=100"}, hide_table + ask_report);
    const Report report(run);
    EXPECT_EQ(report["up"], "\"on\"");
    EXPECT_EQ(report["ip_addr"], "\"10.64.1.2\"");
    EXPECT_EQ(report["download"], "");
    EXPECT_EQ(report["upload"], "");
    const Lines log = run.journal_of("syslog");
    EXPECT_NE(std::find(log.begin(), log.end(),
                        "err Function:get_ppp_ifstats_by_proc_net_dev Line:141 can't open 'proc/net/dev': No such file "
                        "or directory"),
              log.end())
        << testing::PrintToString(log);
}

TEST(Status, TellsAnInterfaceThatIsOnItsWayFromOneThatIsOff)
{
    const Lines options = {"--modem", "EC25", "--link", "setup=never"};
    EXPECT_EQ(Report(connected(options, ask_report))["up"], "\"connecting\"") << "pending";
    EXPECT_EQ(Report(connected(options, "uci set network.modem_1_1_2.auto=0; uci commit network; ubus call network "
                                        "reload; " +
                                            ask_report))["up"],
              "\"connecting\"")
        << "down, but configured and enabled";
    EXPECT_EQ(Report(connected(options, "uci set network.modem_1_1_2.disabled=1; uci commit network; ubus call network "
                                        "reload; " +
                                            ask_report))["up"],
              "\"off\"")
        << "disabled";
    EXPECT_EQ(Report(run_shell({"--modem", "EC25"}, ask_report))["up"], "\"off\"") << "not configured";
}

TEST(Status, SurvivesWhateverIfstatusPrints)
{
    const struct {
        const char *what;
        std::string program;
        const char *up;
    } rows[] = {
        {"half a document", "printf '{\"up\": true, \"pend'", "\"connecting\""},
        {"10 MB", "head -c 10000000 /dev/zero | tr '\\\\0' x", "\"connecting\""},
        {"nothing", "exit 1", "\"connecting\""},
        {"not found", "echo 'Interface modem not found'", "\"connecting\""},
        {"a document that says not found", "echo '{\"up\":true,\"x\":\"not found\"}'", "\"connecting\""},
        {"an array", "echo '[{\"up\": true}]'", "\"connecting\""},
        {"binary", "printf '\\001\\377{'", "\"connecting\""},
        {"other types", "echo '{\"up\":\"yes\",\"pending\":null,\"l3_device\":[],\"ipv4-address\":7}'", "\"on\""},
        {"a device that is none", "echo '{\"up\":true,\"l3_device\":\"none9\"}'", "\"on\""},
    };
    for (const auto &row : rows) {
        const RouterRun run = connected({"--modem", "EC25", "--link", "setup=100"},
                                        "rm /usr/sbin/ifstatus; cat >/usr/sbin/ifstatus <<'END'\n#!/bin/sh\n" +
                                            row.program + "\nEND\nchmod +x /usr/sbin/ifstatus; " + ask_report);
        const Report report(run);
        EXPECT_EQ(report["up"], row.up) << row.what;
        EXPECT_EQ(report["newsms"], "0") << row.what;
        EXPECT_EQ(report["download"], "") << row.what;
    }
}

TEST(Status, WithPassThroughTakesTheAddressFromNetifd)
{
    const std::string enable =
        "uci set devconf.passthrough=service; uci set devconf.passthrough.enable=1; uci commit; ";
    const Report own(connected({"--modem", "EC25", "--link", "setup=100,address=10.64.1.2/30"}, enable + ask_report));
    EXPECT_EQ(own["up"], "\"on\"");
    EXPECT_EQ(own["ip_addr"], "\"10.64.1.2\"");
    EXPECT_NE(own["gateway"], "");
    const Report companion(
        connected({"--modem", "EC25", "--link", "setup=100,address=10.64.1.6/30,companion=1"}, enable + ask_report));
    EXPECT_EQ(companion["ip_addr"], "\"10.64.1.6\"");
}

TEST(Status, WithPassThroughTakesNoAddressFromTheKernel)
{
    // An interface whose address netifd does not tell, on a device that has one.
    const std::string ifstatus = R"(rm /usr/sbin/ifstatus; cat >/usr/sbin/ifstatus <<'END'
#!/bin/sh
echo '{"up":true,"l3_device":"lo"}'
END
chmod +x /usr/sbin/ifstatus; ip link set lo up; )";
    const std::string enable =
        "uci set devconf.passthrough=service; uci set devconf.passthrough.enable=1; uci commit; ";
    EXPECT_EQ(Report(connected({"--modem", "EC25"}, ifstatus + ask_report))["ip_addr"], "\"127.0.0.1\"");
    EXPECT_EQ(Report(connected({"--modem", "EC25"}, ifstatus + enable + ask_report))["ip_addr"], "");
}

TEST(Status, EndsAtASimThatIsNotReady)
{
    const Report report(run_shell({"--modem", "EC25,pin=SIM PIN"}, ask_report));
    EXPECT_EQ(report["SIM_status"], "-2");
    EXPECT_EQ(report["online"], "");
    EXPECT_EQ(report["signal"], "");
    EXPECT_EQ(report["newsms"], "");
    EXPECT_EQ(Report(run_shell({"--modem", "EC25,pin=NOSIM"}, ask_report))["SIM_status"], "-1");
    EXPECT_EQ(Report(run_shell({"--modem", "EC25,pin=SIM PUK"}, ask_report))["SIM_status"], "-4");
    EXPECT_EQ(Report(run_shell({"--modem", "EC25,registration=0,ps_registration=0"}, ask_report))["SIM_status"], "-3");
}

TEST(Status, DoesNotAskTwoModelsForTheirSimWhileTheirInterfaceIsEnabled)
{
    for (const char *model : {"BG95", "EC100Y"}) {
        const std::string locked = std::string(model) + ",pin=SIM PIN";
        const RouterRun enabled = run_shell({"--modem", locked}, ask_report);
        EXPECT_EQ(Report(enabled)["SIM_status"], "0") << model;
        EXPECT_EQ(enabled.log.find("CPIN"), std::string::npos) << model;
        const RouterRun disabled = run_shell({"--modem", locked}, "uci set network.modem_1_1_2=interface; uci set "
                                                                  "network.modem_1_1_2.disabled=1; uci commit; " +
                                                                      ask_report);
        EXPECT_EQ(Report(disabled)["SIM_status"], "-2") << model;
    }
}

TEST(Status, IsOnlineWhenMultiWanSaysSo)
{
    const auto online = [](const std::string &status) {
        return Report(run_shell({"--modem", "EC25", "--put-text", "/var/run/mwan3track/modem_1_1_2/STATUS=" + status},
                                ask_report))["online"];
    };
    EXPECT_EQ(online("online"), "true");
    EXPECT_EQ(online("offline"), "false");
    EXPECT_EQ(online("[online]"), "true");
    EXPECT_EQ(online("0123456789abonline"), "false") << "16 bytes count";
    EXPECT_EQ(online("0123456789online"), "true");
    EXPECT_EQ(online(""), "false");
}

TEST(Status, CountsTheMessagesOfItsOwnDevice)
{
    const std::string spool = "cd /etc/spool/sms/incoming; touch GMS99.a xGMS99.b GMS98.c GMS99x; ";
    EXPECT_EQ(Report(run_shell({"--modem", "EC25"}, spool + ask_report))["newsms"], "2");
    EXPECT_EQ(Report(run_shell({"--modem", "EC25@1-1.3"},
                               "uci delete devconf.modem.bus; uci add_list devconf.modem.bus=1-1.3; uci commit; " +
                                   spool + ask_report))["newsms"],
              "1");
}

TEST(Status, OfTheUnknownDeviceIsItsInterfaceAndMessages)
{
    const Report report(run_shell({"--modem", "unlisted"}, "touch /etc/spool/sms/incoming/GMS99.a; " + ask_report));
    EXPECT_EQ(report["modem_id"], "255");
    EXPECT_EQ(report["name"], "\"-\"");
    EXPECT_EQ(report["up"], "\"off\"");
    EXPECT_EQ(report["SIM_status"], "");
    EXPECT_EQ(report["signal"], "");
    EXPECT_EQ(report["newsms"], "1");
}

TEST(Status, TakesTheSignalFromTheCacheWhereTheModelHasNone)
{
    const auto cached = [](const std::string &cache) {
        return Report(run_shell({"--modem", "ME3630", "--put-text", "/tmp/modem.1-1.2/signal=" + cache}, ask_report));
    };
    const Report lte = cached(R"({"type":"lte","rsrp":-95,"rsrq":-13,"snr":150,"rssi":-70})");
    EXPECT_EQ(lte["signal"] + lte["mode"] + lte["signal_info"], R"(2"4G")");
    const Report cdma = cached(R"({"type":"cdma","rssi":-60,"ecio":-5})");
    EXPECT_EQ(cdma["signal"] + cdma["mode"], R"(3"2G")");
    EXPECT_EQ(cached(R"({"type":"nr5g"})")["signal"], "") << "a cache that tells nothing is still the only source";
    const Report bars(run_shell({"--modem", "ME3630"}, ask_report));
    EXPECT_NE(bars["signal"], "") << "no cache";
}

TEST(Signal, ComesFromTheCacheForEveryTechnology)
{
    const RouterRun run = run_shell({"--modem", "SIMCOM7600"},
                                    "mkdir -p /tmp/modem.1-1.2; while read cache; do "
                                    "echo \"$cache\" >/tmp/modem.1-1.2/signal; modemctl signal | tr -d ' \\n'; echo; "
                                    "done <<'END'\n"
                                    "{\"type\":\"lte\",\"rsrp\":-95,\"rsrq\":-12,\"snr\":150,\"rssi\":-70}\n"
                                    "{\"type\":\"wcdma\",\"rssi\":-60,\"ecio\":-5}\n"
                                    "{\"type\":\"hdr\",\"rssi\":-60,\"ecio\":-5}\n"
                                    "{\"type\":\"cdma\",\"rssi\":-60,\"ecio\":-5}\n"
                                    "{\"type\":\"gsm\",\"signal\":-96}\n"
                                    "{\"type\":\"tdma\",\"rssi\":-60,\"signal\":-70}\n"
                                    "{\"type\":\"\"}\n"
                                    "{\"type\":\"lte\",\"rsrp\":\"-95\",\"rsrq\":\"x\",\"snr\":[],\"rssi\":true}\n"
                                    "{\"type\":\"nr5g\"}\n"
                                    "{\"type\":\n"
                                    "END\n");
    EXPECT_EQ(
        lines_of(run.out),
        (Lines{
            R"({"signals":[{"type":"LTE","rssi":"-70","rsrp":"-95","rsrq":"-12","sinr":"150"}],"strength":3,"mode":"4G"})",
            R"({"signals":[{"type":"WCDMA","rssi":"-60","ecio":"-5"}],"strength":3,"mode":"3G"})",
            R"({"signals":[{"type":"HDR","rssi":"-60","ecio":"-5"}],"strength":3,"mode":"3G"})",
            R"({"signals":[{"type":"CDMA","rssi":"-60","ecio":"-5"}],"strength":3,"mode":"2G"})",
            R"({"signals":[{"type":"GSM","rssi":"-96"}],"strength":1,"mode":"2G"})",
            R"({"signals":[{"type":"TDMA","rssi":"-60"}],"strength":4,"mode":"2G"})",
            R"({"signals":[{"type":"LTE","rssi":"0","rsrp":"0","rsrq":"0","sinr":"0"}],"strength":3,"mode":"4G"})",
            R"({"signals":[{"type":"LTE","rssi":"1","rsrp":"-95","rsrq":"0","sinr":"0"}],"strength":3,"mode":"4G"})",
            "Notsupport", "Notsupport"}));
}

// The summary for the supervisor

TEST(Summary, TellsCarrierMessagesSignalAndInterface)
{
    const RouterRun run = connected(
        {"--modem", "EC25", "--link", "setup=100", "--put-text", "/usr/share/modem/operator.dat=23203,Magenta"},
        "touch /etc/spool/sms/incoming/GMS99.1; modemctl test | tr -d ' \\n'");
    EXPECT_EQ(run.out, R"({"carrier":"Magenta","sms":"1","signal_info":[{"type":"LTE","rssi":"-51","rsrp":"-86",)"
                       R"("sinr":"12","rsrq":"-11"}],"signal":"3","modem_mode":"4G","modem_up":"1"})");
    EXPECT_EQ(run.journal_of("syslog", "modemctl"), Lines{});
}

TEST(Summary, ShowsTheBestSignalWhereNoneIsKnown)
{
    // A BG95 names its technology in a way that we do not know.
    const RouterRun run = run_shell({"--modem", "BG95"}, "modemctl test 2>/dev/null | tr -d ' \n'");
    EXPECT_EQ(run.out, R"({"carrier":"","signal_info":[],"signal":"4","modem_mode":""})");
}

TEST(Summary, SaysWhatIsWrongWithTheSimAndNothingElse)
{
    const RouterRun run = run_shell({"--modem", "EC25,pin=NOSIM"}, "modemctl test | tr -d ' \\n'");
    EXPECT_EQ(run.out, R"({"SIM":"NO_SIM"})");
    EXPECT_EQ(run.journal_of("syslog", "modemctl"), Lines{"debug MCU SIM ERROR"});
}

TEST(Summary, OfAModelWithoutSignalHasNone)
{
    EXPECT_EQ(run_shell({"--modem", "MC7430", "--put-text", "/usr/share/modem/operator.dat=00101,Test"},
                        "modemctl test 2>/dev/null | tr -d ' \\n'")
                  .out.find("signal"),
              std::string::npos);
}

// Message bodies

TEST(Convert, PrintsAUcs2BodyAsUtf8)
{
    const RouterRun run =
        run_shell({"--modem", "EC25"}, "printf '\\004\\037\\004\\100\\330\\075\\336\\000' >/tmp/body; "
                                       "modemctl convert /tmp/body 4; modemctl convert /tmp/body 0; "
                                       "modemctl convert /tmp/body -5; modemctl convert /tmp/body 99999999; "
                                       "modemctl convert /tmp/body; mkfifo /tmp/fifo; modemctl convert /tmp/fifo 3");
    EXPECT_EQ(run.out, "Пр😀\n\n\nПр😀\n\nUsage:<modemctl> <command> [option]\n\n");
    EXPECT_EQ(run.err, "/tmp/fifo: cannot be read\n");
}

TEST(Convert, ReadsAtMost2048BytesOfAFile)
{
    const RouterRun run = run_shell({"--modem", "EC25"}, "printf '\\000A%.0s' $(seq 1024) >/tmp/body; "
                                                         "printf '\\000B\\000C' >>/tmp/body; "
                                                         "modemctl convert /tmp/body 5000");
    EXPECT_EQ(run.out, std::string(1024, 'A') + "\n");
}

TEST(Convert, OfAFileThatIsNotThereSaysSo)
{
    const RouterRun run = run_shell({"--modem", "EC25"}, "modemctl convert /tmp/none 3; echo $?");
    EXPECT_EQ(run.out, "\n0\n");
    EXPECT_EQ(run.err, "/tmp/none: cannot be read\n");
}

// Wi-Fi

const std::string radio =
    "uci set wireless.wifi0=wifi-device; uci set wireless.wifi0.channel=auto; uci commit wireless; ";
const std::string step = "modemctl wifi_lte_interference >/dev/null 2>&1; uci get wireless.wifi0.channel";

// The channel that the configuration has after the step.
RouterRun step_with(const std::string &settings, Lines options = {}, const std::string &channel = "1")
{
    const std::string answer = ":0:          Mode: Master  Channel: " + channel + " (2.412 GHz)";
    options.insert(options.end(), {"--modem", "EC25", "--answer", "iwinfo ath0 info" + answer, "--answer",
                                   "iwinfo ath3 info:0:          Mode: Master  Channel: 11 (2.462 GHz)"});
    return run_shell(options, radio + settings + "uci commit; " + step);
}

TEST(WifiStep, MovesARadioThatFindsItsChannelItself)
{
    const RouterRun run = step_with("uci set devconf.modem.dev1=40; ");
    EXPECT_EQ(run.out, "11\n");
    EXPECT_EQ(run.journal_of("run", "modemctl"), Lines{"wifi"}) << "the radios are restarted";
    EXPECT_EQ(step_with("uci set devconf.modem.dev1=7; ", {}, "11").out, "1\n");
    EXPECT_EQ(step_with("uci set devconf.modem.dev1=7; ").out, "auto\n") << "band 7 does not touch channel 1";
    EXPECT_EQ(step_with("uci set devconf.modem.dev1=3; ").out, "auto\n");
}

TEST(WifiStep, AsksTheModemWhereNoBandIsFixed)
{
    const RouterRun run = step_with("");
    EXPECT_NE(run.sent_to("ttyUSB2").find("AT+QENG=\"servingcell\""), std::string::npos);
    EXPECT_EQ(run.out, "auto\n");
}

TEST(WifiStep, TakesBothBandsOfTwoModemsTogether)
{
    EXPECT_EQ(
        step_with("uci add_list devconf.modem.bus=2-1.2; uci set devconf.modem.dev1=40; uci set devconf.modem.dev2=7; ",
                  {"--modem", "EP06@2-1.2"})
            .out,
        "6\n");
    EXPECT_EQ(
        step_with("uci add_list devconf.modem.bus=2-1.2; uci set devconf.modem.dev1=40; uci set devconf.modem.dev2=7; ")
            .out,
        "11\n")
        << "a modem that is not there uses no band";
}

TEST(WifiStep, LeavesAChosenChannelARadioThatIsOffAndSomeBoardsAlone)
{
    const std::string band_40 = "uci set devconf.modem.dev1=40; ";
    EXPECT_EQ(step_with(band_40 + "uci set wireless.wifi0.channel=1; ").out, "1\n");
    const std::string main_off = "uci set wireless.@wifi-iface[0].disabled=1; ";
    const std::string guests = "uci set wireless.guest2g=wifi-iface; ";
    EXPECT_EQ(step_with(band_40 + main_off + guests + "uci set wireless.guest2g.disabled=1; ").out, "auto\n");
    EXPECT_EQ(step_with("uci set devconf.modem.dev1=7; " + main_off + guests).out, "1\n")
        << "the guests' radio is on channel 11";
    for (const char *board : {"gecko", "newt", "tapir"})
        EXPECT_EQ(step_with(band_40, {"--board", board}).out, "auto\n") << board;
    EXPECT_EQ(step_with(band_40, {"--board", "vole"}).out, "11\n");
    EXPECT_EQ(step_with(band_40 + "uci delete devconf.modem.bus; ").out, "auto\n") << "no modem";
}

} // namespace status_test
