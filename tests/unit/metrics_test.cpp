#include "discovery/record/metrics.h"
#include "discovery/record/openwisp.h"

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "readings/report_json.h"
#include "tests/unit/documents.h"
#include "tests/unit/transcripts.h"
#include "watch/states.h"

namespace metrics_test {

std::string metrics_of(const std::string &reports, MetricsOptions options = {})
{
    const Json list{json_tokener_parse(reports.c_str())};
    char *text = nullptr;
    size_t size = 0;
    FILE *out = open_memstream(&text, &size);
    print_metrics(out, list.get(), options);
    fclose(out);
    std::string result{text, size};
    free(text);
    return result;
}

const std::string report = R"([{"schema":1,"bus":"1-1.2","age_s":7,
 "model":{"id":3,"name":"EC25","dialect":"quectel"},
 "modem":{"manufacturer":"Quectel","model":"EC25","revision":"EC25EFAR06A03M4G","imei":"861536030123456","temperature_c":41},
 "sim":{"state":"pin","iccid":"8943012345678901234","imsi":"232031234567890"},
 "network":{"registration":"roaming","technology":"NR5G-NSA","operator_name":"A \"B\" \\ C\nD","mcc":"232","mnc":"03"},
 "serving":{"cell_id":30844171,"tac":9750,"pci":188,"arfcn":1300,"band":"B3","bandwidth_dl_mhz":1.4,"rsrp_dbm":-86,"rsrq_db":-10.5},
 "nr":{"band":"n78","rsrp_dbm":-95},
 "carriers":[{"role":"PCC","rat":"LTE","band":"B3","rsrp_dbm":-86},{"role":"SCC","rat":"LTE","band":"B7","bandwidth_mhz":20,"rsrp_dbm":-99}],
 "quality":{"level":4,"words":"good"},
 "interface":{"name":"modem_1_1_2","device":"wwan0","state":"up","uptime_s":3600,"rx_bytes":5000000000,"tx_bytes":12},
 "sms":{"unread":1}}])";

TEST(Metrics, AreTheValuesOfTheReport)
{
    const std::string text = metrics_of(report);
    const char *lines[] = {
        "# HELP modem_up The modem answered when it was last asked.\n# TYPE modem_up gauge\nmodem_up{bus=\"1-1.2\"} "
        "1\n",
        "modem_info{bus=\"1-1.2\",name=\"EC25\",manufacturer=\"Quectel\",model=\"EC25\",firmware=\"EC25EFAR06A03M4G\"} "
        "1\n",
        "modem_sim_state{bus=\"1-1.2\",state=\"ready\"} 0\n",
        "modem_sim_state{bus=\"1-1.2\",state=\"pin\"} 1\n",
        "modem_registration_state{bus=\"1-1.2\",state=\"roaming\"} 1\n",
        "operator=\"A \\\"B\\\" \\\\ C\\nD\",rat=\"NR5G-NSA\"} 1\n",
        "modem_carrier_info{bus=\"1-1.2\",carrier=\"pcc\",rat=\"LTE\",band=\"B3\",arfcn=\"1300\",pci=\"188\"} 1\n",
        "modem_carrier_info{bus=\"1-1.2\",carrier=\"nr\",rat=\"NR5G\",band=\"n78\"} 1\n",
        "modem_carrier_bandwidth_hertz{bus=\"1-1.2\",carrier=\"pcc\",rat=\"LTE\"} 1400000\n",
        "modem_carrier_bandwidth_hertz{bus=\"1-1.2\",carrier=\"scc1\",rat=\"LTE\"} 20000000\n",
        "modem_rsrp_dbm{bus=\"1-1.2\",carrier=\"pcc\",rat=\"LTE\"} -86\n",
        "modem_rsrp_dbm{bus=\"1-1.2\",carrier=\"nr\",rat=\"NR5G\"} -95\n",
        "modem_rsrp_dbm{bus=\"1-1.2\",carrier=\"scc1\",rat=\"LTE\"} -99\n",
        "modem_rsrq_db{bus=\"1-1.2\",carrier=\"pcc\",rat=\"LTE\"} -10.5\n",
        "# TYPE modem_receive_bytes_total counter\nmodem_receive_bytes_total{bus=\"1-1.2\"} 5000000000\n",
        "modem_interface_up{bus=\"1-1.2\"} 1\n",
        "modem_report_age_seconds{bus=\"1-1.2\"} 7\n",
    };
    for (const char *line : lines)
        EXPECT_NE(text.find(line), std::string::npos) << line << "\nnot in\n" << text;
    EXPECT_EQ(text.find("modem_watch_state"), std::string::npos) << "nobody watches";
}

TEST(Metrics, TellWhoseModemItIsOnlyIfAsked)
{
    for (const char *secret : {"861536030123456", "8943012345678901234", "232031234567890", "30844171"}) {
        EXPECT_EQ(metrics_of(report).find(secret), std::string::npos) << secret;
        EXPECT_NE(metrics_of(report, {.identify = true}).find(secret), std::string::npos) << secret;
    }
}

TEST(Metrics, OfOpenMetricsNameCountersWithoutTotalAndEnd)
{
    const std::string text = metrics_of(report, {.openmetrics = true});
    EXPECT_NE(text.find("# TYPE modem_receive_bytes counter\nmodem_receive_bytes_total{"), std::string::npos) << text;
    EXPECT_TRUE(text.ends_with("\n# EOF\n"));
}

TEST(Metrics, OfNoModemAreNone)
{
    EXPECT_EQ(metrics_of("[]"), "");
    EXPECT_EQ(metrics_of("{}"), "");
    EXPECT_EQ(metrics_of("[]", {.openmetrics = true}), "# EOF\n");
}

TEST(Metrics, OfASilentModemSayThatItIsDown)
{
    const std::string text =
        metrics_of(R"([{"bus":"1-1","model":{"id":3},"missing":[{"what":"modem","why":"no answer"}]}])");
    EXPECT_NE(text.find("modem_up{bus=\"1-1\"} 0\n"), std::string::npos) << text;
}

TEST(Metrics, TakeReportsOfWrongTypes)
{
    const std::string rows[] = {
        "[null,1,\"text\",[],{}]",
        R"([{"bus":7,"sim":[],"network":"x","serving":1,"carriers":{},"nr":null,"interface":[1]}])",
        R"([{"bus":"1-1","sim":{"state":5},"quality":{"level":"high"},"carriers":[1,null,{"role":3},{"role":"SCC"}]}])",
        R"([{"bus":"1-1","network":{"operator_name":")" + std::string(5000, 'x') + R"("}}])",
    };
    for (const std::string &row : rows) {
        std::istringstream lines{metrics_of(row, {.identify = true})};
        for (std::string line; std::getline(lines, line);)
            EXPECT_TRUE(line.starts_with("#") || line.starts_with("modem_up{")) << row << ": " << line;
    }
}

// What every series must be, whatever the modem says: typed, of its family's block, with labels that can be read, once
// only, and within what the quantity can be.
void expect_sound(const std::string &text, const std::string &where)
{
    static const std::regex sample{
        R"re(^([a-z_]+)\{((?:[a-z_]+="(?:[^"\\]|\\["\\n])*",?)*)\} (-?[0-9]+(?:\.[0-9]+)?)$)re"};
    static const std::map<std::string, std::pair<double, double>> ranges = {
        {"modem_rsrp_dbm", {-156, -31}}, {"modem_rsrq_db", {-43, 20}},  {"modem_sinr_db", {-23, 40}},
        {"modem_rscp_dbm", {-121, -24}}, {"modem_rssi_dbm", {-130, 0}}, {"modem_ecio_db", {-34, 0}},
    };
    std::set<std::string> series;
    std::set<std::string> families;
    std::string family;
    std::istringstream lines{text};
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("# TYPE ")) {
            family = line.substr(7, line.find(' ', 7) - 7);
            EXPECT_TRUE(families.insert(family).second) << where << ": " << line;
        }
        if (line.starts_with("#"))
            continue;
        std::smatch match;
        ASSERT_TRUE(std::regex_match(line, match, sample)) << where << ": " << line;
        EXPECT_EQ(match[1], family) << where;
        EXPECT_TRUE(series.insert(line.substr(0, line.find("} "))).second) << where << ": " << line;
        if (const auto range = ranges.find(family); range != ranges.end()) {
            EXPECT_GE(std::stod(match[3]), range->second.first) << where << ": " << line;
            EXPECT_LE(std::stod(match[3]), range->second.second) << where << ": " << line;
        }
    }
}

TEST(Metrics, OfEveryRecordedModemAreSound)
{
    std::string all = "[";
    size_t number = 0;
    for (const TranscriptScene &scene : transcript_scenes()) {
        Json object{json_object_new_object()};
        kjson_add_string(object.get(), "bus", "1-" + std::to_string(++number));
        add_report(object.get(), report_of(scene));
        const std::string one = json_object_to_json_string(object.get());
        expect_sound(metrics_of("[" + one + "]", {.identify = true}), scene.name);
        all += (number == 1 ? "" : ",") + one;
    }
    expect_sound(metrics_of(all + "]", {.identify = true}), "all");
    EXPECT_GT(number, 100u);
}

// The words of a state stand in the metric's row, since a room below may not know the rooms that use them.
TEST(Metrics, HaveASeriesForEveryState)
{
    std::map<std::string, std::string> words;
    for (const MetricRow &row : metric_rows)
        if (row.shape == MetricShape::state)
            words[row.name] = row.labels;
    std::string sim;
    std::string registration;
    std::string watch;
    for (int i = 1; i <= static_cast<int>(SimState::error); i++)
        sim += (i == 1 ? "" : " ") + std::string{sim_state_name(static_cast<SimState>(i))};
    for (int i = 0; i < static_cast<int>(Registration::untold); i++)
        registration += (i == 0 ? "" : " ") + std::string{registration_name(static_cast<Registration>(i))};
    for (int i = 0; i <= static_cast<int>(WatchState::slow); i++)
        watch += (i == 0 ? "" : " ") + std::string{watch_state_name(static_cast<WatchState>(i))};
    EXPECT_EQ(words["modem_sim_state"], sim);
    EXPECT_EQ(words["modem_registration_state"], registration);
    EXPECT_EQ(words["modem_watch_state"], watch);
}

TEST(Metrics, AreListedInTheDocument)
{
    std::map<std::string, std::string> documented;
    for (Row &row : rows_under("fleets.md", "metric"))
        documented[row["metric"]] = row["type"] + (row["only with --identify"].empty() ? "" : " identify");
    std::map<std::string, std::string> printed;
    for (const MetricRow &row : metric_rows)
        printed["`" + std::string{row.name} + "`"] =
            std::string{std::string_view{row.name}.ends_with("_total") ? "counter" : "gauge"} +
            (row.identifies ? " identify" : "");
    EXPECT_EQ(documented, printed);
}

TEST(OpenWisp, HasWhatTheSchemaRequires)
{
    const Json list{json_tokener_parse(report.c_str())};
    const Json mobile = openwisp_mobile(json_object_array_get_idx(list.get(), 0));
    EXPECT_STREQ(json_object_to_json_string_ext(mobile.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE),
                 R"({"imei":"861536030123456","operator_code":"23203","operator_name":"A \"B\" \\ C\nD",)"
                 R"("manufacturer":"Quectel","model":"EC25","connection_status":"locked","power_status":"on",)"
                 R"("signal":{"lte":{"rsrp":-86,"rsrq":-10.5},"5g":{"rsrp":-95}}})");
}

TEST(OpenWisp, IsNothingWithoutIt)
{
    const char *rows[] = {
        "{}",
        R"({"modem":[],"network":7})",
        R"({"modem":{"imei":"86153603012345","manufacturer":"Q","model":"M"},"network":{"mcc":"232","mnc":"03"}})",
        R"({"modem":{"imei":"861536030123456","manufacturer":"Q","model":"M"},"network":{"operator_name":"A"}})",
        R"({"modem":{"imei":"861536030123456","model":"M"},"network":{"mcc":"232","mnc":"03"}})",
    };
    for (const char *row : rows) {
        const Json object{json_tokener_parse(row)};
        EXPECT_EQ(openwisp_mobile(object.get()), nullptr) << row;
    }
}

TEST(OpenWisp, ReportsTheSignalOfTheTechnologyInUse)
{
    const struct {
        const char *technology;
        const char *serving;
        const char *signal;
    } rows[] = {
        {"LTE", R"({"rsrp_dbm":-90,"sinr_db":5})", R"({"lte":{"rsrp":-90,"snr":5}})"},
        {"NR5G-SA", R"({"rsrp_dbm":-90})", R"({"5g":{"rsrp":-90}})"},
        {"GSM", R"({"rssi_dbm":-70})", R"({"gsm":{"rssi":-70}})"},
        {"GSM", R"({"rsrp_dbm":-70})", nullptr},
        {"WCDMA", R"({"rscp_dbm":-80,"ecio_db":-6})", R"({"umts":{"rscp":-80,"ecio":-6}})"},
        {"WCDMA", R"({"rscp_dbm":-80})", nullptr},
    };
    for (const auto &row : rows) {
        const std::string text = std::string{R"({"modem":{"imei":"861536030123456","manufacturer":"Q","model":"M"},)"} +
                                 R"("network":{"mcc":"232","mnc":"03","technology":")" + row.technology +
                                 R"("},"serving":)" + row.serving + "}";
        const Json object{json_tokener_parse(text.c_str())};
        const Json mobile = openwisp_mobile(object.get());
        json_object *signal = kjson_get_object(mobile.get(), "signal");
        EXPECT_EQ(signal == nullptr, row.signal == nullptr) << text;
        if (signal != nullptr) {
            EXPECT_STREQ(json_object_to_json_string_ext(signal, JSON_C_TO_STRING_PLAIN), row.signal);
        }
    }
}

} // namespace metrics_test
