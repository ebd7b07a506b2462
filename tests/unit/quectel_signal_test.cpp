#include <string>

#include <gtest/gtest.h>

#include "core/model/signal_grade.h"
#include "drivers/quectel_fields.h"
#include "drivers/quectel_signal.h"

namespace quectel_signal_test {

struct SignalRow {
    const char *what;
    const char *reply;
    int generation;
    int32_t level;
    const char *objects;
};

constexpr int32_t untouched = 77;

void expect_signal(const SignalRow &row, int (*add)(std::string_view, json_object *, int32_t &))
{
    const Json array{json_object_new_array()};
    int32_t level = untouched;
    EXPECT_EQ(add(row.reply, array.get(), level), row.generation) << row.what;
    EXPECT_EQ(level, row.level) << row.what;
    EXPECT_STREQ(json_object_to_json_string_ext(array.get(), JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE),
                 row.objects)
        << row.what;
}

const SignalRow qcsq_rows[] = {
    {"EC25 on LTE", "\r\n+QCSQ: \"LTE\",51,-86,118,-11\r\n\r\nOK\r\n", 4, 3,
     R"([{"type":"LTE","rssi":"-51","rsrp":"-86","sinr":"12","rsrq":"-11"}])"},
    {"EP06 on LTE", "\r\n+QCSQ: \"LTE\",52,-83,207,-14\r\n\r\nOK\r\n", 4, 3,
     R"([{"type":"LTE","rssi":"-52","rsrp":"-83","sinr":"21","rsrq":"-14"}])"},
    {"EC25 on WCDMA", "AT+QCSQ\r\r\n+QCSQ: \"WCDMA\",61,-61,-6\r\n\r\nOK\r\n", 3, 3,
     R"([{"type":"WCDMA","rssi":"-61","rscp":"-61","ecio":"-6"}])"},
    {"EC25 on GSM", "\r\n+QCSQ: \"GSM\",125\r\n\r\nOK\r\n", 2, 1, R"([{"type":"GSM","rssi":"-125"}])"},
    {"BG96 tells a negative RSSI, which gets two signs", "\r\n+QCSQ: \"GSM\",-69\r\n\r\nOK\r\n", 2, 4,
     R"([{"type":"GSM","rssi":"--69"}])"},
    {"an LTE RSSI of -60 too", "\r\n+QCSQ: \"LTE\",-60,-95,150,-11\r\n\r\nOK\r\n", 4, 3,
     R"([{"type":"LTE","rssi":"--60","rsrp":"-95","sinr":"15","rsrq":"-11"}])"},
    {"BG77 on NB-IoT", "AT+QCSQ\r\r\n+QCSQ: \"NBIoT\",-103,-114,152,-10\r\n\r\nOK\r\n", -1, untouched, "[]"},
    {"no service", "\r\n+QCSQ: \"NOSERVICE\"\r\n\r\nOK\r\n", -1, untouched, "[]"},
    {"no service, with a value", "\r\n+QCSQ: \"NOSERVICE\",-100\r\n\r\nOK\r\n", -1, untouched, "[]"},
    {"missing fields", "\r\n+QCSQ: \"LTE\",51\r\n\r\nOK\r\n", 4, 3,
     R"([{"type":"LTE","rssi":"-51","rsrp":"-","sinr":"0","rsrq":"-"}])"},
    {"fields without a value", "\r\n+QCSQ: \"WCDMA\",-,-,-\r\n\r\nOK\r\n", 3, 4,
     R"([{"type":"WCDMA","rssi":"-0","rscp":"-","ecio":"-"}])"},
    {"TDSCDMA", "\r\n+QCSQ: \"TDSCDMA\",71,-75,-3\r\n\r\nOK\r\n", 3, 2,
     R"([{"type":"TDSCDMA","rssi":"-71","rscp":"-75","ecio":"-3"}])"},
    {"CDMA", "\r\n+QCSQ: \"CDMA\",65,-5\r\n\r\nOK\r\n", 2, 3, R"([{"type":"CDMA","rssi":"-65","ecio":"-5"}])"},
    {"EVDO", "\r\n+QCSQ: \"EVDO\",65,-5,35\r\n\r\nOK\r\n", 3, 3,
     R"([{"type":"EVDO","rssi":"-65","ecio":"-5","sinr":"4"}])"},
    {"CDMA and EVDO", "\r\n+QCSQ: \"CDMA-EVDO\",75,-15,80,-25,-18\r\n\r\nOK\r\n", 3, 2,
     R"([{"type":"CDMA-EVDO","rssi0":"-75","ecio0":"-15","rssi1":"-80","ecio1":"-25","sinr":"-1"}])"},
    {"LTE beside WCDMA", "\r\n+QCSQ: \"WCDMA\",61,-61,-6\r\n+QCSQ: \"LTE\",95,-121,-50,-20\r\n\r\nOK\r\n", 4, 1,
     R"([{"type":"WCDMA","rssi":"-61","rscp":"-61","ecio":"-6"},{"type":"LTE","rssi":"-95","rsrp":"-121","sinr":"-4","rsrq":"-20"}])"},
    {"a tie keeps the first one's level", "\r\n+QCSQ: \"GSM\",60\r\n+QCSQ: \"GSM\",99\r\n\r\nOK\r\n", 2, 4,
     R"([{"type":"GSM","rssi":"-60"},{"type":"GSM","rssi":"-99"}])"},
    {"an unrated system", "\r\n+QCSQ: \"xWCDMA\",61,-61,-6\r\n\r\nOK\r\n", 0, -1,
     R"([{"type":"xWCDMA","rssi":"-61","rscp":"-61","ecio":"-6"}])"},
    {"a URC in front, CR CR LF", "\r\n+CMTI: \"ME\",1\r\r\n+QCSQ: \"GSM\",75\r\r\n\r\r\nOK\r\r\n", 2, 3,
     R"([{"type":"GSM","rssi":"-75"}])"},
    {"no blank behind the colon", "\r\n+QCSQ:\"GSM\",75\r\n\r\nOK\r\n", -1, untouched, "[]"},
    {"cut at the tag", "+QCSQ: ", -1, untouched, "[]"},
    {"nothing", "", -1, untouched, "[]"},
};

TEST(SignalReport, GivesTheValuesOfEverySystemAndTheBestLevel)
{
    for (const auto &row : qcsq_rows)
        expect_signal(row, add_qcsq_signals);
}

const SignalRow servingcell_rows[] = {
    {"EC20 on TDD LTE",
     "\r\n+QENG: "
     "\"servingcell\",\"NOCONN\",\"LTE\",\"TDD\",460,00,C412C83,401,38950,40,5,5,247C,-90,-7,-62,24,37\r\n\r\nOK\r\n",
     4, 4, R"([{"type":"LTE","rsrp":"-90","rsrq":"-7","rssi":"-62","sinr":"24"}])"},
    {"EG18, no S level",
     "AT+QENG=\"servingcell\"\r\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",216,70,127328,189,"
     "476,1,3,3,D17,-104,-9,-77,18,-,-,-\r\n\r\nOK\r\n",
     4, 3, R"([{"type":"LTE","rsrp":"-104","rsrq":"-9","rssi":"-77","sinr":"18"}])"},
    {"EC25 on WCDMA",
     "\r\n+QENG: \"servingcell\",\"NOCONN\",\"WCDMA\",310,410,DEA6,2883C,4385,84,254,-98,-7,-,-,-,-,-\r\n\r\nOK\r\n", 3,
     1, R"([{"type":"WCDMA","rscp":"-98","ecio":"-7"}])"},
    {"EC25 on a good WCDMA cell",
     "\r\n+QENG: \"servingcell\",\"CONNECT\",\"WCDMA\",440,10,75,6FE0090,10736,58,0,-58,3,-,-,-,-,-\r\n\r\nOK\r\n", 3,
     3, R"([{"type":"WCDMA","rscp":"-58","ecio":"3"}])"},
    {"EC25 on GSM",
     "\r\n+QENG: "
     "\"servingcell\",\"NOCONN\",\"GSM\",515,03,2BC6,162C,58,40,-,-81,255,255,0,22,-28,1,-,-,-\r\n\r\nOK\r\n",
     -1, untouched, "[]"},
    {"searching", "\r\n+QENG: \"servingcell\",\"SEARCH\"\r\n\r\nOK\r\n", -1, untouched, "[]"},
    {"the second cell's level starts from the first one's",
     "+QENG: \"servingcell\",\"CONNECT\",\"WCDMA\",1,1,1,1,1,1,1,-58,3,-\r\n"
     "+QENG: \"servingcell\",\"CONNECT\",\"LTE\",\"FDD\",1,1,1,1,1,1,1,1,1,-121,-20,-90,-1,1\r\nOK\r\n",
     4, 1,
     R"([{"type":"WCDMA","rscp":"-58","ecio":"3"},{"type":"LTE","rsrp":"-121","rsrq":"-20","rssi":"-90","sinr":"-1"}])"},
    {"nothing", "", -1, untouched, "[]"},
};

TEST(ServingCellSignal, GivesTheValuesOfLteAndWcdma)
{
    for (const auto &row : servingcell_rows)
        expect_signal(row, add_servingcell_signals);
}

struct GradeRow {
    const GradeSteps &steps;
    int32_t reading;
    int32_t grade;
};
const GradeRow grade_rows[] = {
    {lte_rsrp_steps, 0, 4},     {lte_rsrp_steps, -90, 4},   {lte_rsrp_steps, -91, 3},   {lte_rsrp_steps, -105, 3},
    {lte_rsrp_steps, -106, 2},  {lte_rsrp_steps, -120, 2},  {lte_rsrp_steps, -121, 1},  {lte_rsrq_steps, -9, 4},
    {lte_rsrq_steps, -10, 3},   {lte_rsrq_steps, -12, 3},   {lte_rsrq_steps, -13, 2},   {lte_rsrq_steps, -14, 1},
    {lte_rssi_steps, -65, 4},   {lte_rssi_steps, -66, 3},   {lte_rssi_steps, -75, 3},   {lte_rssi_steps, -76, 2},
    {lte_rssi_steps, -85, 2},   {lte_rssi_steps, -86, 1},   {older_rssi_steps, -70, 4}, {older_rssi_steps, -71, 3},
    {older_rssi_steps, -80, 3}, {older_rssi_steps, -81, 2}, {older_rssi_steps, -95, 2}, {older_rssi_steps, -96, 1},
    {older_ecio_steps, 0, 4},   {older_ecio_steps, -1, 3},  {older_ecio_steps, -10, 3}, {older_ecio_steps, -11, 2},
    {older_ecio_steps, -20, 2}, {older_ecio_steps, -21, 1},
};

TEST(Grade, ChangesAtItsSteps)
{
    for (const auto &row : grade_rows)
        EXPECT_EQ(grade_reading(row.reading, row.steps), row.grade) << row.reading;
}

struct LevelRow {
    const char *what;
    const char *object;
    WcdmaRssi wcdma_rssi;
    int32_t level_in;
    int generation;
    int32_t level;
};
constexpr auto graded = WcdmaRssi::graded;
constexpr auto previous = WcdmaRssi::previous;
const LevelRow level_rows[] = {
    {"three everywhere", R"({"type":"LTE","rsrp":"-95","rsrq":"-11","sinr":"15","rssi":"-70"})", graded, -1, 4, 3},
    {"SINR 19 is 3", R"({"type":"LTE","rsrp":"-90","rsrq":"-9","sinr":"19","rssi":"-65"})", graded, -1, 4, 3},
    {"SINR 20 is 4", R"({"type":"LTE","rsrp":"-90","rsrq":"-9","sinr":"20","rssi":"-65"})", graded, -1, 4, 4},
    {"SINR 12 is 3", R"({"type":"LTE","rsrp":"-91","rsrq":"-10","sinr":"12","rssi":"-66"})", graded, -1, 4, 3},
    {"SINR 11 is 2", R"({"type":"LTE","rsrp":"-91","rsrq":"-10","sinr":"11","rssi":"-66"})", graded, -1, 4, 2},
    {"SINR 0 is 2", R"({"type":"LTE","rsrp":"-120","rsrq":"-13","sinr":"0","rssi":"-85"})", graded, -1, 4, 2},
    {"SINR -1 is 1", R"({"type":"LTE","rsrp":"-120","rsrq":"-13","sinr":"-1","rssi":"-85"})", graded, -1, 4, 1},
    {"LTE without readings", R"({"type":"LTE"})", graded, -1, 4, 3},
    {"RSCP -60 is 4", R"({"type":"WCDMA","rssi":"-70","ecio":"0","rscp":"-60"})", graded, -1, 3, 4},
    {"RSCP -61 is 3", R"({"type":"WCDMA","rssi":"-70","ecio":"0","rscp":"-61"})", graded, -1, 3, 3},
    {"RSCP -70 is 3", R"({"type":"WCDMA","rssi":"-71","ecio":"-1","rscp":"-70"})", graded, -1, 3, 3},
    {"RSCP -71 is 2", R"({"type":"WCDMA","rssi":"-71","ecio":"-1","rscp":"-71"})", graded, -1, 3, 2},
    {"RSCP -85 is 2", R"({"type":"WCDMA","rssi":"-81","ecio":"-11","rscp":"-85"})", graded, -1, 3, 2},
    {"RSCP -86 is 1", R"({"type":"WCDMA","rssi":"-81","ecio":"-11","rscp":"-86"})", graded, -1, 3, 1},
    {"WCDMA without an RSSI", R"({"type":"WCDMA","ecio":"-11","rscp":"-86"})", graded, -1, 3, 2},
    {"TDSCDMA", R"({"type":"TDSCDMA","rssi":"-96","ecio":"-21","rscp":"-86"})", graded, -1, 3, 1},
    {"the previous level in place of the RSSI", R"({"type":"WCDMA","ecio":"0","rscp":"-60"})", previous, 3, 3, 5},
    {"the first object's previous level is -1", R"({"type":"WCDMA","ecio":"-11","rscp":"-86"})", previous, -1, 3, 1},
    {"WCDMA without an EC/IO", R"({"type":"WCDMA","rscp":"-60"})", previous, -1, 3, 3},
    {"CDMA", R"({"type":"CDMA","rssi":"-81","ecio":"-11"})", graded, -1, 2, 2},
    {"EVDO", R"({"type":"EVDO","rssi":"-81","ecio":"-11"})", graded, -1, 3, 2},
    {"CDMA and EVDO", R"({"type":"CDMA-EVDO","rssi0":"-71","ecio0":"-21"})", graded, -1, 3, 2},
    {"GSM", R"({"type":"GSM","rssi":"-96"})", graded, -1, 2, 1},
    {"GSM without an RSSI", R"({"type":"GSM"})", graded, -1, 2, 4},
    {"the start of a name counts as the name", R"({"type":"WC","rssi":"-96","ecio":"-21","rscp":"-86"})", graded, -1, 3,
     1},
    {"an empty type counts as LTE", R"({"type":"","rsrp":"-121","rsrq":"-14","sinr":"-1","rssi":"-86"})", graded, -1, 4,
     1},
    {"a longer type counts as nothing", R"({"type":"LTE-A"})", graded, 77, 0, 77},
    {"another type", R"({"type":"NR5G-SA"})", graded, 77, 0, 77},
    {"a reading of two signs is 0", R"({"type":"GSM","rssi":"--69"})", graded, -1, 2, 4},
};

Signal signal_of(json_object *object)
{
    Signal signal;
    json_object_object_foreach(object, key, value)
    {
        if (std::string_view(key) == "type")
            signal.type.assign(json_object_get_string(value));
        else
            signal.add(key, json_object_get_string(value));
    }
    return signal;
}

TEST(SignalLevel, IsTheMeanOfTheGrades)
{
    for (const auto &row : level_rows) {
        const Json object{json_tokener_parse(row.object)}; // owns the keys
        const Signal signal = signal_of(object.get());
        int32_t level = row.level_in;
        EXPECT_EQ(static_cast<int>(signal_level(signal, level, row.wcdma_rssi)), row.generation) << row.what;
        EXPECT_EQ(level, row.level) << row.what;
    }
}

TEST(FieldConversion, WritesWhatTheReportsWant)
{
    EXPECT_EQ(negate_text("60").view(), "-60");
    EXPECT_EQ(negate_text("-60").view(), "--60");
    EXPECT_EQ(negate_text("x").view(), "-0");
    EXPECT_EQ(negate_text("-99999999999").view(), "--2147483648");
    EXPECT_EQ(sinr_tenths("118").view(), "12");
    EXPECT_EQ(sinr_tenths("114").view(), "11");
    EXPECT_EQ(sinr_tenths("-14").view(), "0");
    EXPECT_EQ(sinr_tenths("-15").view(), "-1");
    EXPECT_EQ(sinr_tenths("2147483647").view(), "214748365");
}

struct WidthRow {
    const char *field;
    const char *blocks;
    const char *index;
};
const WidthRow width_rows[] = {
    {"6", "1.4M", "-"}, {"15", "3M", "3M"},   {"25", "5M", "5M"}, {"50", "10M", "20M"},
    {"75", "15M", "-"}, {"100", "20M", "3M"}, {"0", "-", "1.4M"}, {"1", "-", "3M"},
    {"2", "-", "5M"},   {"3", "-", "10M"},    {"4", "-", "15M"},  {"5", "-", "20M"},
    {"7", "-", "-"},    {"-", "-", "-"},      {"", "-", "-"},     {"x", "-", "-"},
};

TEST(FieldConversion, NamesBandwidths)
{
    for (const auto &row : width_rows) {
        EXPECT_EQ(rb_bandwidth(row.field).view(), row.blocks) << row.field;
        EXPECT_EQ(bw_index(row.field).view(), row.index) << row.field;
    }
}

} // namespace quectel_signal_test
