#include <gtest/gtest.h>
#include <json-c/json.h>

#include "tests/system/harness.h"

// `modemctl info` from outside: its exit statuses, one opening of the port, and that its two forms tell the same.

namespace info_test {

using Lines = std::vector<std::string>;

RouterRun info(Lines options, Lines words = {"--json"})
{
    words.insert(words.begin(), {"modemctl", "info"});
    return run_in_router(options, words);
}

// The text at path ("serving/band") of a JSON report; empty where there is none.
std::string fact(const std::string &report, const std::string &path)
{
    json_object *root = json_tokener_parse(report.c_str());
    json_object *value = root;
    for (size_t start = 0; value != nullptr && start <= path.size();) {
        const size_t end = std::min(path.find('/', start), path.size());
        json_object *member = nullptr;
        json_object_object_get_ex(value, path.substr(start, end - start).c_str(), &member);
        value = member;
        start = end + 1;
    }
    const std::string text = value == nullptr ? "" : json_object_get_string(value);
    json_object_put(root);
    return text;
}

TEST(Info, TellsModemNetworkAndCellInOneLineOfJson)
{
    const RouterRun run = info({"--modem", "EC25"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(lines_of(run.out).size(), 1U);
    EXPECT_EQ(fact(run.out, "schema"), "1");
    EXPECT_EQ(fact(run.out, "bus"), "1-1.2");
    EXPECT_EQ(fact(run.out, "model/name"), "EC25");
    EXPECT_EQ(fact(run.out, "model/dialect"), "quectel");
    EXPECT_EQ(fact(run.out, "modem/imei"), "861536030123456");
    EXPECT_EQ(fact(run.out, "sim/state"), "ready");
    EXPECT_EQ(fact(run.out, "network/operator_name"), "T-Mobile A");
    EXPECT_EQ(fact(run.out, "serving/band"), "B3");
    EXPECT_EQ(fact(run.out, "serving/rsrp_dbm"), "-86");
    EXPECT_EQ(fact(run.out, "missing"), "[ ]");
}

TEST(Info, PrintsTheSameFactsAsAPage)
{
    const RouterRun run = info({"--modem", "EC25"}, {});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("network     registration home, LTE, T-Mobile A, mcc 232, mnc 03"), std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("rsrp -86 dBm, rsrq -11 dB, sinr 12 dB"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find('\033'), std::string::npos) << "colour without a terminal";
}

struct DialectRow {
    const char *modem;
    const char *dialect;
    const char *technology;
};
const DialectRow dialect_rows[] = {
    {"EP06", "quectel", "LTE"},      {"BG95", "quectel", "eMTC"},     {"MC7430", "sierra", "LTE"},
    {"NL678E", "fibocom", "LTE"},    {"SIMCOM7600", "simcom", "LTE"}, {"ME3630", "zte", "LTE"},
    {"unlisted", "3gpp", "LTE"},     {"LM960", "telit", "LTE"},       {"T99W175", "foxconn", "LTE"},
    {"MT5700", "huawei", "NR5G-SA"},
};

TEST(Info, ChoosesTheDialectOfEachModem)
{
    for (const auto &row : dialect_rows) {
        const RouterRun run = info({"--modem", row.modem});
        EXPECT_EQ(run.status, 0) << row.modem;
        EXPECT_EQ(fact(run.out, "model/dialect"), row.dialect) << row.modem;
        EXPECT_EQ(fact(run.out, "network/technology"), row.technology) << row.modem << run.out;
    }
}

TEST(Info, ReportsEveryModemWithAll)
{
    const RouterRun run = info({"--modem", "EC25", "--modem", "EP06@2-1.2"}, {"--all", "--json"});
    EXPECT_EQ(run.status, 0);
    json_object *list = json_tokener_parse(run.out.c_str());
    ASSERT_TRUE(json_object_is_type(list, json_type_array)) << run.out;
    EXPECT_EQ(json_object_array_length(list), 2U);
    json_object_put(list);
    EXPECT_NE(run.out.find("\"bus\":\"1-1.2\""), std::string::npos);
    EXPECT_NE(run.out.find("\"bus\":\"2-1.2\""), std::string::npos);
}

TEST(Info, KeepsTheReportForThoseWhoMustNotAskTheModem)
{
    const RouterRun run =
        run_shell({"--modem", "EC25"}, "modemctl info --json >/dev/null; mv /dev/ttyUSB2 /dev/away\n"
                                       "modemctl info --cached --json; stat -c %a /tmp/modem.1-1.2/info.json");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(fact(lines_of(run.out).at(0), "serving/band"), "B3");
    EXPECT_EQ(lines_of(run.out).at(1), "600");
}

TEST(Info, SaysThatThereIsNoModem)
{
    const RouterRun run = run_in_router({"--modem", "EC25"}, {"modemctl", "1-1.4", "info", "--json"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("no modem on this bus"), std::string::npos);
}

TEST(Info, SaysThatTheModemIsSilent)
{
    const RouterRun run = info({"--modem", "EC25", "--fault", "silence"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.out.find("no answer"), std::string::npos) << run.out;
    EXPECT_LT(run.duration, std::chrono::seconds{60});
}

TEST(Info, SaysThatAnotherProgramHoldsThePort)
{
    const RouterRun run =
        run_shell({"--modem", "EC25"}, "exec 9<>/dev/ttyUSB2; flock 9; modemctl info --json; echo $?");
    EXPECT_EQ(lines_of(run.out).at(1), "3");
    EXPECT_NE(run.out.find("busy"), std::string::npos) << run.out;
}

TEST(Info, RefusesAnUnknownOption)
{
    EXPECT_EQ(info({"--modem", "EC25"}, {"--jsn"}).status, 64);
}

} // namespace info_test
