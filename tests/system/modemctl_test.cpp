#include <gtest/gtest.h>

#include "tests/system/harness.h"

// The command line from outside: what a person or a script sees of the shipped program, modem by modem.

namespace modemctl_test {

using Lines = std::vector<std::string>;

RouterRun modemctl(const Lines &options, Lines words)
{
    words.insert(words.begin(), "modemctl");
    return run_in_router(options, words);
}

const Lines ec25{"--modem", "EC25"};

const char usage[] = "\nUsage:<modemctl> [-D] [-B <bus>] <command> [option]\n"
                     "\nCommand possible:connect|connect-auto|new-connect-auto|disconnect|sim-status|AT|signal|cells|"
                     "thermal|wifi_lte_interference\n\n";

// Usage

struct UsageRow {
    const char *what;
    Lines words;
};
const UsageRow usage_rows[] = {
    {"nothing", {}},     {"debug only", {"-D"}},    {"debug and -B", {"-D", "-B"}},
    {"-B only", {"-B"}}, {"a bus only", {"1-1.3"}}, {"all but a command", {"-D", "-B", "2-1.2"}},
};

TEST(Usage, IsPrintedWhereNoCommandIsLeft)
{
    for (const auto &row : usage_rows) {
        const RouterRun run = modemctl(ec25, row.words);
        EXPECT_EQ(run.out, usage) << row.what;
        EXPECT_EQ(run.status, 0) << row.what;
    }
}

TEST(Usage, OfACommandThatDoesNotExistIsShort)
{
    for (const Lines &words :
         {Lines{"frob"}, Lines{"-B", "usb1", "signal"}, Lines{"Signal"}, Lines{"-B", "-D", "signal"}}) {
        const RouterRun run = modemctl(ec25, words);
        EXPECT_EQ(run.out, "\nUsage:<modemctl> <command> [option]\n") << words.back();
        EXPECT_EQ(run.status, 0);
    }
}

TEST(Usage, OfAtWithoutACommandEndsWith255)
{
    const RouterRun run = modemctl(ec25, {"AT"});
    EXPECT_EQ(run.out, "\nUsage:<modemctl> <AT> [device] <command>\n");
    EXPECT_EQ(run.status, 255);
}

// The bus

TEST(Bus, IsRecognisedWithAndWithoutItsOption)
{
    for (const Lines &words : {Lines{"1-1.3", "sim-status"}, Lines{"-B", "1-1.3", "sim-status"}})
        EXPECT_EQ(modemctl({"--modem", "EC25@1-1.3"}, words).out, "READY\n");
}

TEST(Bus, OfTenCharactersIsNotTakenForItsFirstNine)
{
    for (const Lines &words : {Lines{"1-1.1.1.23", "get_mode"}, Lines{"1-1.1.1.23", "AT", "ATI"},
                               Lines{"1-1.1.1.23", "signal"}, Lines{"1-1.1.1.2", "get_mode"}}) {
        const RouterRun run = modemctl({"--modem", "EC25@1-1.1.1.23", "--modem", "EC25@1-1.1.1.2"}, words);
        EXPECT_EQ(run.out, words[0] == "1-1.1.1.2" ? "get_mode: 4G\n" : "") << words[1];
    }
}

TEST(Bus, ChoosesBetweenTwoModems)
{
    const Lines both{"--modem", "EC25@1-1.2", "--modem", "UC20@2-1.2", "--board", "condor"};
    EXPECT_EQ(modemctl(both, {"get_mode"}).out, "get_mode: 4G\n");
    EXPECT_EQ(modemctl(both, {"2-1.2", "get_mode"}).out, "get_mode: 3G\n");
}

TEST(Bus, WithoutAModemGivesNoOutputAtAll)
{
    for (const Lines &words :
         {Lines{"signal"}, Lines{"AT", "ATI"}, Lines{"AT", "/dev/ttyUSB2", "ATI"}, Lines{"frob"}}) {
        const RouterRun run = modemctl({}, words);
        EXPECT_EQ(run.out + run.err, "") << words.front();
        EXPECT_EQ(run.status, 0);
    }
    EXPECT_EQ(modemctl(ec25, {"1-1.4", "AT", "/dev/ttyUSB2", "ATI"}).out, "");
}

// What needs no modem

TEST(Help, ComesWithoutAModemAndAsksNone)
{
    const std::string list = modemctl({}, {"--help"}).out;
    EXPECT_EQ(list.find("Usage: modemctl [-D] [-B] [BUS] COMMAND [ARGUMENT...]\n"), 0u) << list;
    const RouterRun run = modemctl(ec25, {"-D", "-B", "1-1.2", "help"});
    EXPECT_EQ(run.out, list);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.sent_to("ttyUSB2"), "");
    EXPECT_EQ(modemctl({}, {"--version"}).out, "modemctl 0.1\n");
}

TEST(Modems, AreListedBusByBus)
{
    const RouterRun run = modemctl({"--modem", "EC25@1-1.4", "--modem", "unlisted@1-1.3"}, {"modems"});
    EXPECT_EQ(run.out, "1-1.3     unlisted    1234:5678 /dev/ttyUSB4 /dev/ttyUSB5 /dev/ttyUSB6\n"
                       "1-1.4     EC25        2c7c:0125 /dev/ttyUSB0 /dev/ttyUSB1 /dev/ttyUSB2 /dev/ttyUSB3 "
                       "/dev/cdc-wdm0\n");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(modemctl({"--modem", "UC20@2-1.2"}, {"-D", "1-1.3", "modems", "--json"}).out,
              "[\n  {\n    \"bus\":\"2-1.2\",\n    \"model\":\"UC20\",\n    \"usb\":\"05c6:9003\",\n    \"ports\":[\n"
              "      \"\\/dev\\/ttyUSB0\",\n      \"\\/dev\\/ttyUSB1\",\n      \"\\/dev\\/ttyUSB2\",\n"
              "      \"\\/dev\\/ttyUSB3\",\n      \"\\/dev\\/cdc-wdm0\"\n    ]\n  }\n]\n");
}

TEST(Modems, AreNoneWithoutOne)
{
    const RouterRun run = modemctl({}, {"modems"});
    EXPECT_EQ(run.out + run.err, "");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(modemctl({}, {"modems", "--json"}).out, "[\n]\n");
}

// A listed model counts without a driver, another device only with ports.
TEST(Modems, CountWithoutPortsWhereTheTableListsThem)
{
    const std::string script = R"(root=/sys/devices/platform/soc/usb9
add() { mkdir -p $root/$1; echo $2 >$root/$1/idVendor; echo $3 >$root/$1/idProduct; ln -s $root/$1 /sys/bus/usb/devices/$1; }
add 2-1.1 2c7c 0306; add 2-1.4 0781 5567; add 3-1 '' ''; add 4-1 zz ffffffffff
modemctl modems)";
    EXPECT_EQ(run_shell({}, script).out, "2-1.1     EP06        2c7c:0306\n");
}

// What a person at a terminal is told

// The program's standard error is a terminal; its standard output is not.
RouterRun at_terminal(const Lines &options, const std::string &line)
{
    return run_shell(options, "script -qec '" + line +
                                  " >/tmp/out' /tmp/terminal </dev/null | tr -d '\\r'; echo --; cat /tmp/out");
}

struct TerminalRow {
    const char *what;
    Lines options;
    const char *line;
    const char *told;
};
const TerminalRow terminal_rows[] = {
    {"nothing is wrong", ec25, "modemctl sim-status", "--\nREADY\n"},
    {"no modem at all", {}, "modemctl signal", "modemctl: no modem on bus 1-1.2; there is no modem on any bus\n--\n"},
    {"no modems to list", {}, "modemctl modems", "modemctl: there is no modem on any bus\n--\n"},
    {"another bus",
     {"--modem", "EC25@1-1.4", "--modem", "UC20@2-1.2"},
     "modemctl signal",
     "modemctl: no modem on bus 1-1.2; modems are on 1-1.4 (EC25), 2-1.2 (UC20)\n--\n"},
    {"an unknown word", ec25, "modemctl SIGNAL",
     "modemctl: unknown command \"SIGNAL\"; see modemctl --help\n--\n\nUsage:<modemctl> <command> [option]\n"},
    {"a device without ports",
     {},
     "mkdir -p /sys/devices/platform/1-1.2; cd /sys/devices/platform/1-1.2; echo 2c7c >idVendor; echo 0125 >idProduct; "
     "modemctl signal",
     "modemctl: the modem on bus 1-1.2 has no ports: is a driver loaded?\n--\n"},
    {"a large sysfs",
     {},
     "for i in $(seq 1000); do mkdir /sys/devices/platform/$i; done; modemctl signal",
     "modemctl: looked through 1000 folders of sysfs without finding bus 1-1.2\n--\n"},
    {"no APN database", ec25, "rm -f /www/src/lib/apn-config.js; modemctl connect-auto",
     "modemctl: no APN database: /www/src/lib/apn-config.js cannot be read\n--\n"},
    {"no interface", ec25, "modemctl new-connect-auto",
     "modemctl: the network configuration has no modem interface with a device\n--\n"},
};

TEST(Terminal, SaysWhatTheOutputLeavesOut)
{
    for (const auto &row : terminal_rows)
        EXPECT_EQ(at_terminal(row.options, row.line).out, row.told) << row.what;
}

// Without these files the shell's own complaints stand between the lines.
const Lines sim_files{"--put-text", "/tmp/sim_type=", "--put-text", "/tmp/sim_status="};

TEST(SlowTerminal, SaysWhichApnIsTried)
{
    const std::string database =
        std::string(24, ' ') +
        R"({"apns":{"apn":[{"-mcc":"232","-mnc":"03","-apn":"first.example"},{"-mcc":"232","-mnc":"03","-apn":"internet"}]}})";
    Lines options{"--modem",    "EC25",
                  "--link",     "apn=internet,needs=serial",
                  "--put-text", "/www/src/lib/apn-config.js=" + database};
    options.insert(options.end(), sim_files.begin(), sim_files.end());
    EXPECT_EQ(at_terminal(options, "modemctl connect-auto").out,
              "modemctl: trying APN \"first.example\" by QMI\nmodemctl: trying APN \"first.example\" by serial\n"
              "modemctl: trying APN \"internet\" by QMI\nmodemctl: trying APN \"internet\" by serial\n--\n\nconnect "
              "success\n");
}

TEST(SlowTerminal, SaysThatTheSimWantsItsPin)
{
    Lines options{"--modem",    "EC25,pin=SIM PIN",
                  "--link",     "setup=never",
                  "--put-text", "/www/src/lib/apn-config.js=" + std::string(24, ' ') + R"({"apns":{"apn":[]}})"};
    options.insert(options.end(), sim_files.begin(), sim_files.end());
    EXPECT_EQ(at_terminal(options, "modemctl connect-auto").out,
              "modemctl: no APN is known for this SIM card, trying without one\n"
              "modemctl: not connected: the SIM card needs its PIN, see option pincode\n--\n");
}

// Debug output

TEST(Debug, TellsDetectionBeforeTheResult)
{
    EXPECT_EQ(modemctl(ec25, {"-D", "sim-status"}).out.find("vid 2C7C,pid 125\n{\n  \"ports\":["), 0u);
    const std::string out = modemctl(ec25, {"-D", "sim-status"}).out;
    EXPECT_NE(
        out.find("  \"modem_id\":3,\n  \"data_port\":\"\\/dev\\/ttyUSB3\",\n  \"control_port\":\"\\/dev\\/ttyUSB2\",\n"
                 "  \"qmi_port\":\"\\/dev\\/cdc-wdm0\"\n}\nREADY\n"),
        std::string::npos)
        << out;
}

TEST(Debug, ListsEveryPortOnce)
{
    const std::string out = modemctl(ec25, {"-D", "sim-status"}).out;
    for (const char *port : {"ttyUSB0\"", "ttyUSB1\"", "ttyUSB2\"", "ttyUSB3\""}) {
        const std::string ports = out.substr(0, out.find("]"));
        EXPECT_NE(ports.find(port), std::string::npos) << port;
        EXPECT_EQ(ports.find(port), ports.rfind(port)) << port;
    }
}

TEST(Debug, AsksForADeviceWhereThereIsNone)
{
    EXPECT_EQ(modemctl({}, {"-D", "signal"}).out, "please insert device\n");
}

TEST(Debug, TellsThatAModemHasNoPorts)
{
    const std::string device = "/sys/devices/platform/soc/usb1/1-1/1-1.2";
    const RouterRun run = run_shell({}, "mkdir -p " + device + " && cd " + device +
                                            " && echo 2c7c >idVendor && echo 0125 >idProduct && modemctl -D signal");
    EXPECT_EQ(run.out, "vid 2C7C,pid 125\nfailed get ports\n");
}

TEST(Debug, AsksForADeviceWhereTheVendorIsMissing)
{
    const std::string device = "/sys/devices/platform/soc/usb1/1-1/1-1.2";
    EXPECT_EQ(run_shell({}, "mkdir -p " + device + " && echo 0125 >" + device + "/idProduct && modemctl -D signal").out,
              "please insert device\n");
}

// AT pass-through

TEST(At, PrintsTheReplyAsItCame)
{
    const RouterRun run = modemctl(ec25, {"AT", "AT+CSQ"});
    EXPECT_EQ(run.out, "\nAT+CSQ\r\r\n+CSQ: 31,99\r\n\r\nOK\r\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+CSQ\r\n");
}

TEST(At, TakesADeviceBeforeTheCommand)
{
    const RouterRun run = modemctl(ec25, {"AT", "/dev/ttyUSB3", "ATE0"});
    EXPECT_EQ(run.out, "\nATE0\r\r\nOK\r\n");
    EXPECT_EQ(run.sent_to("ttyUSB3"), "ATE0\r\n");
}

TEST(At, WithThreeWordsOpensNothing)
{
    const RouterRun run = modemctl(ec25, {"AT", "/dev/ttyUSB2", "AT", "I"});
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "Error opening serial port  - No such file or directory(2).\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "");
}

TEST(At, TellsOnStandardErrorThatAPortIsMissing)
{
    const RouterRun run = modemctl(ec25, {"AT", "/dev/ttyUSB9", "ATI"});
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "Error opening serial port /dev/ttyUSB9 - No such file or directory(2).\n");
    EXPECT_EQ(run.status, 0);
}

TEST(At, TellsThatAPortIsNoTerminal)
{
    const RouterRun run = modemctl(ec25, {"AT", "/etc/config/network", "ATI"});
    // The words between are the C library's.
    EXPECT_EQ(run.err.find("Error setting TIOCEXCL on /etc/config/network - "), 0u) << run.err;
    EXPECT_TRUE(run.err.ends_with("(25).\n")) << run.err;
}

TEST(At, PrintsAnErrorReplyLikeAnyOther)
{
    EXPECT_EQ(modemctl(ec25, {"AT", "AT+NONSENSE"}).out, "\nAT+NONSENSE\r\r\nERROR\r\n");
}

TEST(At, CutsACommandSoThatItsLineEndStillFits)
{
    const std::string command = "AT+" + std::string(400, 'X');
    EXPECT_EQ(modemctl(ec25, {"AT", command}).sent_to("ttyUSB2"), command.substr(0, 253) + "\r\n");
}

TEST(At, LeavesTheTerminalAsItFoundIt)
{
    const RouterRun run =
        run_shell(ec25, "exec 9</dev/ttyUSB2; stty -F /dev/ttyUSB2 9600 echo icanon; "
                        "stty -F /dev/ttyUSB2 -g; modemctl AT ATI >/dev/null; stty -F /dev/ttyUSB2 -g");
    const auto settings = lines_of(run.out);
    ASSERT_EQ(settings.size(), 2u) << run.out << run.err;
    EXPECT_EQ(settings[0], settings[1]);
}

// Signal

TEST(Signal, OfAnEc25ComesFromItsSignalReport)
{
    EXPECT_EQ(modemctl(ec25, {"signal"}).out,
              "{\n  \"signals\":[\n    {\n      \"type\":\"LTE\",\n      \"rssi\":\"-51\",\n      \"rsrp\":\"-86\",\n"
              "      \"sinr\":\"12\",\n      \"rsrq\":\"-11\"\n    }\n  ],\n  \"strength\":3,\n  \"mode\":\"4G\"\n}\n");
}

TEST(Signal, OfAnEp06ComesFromItsServingCell)
{
    EXPECT_EQ(modemctl({"--modem", "EP06"}, {"signal"}).out,
              "{\n  \"signals\":[\n    {\n      \"type\":\"LTE\",\n      \"rsrp\":\"-84\",\n      \"rsrq\":\"-9\",\n"
              "      \"rssi\":\"-56\",\n      \"sinr\":\"21\"\n    }\n  ],\n  \"strength\":4,\n  \"mode\":\"4G\"\n}\n");
}

TEST(Signal, OfTheOlderTechnologiesHasTheirMode)
{
    EXPECT_NE(modemctl({"--modem", "EC25,rat=WCDMA"}, {"signal"}).out.find("\"mode\":\"3G\""), std::string::npos);
    EXPECT_NE(modemctl({"--modem", "EC25,rat=GSM"}, {"signal"}).out.find("\"mode\":\"2G\""), std::string::npos);
}

TEST(Signal, WithoutServiceIsEmptyAndHasNoMode)
{
    // -1, "nothing usable", is added to the mode's digit like any other result.
    EXPECT_EQ(modemctl({"--modem", "EC25,rat=NOSERVICE"}, {"signal"}).out,
              "{\n  \"signals\":[\n  ],\n  \"strength\":-1,\n  \"mode\":\"\\/G\"\n}\n");
}

const char cached_lte[] = R"(/tmp/modem.1-1.2/signal={"type":"lte","rssi":-70,"rsrp":-95,"rsrq":-13,"snr":150})";

TEST(Signal, OfADeviceWithoutASignalReportComesFromTheCache)
{
    EXPECT_EQ(
        modemctl({"--modem", "unlisted", "--put-text", cached_lte}, {"signal"}).out,
        "{\n  \"signals\":[\n    {\n      \"type\":\"LTE\",\n      \"rssi\":\"-70\",\n      \"rsrp\":\"-95\",\n"
        "      \"rsrq\":\"-13\",\n      \"sinr\":\"150\"\n    }\n  ],\n  \"strength\":2,\n  \"mode\":\"4G\"\n}\n");
}

TEST(Signal, OfADeviceWithoutReportAndCacheIsNotSupported)
{
    EXPECT_EQ(modemctl({"--modem", "unlisted"}, {"signal"}).out, "Not support\n");
    for (const char *content : {"", "{", "[]", "{\"rssi\":-70}", "{\"type\":\"5g\"}"})
        EXPECT_EQ(modemctl({"--modem", "unlisted", "--put-text", std::string{"/tmp/modem.1-1.2/signal="} + content},
                           {"signal"})
                      .out,
                  "Not support\n")
            << content;
}

// Cells

TEST(Cells, WithCarrierAggregationBeginWithTheCarriers)
{
    const RouterRun run = modemctl({"--modem", "EP06,primary_carrier=pss,secondary_carrier=sss"}, {"cells"});
    // The first line's carrier is told by the rest of the reply, in which the second one stands too: primary wins.
    EXPECT_EQ(
        run.out.find("[\n  {\n    \"type\":\"PSS\",\n    \"state\":\"Registered\",\n    \"freq\":\"1500\",\n"
                     "    \"band\":\"LTE BAND 3\",\n    \"bandwidth\":\"10M\",\n    \"pcid\":\"28\",\n"
                     "    \"rsrp\":\"-84\",\n    \"rsrq\":\"-9\",\n    \"rssi\":\"-56\",\n    \"sinr\":\"21\"\n  },\n"
                     "  {\n    \"type\":\"SSS\",\n    \"state\":\"deactivated\",\n    \"freq\":\"3350\",\n"
                     "    \"band\":\"LTE BAND 7\",\n    \"bandwidth\":\"20M\",\n    \"pcid\":\"20\",\n"),
        0u)
        << run.out;
    EXPECT_NE(run.out.find("\"type\":\"servingcell\""), std::string::npos);
}

TEST(Cells, WithoutCarrierAggregationAreTheServingCellAndItsNeighbours)
{
    const std::string out = modemctl(ec25, {"cells"}).out;
    EXPECT_EQ(out.find("[\n  {\n    \"type\":\"servingcell\",\n    \"state\":\"NOCONN\",\n    \"mode\":\"FDD\","), 0u)
        << out;
    EXPECT_NE(
        out.find("  {\n    \"type\":\"neighbourcell\",\n    \"uarfcn\":\"10836\",\n    \"rat\":\"WCDMA\"\n  }\n]\n"),
        std::string::npos)
        << out;
}

TEST(Cells, OfAModelWithoutThemAreNotSupported)
{
    for (const char *modem : {"UC20", "unlisted"})
        EXPECT_EQ(modemctl({"--modem", modem}, {"cells"}).out, "Not support\n") << modem;
}

TEST(Cells, OfAModemThatGoesAwayAreAnEmptyList)
{
    EXPECT_EQ(modemctl({"--modem", "EC25", "--fault", "gone-before"}, {"cells"}).out, "[\n]\n");
}

// SIM, registration, technology, operator

struct SimRow {
    const char *modem;
    const char *expected;
};
const SimRow sim_rows[] = {
    {"EC25", "READY\n"},
    {"EC25,pin=SIM PIN", "PIN_SIM\n"},
    {"EC25,pin=SIM PUK", "PUK_SIM\n"},
    {"EC25,pin=NOSIM", "NO_SIM\n"},
    {"EC25,pin=FAILURE", "NO_SIM\n"},
    {"EC25,registration=3,ps_registration=3", "NO_REG\n"},
    {"EC25,registration=3,ps_registration=5", "READY\n"},
    {"unlisted", "READY\n"},
};

TEST(SimStatus, IsOneWordForEveryState)
{
    for (const auto &row : sim_rows)
        EXPECT_EQ(modemctl({"--modem", row.modem}, {"sim-status"}).out, row.expected) << row.modem;
}

TEST(SimStatus, AsksNothingElseOfASimThatWantsItsPin)
{
    EXPECT_EQ(modemctl({"--modem", "EC25,pin=SIM PIN"}, {"sim-status"}).sent_to("ttyUSB2"), "AT+CPIN?\r\n");
}

TEST(CheckRegister, AsksForTheLteRegistrationWhereTheOtherIsMissing)
{
    const RouterRun run = modemctl({"--modem", "EC25,registration=3,ps_registration=1"}, {"check_register"});
    EXPECT_EQ(run.out, "check_register=0\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+CREG?\r\nAT+CEREG?\r\n");
    EXPECT_EQ(modemctl({"--modem", "EC25,registration=2,ps_registration=0"}, {"check_register"}).out,
              "check_register=-1\n");
    EXPECT_EQ(modemctl({"--modem", "unlisted"}, {"check_register"}).out, "Not support\n");
}

TEST(GetMode, TellsTheTechnology)
{
    EXPECT_EQ(modemctl(ec25, {"get_mode"}).out, "get_mode: 4G\n");
    // It says HSPA+, which counts as 4G.
    EXPECT_EQ(modemctl({"--modem", "EC25,rat=WCDMA"}, {"get_mode"}).out, "get_mode: 4G\n");
    EXPECT_EQ(modemctl({"--modem", "UC20,rat=WCDMA"}, {"get_mode"}).out, "get_mode: 3G\n");
    EXPECT_EQ(modemctl({"--modem", "EC25,rat=GSM"}, {"get_mode"}).out, "get_mode: 2G\n");
    EXPECT_EQ(modemctl({"--modem", "EC25,rat=NOSERVICE"}, {"get_mode"}).out, "get_mode: \n");
    EXPECT_EQ(modemctl({"--modem", "unlisted"}, {"get_mode"}).out, "get_mode: \n");
}

const Lines operators{"--put-text",
                      "/usr/share/modem/operator.dat=23203,Example Mobile\n232003,A Name That Is Much Too Long\n"};

TEST(Carrier, IsTheNetworksOwnName)
{
    EXPECT_EQ(modemctl(ec25, {"carrier"}).out, "T-Mobile A\n");
}

TEST(Carrier, ComesFromTheOperatorListWhereTheNetworkTellsNone)
{
    const RouterRun run = run_shell({"--modem", "EC25,rat=NOSERVICE", operators[0], operators[1]},
                                    "modemctl carrier; cat /tmp/modem.1-1.2/cimi");
    EXPECT_EQ(run.out, "Example Mobile\n" + lines_of(run.out).at(1) + "\n");
    EXPECT_EQ(run.journal_of("shell", "modemctl").at(0),
              "echo \"" + lines_of(run.out).at(1) + "\" >/tmp/modem.1-1.2/cimi");
}

TEST(Carrier, IsAnEmptyLineForANetworkThatIsNotListed)
{
    EXPECT_EQ(modemctl({"--modem", "EC25,rat=NOSERVICE"}, {"carrier"}).out, "\n");
}

TEST(Carrier, ThrowsABrokenImsiCacheAway)
{
    const RouterRun run = run_shell({"--modem", "EC25,rat=NOSERVICE", "--put-text", "/tmp/modem.1-1.2/cimi=ERROR"},
                                    "modemctl carrier; ls /tmp/modem.1-1.2");
    EXPECT_EQ(run.out, "");
}

TEST(Carrier, IsLookedUpByTheCachedImsiFirstWithSixThenWithFiveDigits)
{
    const Lines options{"--modem",    "EC25,rat=NOSERVICE", "--put-text", "/tmp/modem.1-1.2/cimi=232039999999999",
                        operators[0], operators[1]};
    const RouterRun run = modemctl(options, {"carrier"});
    EXPECT_EQ(run.out, "Example Mobile\n");
    EXPECT_EQ(run.journal_of("shell", "modemctl"),
              (Lines{"cat /usr/share/modem/operator.dat|grep 232039|cut -d ',' -f 2",
                     "cat /usr/share/modem/operator.dat|grep 23203|cut -d ',' -f 2"}));
}

TEST(Carrier, IsCutAfterSixteenCharacters)
{
    EXPECT_EQ(modemctl({"--modem", "EC25,rat=NOSERVICE", "--put-text", "/tmp/modem.1-1.2/cimi=232003999999999",
                        operators[0], operators[1]},
                       {"carrier"})
                  .out,
              "A Name That Is M\n");
}

// A device that no table lists

TEST(UnknownDevice, IsDescribedByWhatCanBeKnown)
{
    const std::string out = modemctl({"--modem", "unlisted"}, {"-D", "sim-status"}).out;
    EXPECT_EQ(out.find("vid 1234,pid 5678\n{\n  \"ports\":["), 0u) << out;
    EXPECT_NE(out.find("  \"modem_id\":255,\n  \"name\":\"-\",\n  \"bus\":\"1-1.2\",\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("control_port"), std::string::npos);
}

// The table's last entry has the ids 0 and 0, which empty files are read as: the modem then is one of the table's.
TEST(UnknownDevice, WithoutIdsIsDescribedAsAListedOne)
{
    const std::string out =
        run_shell({"--modem", "unlisted"}, "cd /sys/bus/usb/devices/1-1.2 && : >idVendor && : >idProduct && modemctl "
                                           "-D sim-status; modemapi get /modem/brief_info")
            .out;
    EXPECT_EQ(out.find("vid 0,pid 0\n{\n  \"ports\":["), 0u) << out;
    EXPECT_NE(out.find("  \"modem_id\":255,\n  \"data_port\":\"\\/dev\\/ttyUSB0\",\n"
                       "  \"control_port\":\"\\/dev\\/ttyUSB0\"\n}\nREADY\n"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("\"name\":\"UknowDevice\""), std::string::npos) << out;
}

TEST(UnknownDevice, AnswersAtOnItsFirstInterface)
{
    EXPECT_NE(modemctl({"--modem", "unlisted"}, {"AT", "AT"}).out.find("OK\r\n"), std::string::npos);
}

} // namespace modemctl_test
