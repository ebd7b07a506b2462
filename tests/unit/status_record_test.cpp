#include "drivers/quectel_signal.h"
#include "status/status_record.h"

#include <gtest/gtest.h>

#include "status/interface_report.h"
#include "status/shell_lines.h"

namespace status_record_test {

template <int generation, int32_t signal_level> int signal_of(const ModemDriver &, json_object *array, int32_t &level)
{
    level = signal_level;
    json_object_array_add(array, json_object_new_string("value"));
    return generation;
}

int silent_signal(const ModemDriver &, json_object *, int32_t &)
{
    return -1;
}

template <int result, int32_t bars> int csq_of(const ModemDriver &, int32_t &level)
{
    level = bars;
    return result;
}

template <int result> int carrier_aggregation(const ModemDriver &)
{
    return result;
}

int mode_4g(const ModemDriver &, TextOut out)
{
    out.assign("4G");
    return 0;
}

// The operations that tell of the signal, by default none.
struct Asked {
    decltype(ModemOps::get_mode) mode = nullptr;
    decltype(ModemOps::get_csq) csq = nullptr;
    decltype(ModemOps::get_signal) signal = nullptr;
    decltype(ModemOps::get_ca_info) aggregation = nullptr;
};

TEST(SignalRecord, TakesLevelAndModeFromTheModel)
{
    const struct {
        const char *what;
        Asked asked;
        int result;
        int32_t level;
        const char *mode;
        const char *members;
    } rows[] = {
        {"LTE", {.signal = signal_of<4, 3>}, 0, 3, "4G", R"({"signal_info":["value"]})"},
        {"LTE with carrier aggregation",
         {.signal = signal_of<4, 3>, .aggregation = carrier_aggregation<1>},
         0,
         3,
         "4G+",
         R"({"signal_info":["value"]})"},
        {"LTE without carrier aggregation",
         {.signal = signal_of<4, 3>, .aggregation = carrier_aggregation<0>},
         0,
         3,
         "4G",
         R"({"signal_info":["value"]})"},
        {"a count of carriers is not yes",
         {.signal = signal_of<4, 3>, .aggregation = carrier_aggregation<2>},
         0,
         3,
         "4G",
         R"({"signal_info":["value"]})"},
        {"WCDMA",
         {.signal = signal_of<3, 2>, .aggregation = carrier_aggregation<1>},
         0,
         2,
         "3G",
         R"({"signal_info":["value"]})"},
        {"GSM", {.signal = signal_of<2, 1>}, 0, 1, "2G", R"({"signal_info":["value"]})"},
        {"no generation but a level",
         {.mode = mode_4g, .signal = signal_of<0, 2>},
         0,
         2,
         "4G",
         R"({"signal_info":["value"]})"},
        {"no generation, no mode", {.signal = signal_of<0, 2>}, 0, 2, "", R"({"signal_info":["value"]})"},
        {"no generation, no level",
         {.mode = mode_4g, .signal = signal_of<0, 0>},
         -1,
         0,
         "",
         R"({"signal_info":["value"]})"},
        {"unknown generation", {.mode = mode_4g, .signal = signal_of<5, 3>}, -1, 3, "", R"({"signal_info":["value"]})"},
        {"silent", {.mode = mode_4g, .signal = silent_signal}, -1, -1, "", R"({"signal_info":[]})"},
        {"a level without signal", {.mode = mode_4g, .csq = csq_of<1, 2>}, 0, 2, "4G", "{}"},
        {"no bars", {.mode = mode_4g, .csq = csq_of<1, 0>}, -1, 0, "", "{}"},
        {"generation by the bars' operation", {.csq = csq_of<4, 4>}, 0, 4, "4G", "{}"},
        {"bars fail", {.mode = mode_4g, .csq = csq_of<-1, 3>}, -1, 3, "", "{}"},
        {"signal before bars",
         {.csq = csq_of<2, 1>, .signal = signal_of<3, 3>},
         0,
         3,
         "3G",
         R"({"signal_info":["value"]})"},
        {"nothing to ask", {}, -1, -1, "", "{}"},
    };
    for (const auto &row : rows) {
        ModemDriver rec{};
        rec.bus.assign("no-bus");
        rec.ops.get_mode = row.asked.mode;
        rec.ops.get_csq = row.asked.csq;
        rec.ops.get_signal = row.asked.signal;
        rec.ops.get_ca_info = row.asked.aggregation;
        const Json result{json_object_new_object()};
        int32_t level = -1;
        Text<6> mode;
        EXPECT_EQ(read_signal_record(rec, mode, level, result.get()), row.result) << row.what;
        EXPECT_EQ(level, row.level) << row.what;
        EXPECT_EQ(mode.view(), row.mode) << row.what;
        EXPECT_STREQ(json_object_to_json_string_ext(result.get(), JSON_C_TO_STRING_PLAIN), row.members) << row.what;
    }
}

TEST(InterfaceReport, AsksIfstatusForPlainNamesOnly)
{
    EXPECT_EQ(compose_ifstatus("modem_1_1_2").view(), "ifstatus modem_1_1_2 2>/dev/null");
    EXPECT_EQ(compose_ifstatus("modem_1_1_2; reboot").view(), "");
    EXPECT_EQ(compose_ifstatus("$(reboot)").view(), "");
}

TEST(InterfaceReport, AsksForNamesOfUpTo45Bytes)
{
    const std::string longest(45, 'm');
    EXPECT_EQ(compose_ifstatus(longest.c_str()).view(),
              "ifstatus mmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmmm 2>/dev/null");
    const std::string too_long(46, 'm');
    EXPECT_EQ(compose_ifstatus(too_long.c_str()).view(), "");
    const Json result{json_object_new_object()};
    EXPECT_EQ(report_interface(result.get(), too_long.c_str()), interface_is_down);
    EXPECT_EQ(report_interface_with_address(result.get(), too_long.c_str(), 1), interface_is_down);
    EXPECT_EQ(json_object_object_length(result.get()), 0);
}

} // namespace status_record_test
