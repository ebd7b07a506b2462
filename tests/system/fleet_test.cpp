#include <algorithm>

#include <gtest/gtest.h>

#include "tests/system/harness.h"

// `modemctl metrics` and `modemctl openwisp` from outside.

namespace fleet_test {

using Lines = std::vector<std::string>;

size_t questions(const RouterRun &run)
{
    const std::string sent = run.sent_to("ttyUSB2");
    return static_cast<size_t>(std::count(sent.begin(), sent.end(), '\n'));
}

bool has_line(const std::string &text, const std::string &line)
{
    const Lines lines = lines_of(text);
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(Metrics, AskTheModemNothingWhileItsReportIsNew)
{
    const RouterRun once = run_shell({"--modem", "EC25"}, "modemctl metrics");
    const RouterRun thrice =
        run_shell({"--modem", "EC25"}, "modemctl info >/dev/null; modemctl metrics; modemctl openwisp");
    EXPECT_EQ(once.status, 0);
    EXPECT_TRUE(has_line(once.out, "modem_up{bus=\"1-1.2\"} 1")) << once.out;
    EXPECT_TRUE(has_line(thrice.out, "modem_up{bus=\"1-1.2\"} 1")) << thrice.out;
    EXPECT_GT(questions(once), 5u);
    EXPECT_EQ(questions(thrice), questions(once));
}

TEST(Metrics, TellOfEveryModemAndOfNone)
{
    const RouterRun two =
        run_in_router({"--modem", "EC25", "--modem", "EP06@2-1.2,pin=SIM PIN"}, {"modemctl", "metrics"});
    EXPECT_TRUE(has_line(two.out, "modem_sim_state{bus=\"1-1.2\",state=\"ready\"} 1")) << two.out;
    EXPECT_TRUE(has_line(two.out, "modem_sim_state{bus=\"2-1.2\",state=\"pin\"} 1")) << two.out;
    const RouterRun none = run_in_router({}, {"modemctl", "metrics"});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out, "");
    EXPECT_EQ(run_in_router({}, {"modemctl", "metrics", "--all"}).status, 64);
}

TEST(OpenWisp, PrintsTheObjectOrSaysWhyNot)
{
    const RouterRun run = run_in_router({"--modem", "EC25"}, {"modemctl", "openwisp"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out,
              R"({"imei":"861536030123456","operator_code":"23203","operator_name":"T-Mobile A",)"
              R"("manufacturer":"Quectel","model":"EC25","connection_status":"registered","power_status":"on",)"
              R"("signal":{"lte":{"rssi":-51,"rsrp":-86,"rsrq":-11,"snr":12}}})"
              "\n");
    const struct {
        Lines options;
        Lines words;
        int status;
    } rows[] = {
        {{}, {"modemctl", "openwisp"}, 1},
        {{"--modem", "EC25", "--fault", "silence"}, {"modemctl", "openwisp"}, 2},
        {{"--modem", "EC25,rat=NOSERVICE,registration=2"}, {"modemctl", "openwisp"}, 2},
        {{"--modem", "EC25"}, {"modemctl", "openwisp", "--json"}, 64},
    };
    for (const auto &row : rows) {
        const RouterRun failed = run_in_router(row.options, row.words);
        EXPECT_EQ(failed.status, row.status);
        EXPECT_EQ(failed.out, "");
    }
}

} // namespace fleet_test
