#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// The endpoints that report: whole responses, as a web back end gets them.

namespace api_info_test {

using Lines = std::vector<std::string>;

// The requests, one a line, served by one process. @return a status and a response a line
Lines serve(const Lines &options, const std::string &requests, const std::string &before = {})
{
    return lines_of(run_shell(options, before + "modemapi <<'END'\n" + requests + "END\n").out);
}

std::string only_answer(const Lines &options, const std::string &request, const std::string &before = {})
{
    const Lines answers = serve(options, request + "\n", before);
    return answers.size() == 1 ? answers[0] : std::to_string(answers.size()) + " answers";
}

// Every report of one model, request and answer in turn.
std::string session_of(const std::string &model, int modem_id)
{
    const std::string chosen = R"( {"bus":"1-1.2","modem_id":)" + std::to_string(modem_id) + "}";
    const Lines requests = {"get /modem/info",
                            "get /modem/brief_info",
                            "get /modem/app/brief_info",
                            "get /modem/get",
                            "post /modem/modem_info/get" + chosen,
                            "post /modem/cells/get" + chosen};
    std::string text;
    for (const std::string &request : requests)
        text += request + "\n";
    const RouterRun run =
        run_shell({"--modem", model, "--put-text", "/usr/share/modem/operator.dat=00101,Test Net of a long name"},
                  "modemapi <<'END'\n" + text + "END\n");
    const Lines answers = lines_of(run.out);
    std::string session;
    for (size_t i = 0; i < requests.size(); i++)
        session += requests[i] + "\n" + (i < answers.size() ? answers[i] : "no answer") + "\n";
    return session;
}

struct GoldenModel {
    const char *name;
    int modem_id;

    friend void PrintTo(const GoldenModel &model, std::ostream *out) { *out << model.name; }
};

class ApiReports : public testing::TestWithParam<GoldenModel> {};

// A changed response is looked at, and kept with UPDATE_GOLDEN=1.
TEST_P(ApiReports, AreWhatTheyAlwaysWere)
{
    const std::string golden = std::string{TEST_DATA "/golden/api_"} + GetParam().name + ".txt";
    const std::string session = session_of(GetParam().name, GetParam().modem_id);
    if (getenv("UPDATE_GOLDEN") != nullptr)
        std::ofstream{golden} << session;
    EXPECT_EQ(session, read_text(golden));
}

INSTANTIATE_TEST_SUITE_P(All, ApiReports,
                         testing::Values(GoldenModel{"EC25", 3}, GoldenModel{"BG95", 7}, GoldenModel{"MC7430", 5},
                                         GoldenModel{"unlisted", 255}),
                         [](const auto &row) { return std::string{row.param.name}; });

// The lists

TEST(ModemList, IsNotServedOnSomeBoards)
{
    for (const char *board : {"gecko", "vole", "tapir"}) {
        EXPECT_EQ(serve({"--board", board, "--modem", "EC25"}, "get /modem/info\n"), Lines{"-17 {}"}) << board;
        EXPECT_EQ(only_answer({"--board", board, "--modem", "EC25"}, "get /modem/brief_info").substr(0, 3), "0 {")
            << board;
    }
    EXPECT_EQ(only_answer({"--board", "newt", "--modem", "EC25"}, "get /modem/info").substr(0, 3), "0 {");
}

TEST(ModemList, WithoutAModemIsRefused)
{
    const std::string all = "get /modem/info\nget /modem/brief_info\nget /modem/app/brief_info\n";
    EXPECT_EQ(serve({}, all), (Lines{R"(-250 {"passthrough":false})", "-250 {}", "-250 {}"})) << "no modem there";
    EXPECT_EQ(serve({"--modem", "EC25"}, all, "uci delete devconf.modem.bus; uci commit; "),
              (Lines{R"(-250 {"passthrough":false})", "-250 {}", "-250 {}"}))
        << "no bus configured";
    EXPECT_EQ(serve({"--modem", "EC25"}, "get /modem/brief_info\n", "rm /etc/config/devconf; "), Lines{"-250 {}"});
}

TEST(ModemList, HasTheModemsInTheOrderOfTheirPlaces)
{
    const Lines options = {"--modem", "EC25@1-1.2", "--modem", "EP06@2-1.2"};
    const std::string places = "uci delete devconf.modem.bus; uci add_list devconf.modem.bus=2-1.2; uci add_list "
                               "devconf.modem.bus=1-1.4; uci add_list devconf.modem.bus=1-1.2; uci commit; ";
    const std::string answer = only_answer(options, "get /modem/brief_info", places);
    const size_t first = answer.find(R"("name":"EP06","bus":"2-1.2")");
    const size_t second = answer.find(R"("name":"EC25","bus":"1-1.2")");
    EXPECT_LT(first, second) << answer;
    EXPECT_NE(second, std::string::npos) << answer;
    EXPECT_EQ(answer.find("1-1.4"), std::string::npos) << "a place without a modem is left out";
}

TEST(ModemList, HasAnEmptyCarrierForABrokenImsiCache)
{
    const std::string answer =
        only_answer({"--modem", "EC25,rat=NOSERVICE", "--put-text", "/tmp/modem.1-1.2/cimi=ERROR"}, "get /modem/info");
    EXPECT_NE(answer.find(R"("carrier":"")"), std::string::npos) << answer;
    EXPECT_EQ(answer.find(R"("mcc")"), std::string::npos) << answer;
}

TEST(ModemList, TellsOfPassThroughOnlyWhileItRunsOverAModem)
{
    const auto settings = [](const std::string &running, const std::string &more = {}) {
        return "uci set devconf.passthrough=service; uci set devconf.passthrough.enable=1; uci set "
               "devconf.passthrough.running=" +
               running +
               "; uci set devconf.passthrough.gateway=192.168.1.1; uci set devconf.passthrough.netmask=255.255.255.0; "
               "uci set devconf.passthrough.subnet=192.168.1.0/24; " +
               more + "uci commit; ";
    };
    const auto until_hint = [](const std::string &answer) { return answer.substr(0, answer.find(",\"hint")); };
    const Lines options = {"--modem", "EC25"};
    EXPECT_EQ(until_hint(only_answer(options, "get /modem/info", settings("eth1"))), R"(0 {"passthrough":false)");
    EXPECT_EQ(until_hint(only_answer(options, "get /modem/info", settings("pppoe-wan"))), R"(0 {"passthrough":false)");
    EXPECT_EQ(
        until_hint(only_answer(options, "get /modem/info", settings("modem_1_1_2"))),
        R"(0 {"passthrough":true,"gateway":"192.168.1.1","netmask":"255.255.255.0","subnet":"192.168.1.0\/24","pass_dns":"")");
    EXPECT_EQ(
        until_hint(only_answer(options, "get /modem/info",
                               settings("modem_1_1_2", "uci set devconf.passthrough.gateway=10.9.9.9; uci set "
                                                       "devconf.passthrough.dns=1.1.1.1,8.8.8.8,9.9.9.9; "))),
        R"(0 {"passthrough":true,"gateway":"10.9.9.9","netmask":"255.255.255.0","subnet":"","pass_dns":["8.8.8.8","9.9.9.9"])")
        << "the LAN bridge has another address";
}

TEST(ModemList, HintsAtAWifiChannelUnlessTheFirstModemsAreDisabled)
{
    const std::string clash = "uci set wireless.wifi0=wifi-device; uci set wireless.wifi0.channel=1; uci set "
                              "devconf.modem.dev1=40; ";
    const auto hint = [&](const std::string &settings) {
        const std::string answer =
            only_answer({"--modem", "EC25"}, "get /modem/info", clash + settings + "uci commit; ");
        const size_t at = answer.find("\"hint_modify_wifi_channel\":");
        return at == std::string::npos ? answer : answer.substr(at + 27, answer.find(',', at) - at - 27);
    };
    EXPECT_EQ(hint(""), "11");
    EXPECT_EQ(hint("uci set wireless.wifi0.channel=6; "), "0");
    EXPECT_EQ(hint("uci set wireless.wifi0.channel=auto; "), "0");
    EXPECT_EQ(hint("uci set devconf.modem.dev1=7; uci set wireless.wifi0.channel=11; "), "1");
    const std::string main_off = "uci set wireless.@wifi-iface[0].disabled=1; "
                                 "uci set wireless.guest2g=wifi-iface; ";
    EXPECT_EQ(hint(main_off), "11") << "the guests' network is on";
    EXPECT_EQ(hint(main_off + "uci set wireless.guest2g.disabled=1; "), "0");
    const std::string disable = "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.disabled=1; ";
    EXPECT_EQ(hint(disable), "0");
    const std::string second_place = "uci delete devconf.modem.bus; uci add_list devconf.modem.bus=1-1.4; uci add_list "
                                     "devconf.modem.bus=1-1.2; uci set devconf.modem.dev2=40; ";
    EXPECT_EQ(hint(disable + second_place), "11") << "the only modem is at the second place, which is not looked at";
}

// The hardware of the condor board's second modem

TEST(Hardware, IsToldForTheSecondModemOfTheCondorBoard)
{
    const auto hardware = [](const std::string &board, const std::string &bus, const std::string &bytes,
                             const std::string &settings = {}) {
        const std::string answer =
            only_answer({"--board", board, "--modem", "EC25@" + bus}, "get /modem/info",
                        "dd if=/dev/zero of=/dev/mtd2 bs=156 count=1 2>/dev/null; printf '" + bytes +
                            "' >>/dev/mtd2; uci set cellconf.sim=sim; " + settings +
                            "uci delete devconf.modem.bus; uci add_list devconf.modem.bus=" + bus + "; uci commit; ");
        const size_t at = answer.find("\"hw_version\"");
        return at == std::string::npos ? answer : answer.substr(at, answer.find(",\"mnc\"") - at);
    };
    EXPECT_EQ(hardware("condor", "2-1.2", "S1"), R"("hw_version":"CONDOR-S","sim_num":"1")");
    EXPECT_EQ(hardware("condor", "2-1.2", "D1", "uci set cellconf.sim.sim_num=2; "),
              R"("hw_version":"CONDOR-D1","sim_num":"2")");
    EXPECT_EQ(hardware("condor", "2-1.2", "D2", "uci set cellconf.sim.sim_num=3; "),
              R"("hw_version":"CONDOR-D2","sim_num":"1")");
    EXPECT_EQ(hardware("condor", "2-1.2", ""), R"("hw_version":"CONDOR-D2","sim_num":"1")") << "a short partition";
    EXPECT_EQ(hardware("condor", "1-1.2", "S1"), R"("hw_version":"","sim_num":"")");
    EXPECT_EQ(hardware("generic", "2-1.2", "S1"), R"("hw_version":"","sim_num":"")");
}

// Settings

TEST(Settings, AreThoseOfTheBussSection)
{
    const std::string section =
        "uci set network.modem_1_1_2=interface; for option in service=lte device=/dev/ttyUSB3 apn=internet mtu=1400 "
        "pincode=1234 dialnumber=*99# username=me password=secret auth=PAP proto=qcm; do uci set "
        "network.modem_1_1_2.$option; done; uci set devconf.modem.operator=Visible; uci set "
        "cellconf.modem_1_1_2=modem; uci set cellconf.modem_1_1_2.ttl=65x; ";
    const std::string rest =
        R"("apn":"internet","mtu":"1400","operator":"Visible","pincode":"1234","dialnum":"*99#","username":"me","password":"secret","authentication":"PAP","proto":"qcm","ttl":65}})";
    EXPECT_EQ(only_answer({"--modem", "EC25"}, "get /modem/get", section),
              R"(0 {"config":{"service":"lte","device":"\/dev\/ttyUSB3",)" + rest);
    EXPECT_EQ(
        only_answer({"--modem", "EC25"}, "get /modem/get", section + "uci set network.modem_1_1_2.node=1-1.2:1.4; "),
        R"(0 {"config":{"service":"lte","device":"\/dev\/cdc-wdm0",)" + rest)
        << "what sits at the node now";
    EXPECT_EQ(
        only_answer({"--modem", "EC25"}, "get /modem/get", section + "uci set network.modem_1_1_2.node=1-1.9:1.4; "),
        R"(0 {"config":{"service":"lte","device":"",)" + rest)
        << "a node that is gone";
}

TEST(Settings, WithoutASectionAreEmptyTexts)
{
    const std::string empty =
        R"(0 {"config":{"service":"","device":"","apn":"","mtu":"","operator":"","pincode":"","dialnum":"","username":"","password":"","authentication":""}})";
    EXPECT_EQ(serve({}, "get /modem/get\nget /modem/get {\"bus\":\"2-1.2\"}\nget /modem/get {\"bus\":7}\n"),
              (Lines{empty, empty, empty}));
    EXPECT_EQ(only_answer({}, "get /modem/get",
                          "uci set network.modem_1_1_2=interface; uci set "
                          "network.modem_1_1_2.proto=qmi; "),
              empty)
        << "no protocol but qcm is told";
    for (const char *bus : {"", "../../etc", "1-1.2.3.4.5.6.7", "a=b", "$(reboot)"})
        EXPECT_EQ(only_answer({}, std::string{R"(get /modem/get {"bus":")"} + bus + "\"}"), empty) << bus;
}

// One modem

TEST(ModemFacts, NeedBusAndModel)
{
    for (const char *path : {"post /modem/modem_info/get ", "post /modem/cells/get "}) {
        const std::string request = path;
        EXPECT_EQ(serve({"--modem", "EC25"},
                        request + "{}\n" + request + "{\"modem_id\":3}\n" + request + "{\"bus\":\"1-1.2\"}\n" +
                            request + "{\"bus\":\"1-1.2\",\"modem_id\":77}\n" + request +
                            "{\"bus\":\"1-1.2\",\"modem_id\":-1}\n" + request + "{\"bus\":\"1;1\",\"modem_id\":3}\n" +
                            request + "{\"bus\":\"\",\"modem_id\":3}\n"),
                  (Lines{"-251 {}", "-251 {}", "-251 {}", "-250 {}", "-250 {}", "-251 {}", "-251 {}"}));
    }
}

TEST(ModemFacts, OfAnotherBusAreAskedThere)
{
    const RouterRun run =
        run_shell({"--modem", "EC25@1-1.2,imsi=232031234567890", "--modem", "EC25@2-1.2,imsi=262010000000001"},
                  "modemapi <<'END'\n"
                  "post /modem/modem_info/get {\"bus\":\"2-1.2\",\"modem_id\":3}\n"
                  "post /modem/modem_info/get {\"bus\":\"1-1.2\",\"modem_id\":3}\nEND\n");
    const Lines answers = lines_of(run.out);
    ASSERT_EQ(answers.size(), 2U) << run.err;
    EXPECT_NE(answers[0].find("\"imsi\":\"262010000000001\""), std::string::npos) << answers[0];
    EXPECT_NE(answers[1].find("\"imsi\":\"232031234567890\""), std::string::npos) << answers[1];
}

TEST(Cells, AreNotSupportedByEveryModel)
{
    EXPECT_EQ(only_answer({"--modem", "unlisted"}, R"(post /modem/cells/get {"bus":"1-1.2","modem_id":255})"),
              "-17 {}");
    EXPECT_EQ(only_answer({"--modem", "EG91"}, R"(post /modem/cells/get {"bus":"1-1.2","modem_id":8})").substr(0, 3),
              "0 {");
}

} // namespace api_info_test
