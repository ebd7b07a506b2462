#include "drivers/fibocom.h"

#include <string>

#include <gtest/gtest.h>

#include "at/reply.h"

namespace fibocom_test {

std::string compact(json_object *value)
{
    return json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN);
}

std::string cells_of(std::string_view cells, std::string_view strength)
{
    const Json array{json_object_new_array()};
    add_fibocom_cells(cells, parse_csq_index(strength), array.get());
    return compact(array.get());
}

struct FieldRow {
    const char *what;
    std::string_view text;
    int index;
    const char *expected; ///< null: there is none
};
// clang-format off
const FieldRow field_rows[] = {
    {"the first",                            "1,4,460\r\n",  0, "1"},
    {"one in the middle",                    "1,4,460\r\n",  1, "4"},
    {"the last before a carriage return",    "1,4,460\r\n",  2, "460"},
    {"the last at the end of the text",      "1,4,460",      2, "460"},
    {"an empty one",                         "1,,460\r\n",   1, nullptr},
    {"an empty one at the start",            ",4\r\n",       0, nullptr},
    {"an empty last one before a return",    "1,4,\r\n",     2, nullptr},
    {"an empty last one at the end",         "1,4,",         2, nullptr},
    {"one behind the last",                  "1,4,460\r\n",  3, nullptr},
    {"commas count over line ends",          "1\r\n2,3\r\n", 1, "3"},
    {"a line feed is part of a field",       "1\n2,3",       0, "1\n2"},
    {"blanks stay",                          "1, 4 ,5",      1, " 4 "},
    {"quotes stay",                          "\"a\",\"b\"",  1, "\"b\""},
    {"a long one is cut at 15 characters",   "0,1234567890123456789,2", 1, "123456789012345"},
    {"no text",                              "",             0, nullptr},
};

struct RegistrationRow {
    const char *what;
    std::string_view reply;
    bool expected;
};
const RegistrationRow registration_rows[] = {
    {"home network",        "\r\n+CREG: 0,1\r\n\r\nOK\r\n", true},
    {"with its echo",       "AT+CREG?\r\r\n+CREG: 0,1\r\n\r\nOK\r\n", true},
    {"with the cell",       "\r\n+CREG: 2,1,\"247E\",\"5423D8D\",7\r\n\r\nOK\r\n", true},
    {"CR CR LF",            "\r\r\n+CREG: 0,1\r\r\n\r\r\nOK\r\r\n", true},
    {"roaming",             "\r\n+CREG: 0,5\r\n\r\nOK\r\n", false},
    {"searching",           "\r\n+CREG: 0,2\r\n\r\nOK\r\n", false},
    {"denied",              "\r\n+CREG: 0,3\r\n\r\nOK\r\n", false},
    {"not registered",      "\r\n+CREG: 0,0\r\n\r\nOK\r\n", false},
    {"home, SMS only",      "\r\n+CREG: 0,6\r\n\r\nOK\r\n", false},
    {"two digits",          "\r\n+CREG: 0,11\r\n\r\nOK\r\n", false},
    {"URC with the cell in front", "\r\n+CREG: 5,\"247E\",\"5423D8D\"\r\n\r\n+CREG: 2,1\r\n\r\nOK\r\n", false},
    {"field missing",       "\r\n+CREG: 0\r\n\r\nOK\r\n", false},
    {"shorter than a label", "\r\nOK\r\n", false},
    {"nothing",             "", false},
};

struct SignalRow {
    const char *what;
    const char *cesq;
    const char *csq;
    const char *expected;
    int level;
};
const SignalRow signal_rows[] = {
    {"LTE", "\r\n+CESQ: 99,99,255,255,20,54\r\n\r\nOK\r\n", "\r\n+CSQ: 25,99\r\n\r\nOK\r\n",
     R"({"rxlev":"99","ber":"99","rscp":"255","ecno":"255","rsrq":"20","rsrp":"54","rssi":"-63"})", 3},
    {"LTE, with its echo", "AT+CESQ\r\r\n+CESQ: 99,99,255,255,28,80\r\n\r\nOK\r\n", "AT+CSQ?\r\r\n+CSQ: 20,99\r\n\r\nOK\r\n",
     R"({"rxlev":"99","ber":"99","rscp":"255","ecno":"255","rsrq":"28","rsrp":"80","rssi":"-73"})", 4},
    {"WCDMA: what is not known has index 255 and grades best", "\r\n+CESQ: 99,99,40,33,255,255\r\n\r\nOK\r\n", "\r\n+CSQ: 12,99\r\n\r\nOK\r\n",
     R"({"rxlev":"99","ber":"99","rscp":"40","ecno":"33","rsrq":"255","rsrp":"255","rssi":"-89"})", 3},
    {"GSM", "\r\n+CESQ: 30,0,255,255,255,255\r\n\r\nOK\r\n", "\r\n+CSQ: 99,99\r\n\r\nOK\r\n",
     R"({"rxlev":"30","ber":"0","rscp":"255","ecno":"255","rsrq":"255","rsrp":"255","rssi":"85"})", 4},
    {"nine fields, CR CR LF", "\r\r\n+CESQ: 99,99,255,255,10,45,255,255,255\r\r\n\r\r\nOK\r\r\n", "\r\r\n+CSQ: 10,99\r\r\n\r\r\nOK\r\r\n",
     R"({"rxlev":"99","ber":"99","rscp":"255","ecno":"255","rsrq":"10","rsrp":"45","rssi":"-93"})", 2},
    {"the worst", "\r\n+CESQ: 99,99,255,255,9,44\r\n\r\nOK\r\n", "\r\n+CSQ: 9,99\r\n\r\nOK\r\n",
     R"({"rxlev":"99","ber":"99","rscp":"255","ecno":"255","rsrq":"9","rsrp":"44","rssi":"-95"})", 1},
    {"URC in front", "\r\n+CREG: 1\r\n\r\n+CESQ: 99,99,255,255,27,79\r\n\r\nOK\r\n", "\r\n+CMTI: \"SM\",3\r\n\r\n+CSQ: 19,99\r\n\r\nOK\r\n",
     R"({"rxlev":"99","ber":"99","rscp":"255","ecno":"255","rsrq":"27","rsrp":"79","rssi":"-75"})", 3},
    {"empty fields", "\r\n+CESQ: ,99,,255,,60\r\n\r\nOK\r\n", "\r\n+CSQ: ,99\r\n\r\nOK\r\n",
     R"({"ber":"99","ecno":"255","rsrp":"60","rssi":""})", 1},
    {"an empty last field", "\r\n+CESQ: 99,99,255,255,19,\r\n\r\nOK\r\n", "\r\n+CSQ: 31\r\n\r\nOK\r\n",
     R"({"rxlev":"99","ber":"99","rscp":"255","ecno":"255","rsrq":"19","rssi":"-51"})", 2},
    {"fields missing", "\r\n+CESQ: 99,99\r\n\r\nOK\r\n", "\r\n+CSQ: 14\r\n\r\nOK\r\n",
     R"({"rxlev":"99","ber":"99","rssi":"-85"})", 1},
    {"an empty CSQ field", "", "\r\n+CSQ: \r\n\r\nOK\r\n", R"({"rssi":""})", 1},
    {"no label", "\r\nOK\r\n", "\r\nOK\r\n", R"({"rssi":""})", 1},
    {"no reply", "", "", R"({"rssi":""})", 1},
    {"no number", "\r\n+CESQ: a,b,c,d,e,f\r\n\r\nOK\r\n", "\r\n+CSQ: x,y\r\n\r\nOK\r\n",
     R"({"rxlev":"a","ber":"b","rscp":"c","ecno":"d","rsrq":"e","rsrp":"f","rssi":"-113"})", 1},
    {"a number beyond 32 bits", "", "\r\n+CSQ: 99999999999999,99\r\n\r\nOK\r\n", R"({"rssi":"4294967181"})", 2},
};

constexpr char serving_43[] =
    "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,4,460,01,4F50,52BF337,672,1E4,103,100,44,63,63,24\r\n"
    "LTE neighbor cell:\r\n\r\nOK\r\n";
constexpr char serving_43_fields[] =
    R"("IsServiceCell":"1","rat":"4","mcc":"460","mnc":"01","tac":"4F50","cellid":"52BF337","earfcn":"672",)"
    R"("physicalcellId":"1E4","band":"3","bandwidth":"100","rssnr_value":"44","rxlev":"63","rsrp":"63","rsrq":"24")";

struct CellsRow {
    const char *what;
    std::string_view cells;
    std::string_view strength;
    std::string expected;
};
const CellsRow cells_rows[] = {
    {"a serving cell alone", serving_43, "", std::string("[{") + serving_43_fields + "}]"},
    {"with its strength", serving_43, "\r\n+CSQ: 25,99\r\n\r\nOK\r\n", std::string("[{") + serving_43_fields + R"(,"rssi":"-63"}])"},
    {"with an empty strength", serving_43, "\r\n+CSQ: ,99\r\n\r\nOK\r\n", std::string("[{") + serving_43_fields + "}]"},
    {"echo and URC", "AT+GTCCINFO?\r\r\n+CREG: 1\r\n\r\n+GTCCINFO: \r\nLTE service cell:\r\n1,4,460,00,247E,5423D8D,9826,43,40,5,28,58,58,23\r\n\r\nOK\r\n", "",
     R"([{"IsServiceCell":"1","rat":"4","mcc":"460","mnc":"00","tac":"247E","cellid":"5423D8D","earfcn":"9826","physicalcellId":"43","band":"40","bandwidth":"5","rssnr_value":"28","rxlev":"58","rsrp":"58","rsrq":"23"}])"},
    {"CR CR LF", "\r\r\n+GTCCINFO:\r\r\nLTE service cell:\r\r\n1,4,460,11,4580,8048A97,994,129,105,50,-4,45,45,10\r\r\n\r\r\nOK\r\r\n", "",
     R"([{"IsServiceCell":"1","rat":"4","mcc":"460","mnc":"11","tac":"4580","cellid":"8048A97","earfcn":"994","physicalcellId":"129","band":"5","bandwidth":"50","rssnr_value":"-4","rxlev":"45","rsrp":"45","rsrq":"10"}])"},
    {"fields missing and empty", "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,4,,,FFFF,\r\n\r\nOK\r\n", "", R"([{"IsServiceCell":"1","rat":"4","tac":"FFFF"}])"},
    {"a serving label without a line", "\r\n+GTCCINFO:\r\nLTE service cell:\r\n\r\nOK\r\n", "\r\n+CSQ: 7,99\r\n\r\nOK\r\n", R"([{"rssi":"-99"}])"},
    {"neighbours without the label are no cells", "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,4,460,11\r\nLTE neighbor cell:\r\n2,4,,,,,994,F4,,38,38,0\r\n2,4,,,,,73A,BB,,25,25,8\r\n\r\nOK\r\n", "",
     R"([{"IsServiceCell":"1","rat":"4","mcc":"460","mnc":"11"}])"},
    {"neighbours with the label", "\r\n+GTCCINFO:\r\nLTE neighbor cell:\r\nLTE neighbor cell:2,4,262,1,05D5,0019BF802,1300,359,100,50,52,18\r\nLTE neighbor cell:2,4,,,,,994,F4,,38,38,0\r\n\r\nOK\r\n", "",
     R"([{"IsServiceCell":"2","rat":"4","mcc":"262","mnc":"1","tac":"05D5","cellid":"0019BF802","earfcn":"1300","physicalcellId":"359","bandwidth":"100","rxlev":"50","rsrp":"52","rsrq":"18"},)"
     R"({"IsServiceCell":"2","rat":"4","earfcn":"994","physicalcellId":"F4","rxlev":"38","rsrp":"38","rsrq":"0"}])"},
    {"serving cell before neighbours", "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,4\r\nLTE neighbor cell:\r\nLTE neighbor cell:2,4\r\n\r\nOK\r\n", "\r\n+CSQ: 31,99\r\n\r\nOK\r\n",
     R"([{"IsServiceCell":"1","rat":"4","rssi":"-51"},{"IsServiceCell":"2","rat":"4"}])"},
    {"the line of the first label is the list's head", "\r\n+GTCCINFO:\r\nLTE neighbor cell:2,4,262\r\nLTE neighbor cell:2,4,263\r\n\r\nOK\r\n", "",
     R"([{"IsServiceCell":"2","rat":"4","mcc":"263"}])"},
    {"nothing behind the final line", "\r\nLTE neighbor cell:\r\nOK\r\nLTE neighbor cell:2,4\r\n", "", "[]"},
    {"a line that begins with OK ends the list", "\r\nLTE neighbor cell:\r\n\r\nOKAY\r\nLTE neighbor cell:2,4\r\n", "", "[]"},
    {"a label at the end", "\r\nLTE neighbor cell:\r\nLTE neighbor cell:", "", "[{}]"},
    {"long fields are cut at 15 characters", "\r\nLTE service cell:\r\n1234567890123456,4\r\nOK\r\n", "", R"([{"IsServiceCell":"123456789012345","rat":"4"}])"},
    {"no cell", "\r\n+GTCCINFO:\r\n\r\nOK\r\n", "\r\n+CSQ: 25,99\r\n\r\nOK\r\n", "[]"},
    {"nothing", "", "", "[]"},
};
// clang-format on

TEST(FibocomField, EndsAtACommaACarriageReturnOrTheEndAndIsNeverEmpty)
{
    for (const FieldRow &row : field_rows) {
        Text<16> field = "before";
        const int result = fibocom_field(row.text, row.index, field);
        EXPECT_EQ(result, row.expected == nullptr ? -1 : 0) << row.what;
        EXPECT_EQ(field.view(), row.expected == nullptr ? "before" : row.expected) << row.what;
    }
}

TEST(FibocomRegistration, IsGoodInTheHomeNetworkOnly)
{
    for (const RegistrationRow &row : registration_rows)
        EXPECT_EQ(is_registered_at_home(row.reply), row.expected) << row.what;
}

TEST(FibocomSignal, IsTheMeanOfThreeGradesOfIndexNumbers)
{
    for (const SignalRow &row : signal_rows) {
        const Signal quality = parse_cesq(row.cesq);
        const auto csq_index = parse_csq_index(row.csq);
        const Json object{json_object_new_object()};
        add_fibocom_signal(object.get(), quality, csq_index);
        EXPECT_EQ(compact(object.get()), row.expected) << row.what;
        EXPECT_EQ(fibocom_level(quality, csq_index), row.level) << row.what;
    }
}

TEST(FibocomSignal, GradesEachIndexByItsOwnSteps)
{
    const struct {
        const char *cesq;
        const char *csq;
        int level;
    } rows[] = {
        // sums 3 to 12: one grade moves at a time
        {"+CESQ: 0,0,0,0,9,44\r\n", "+CSQ: 9\r\n", 1},   // 1 + 1 + 1
        {"+CESQ: 0,0,0,0,10,45\r\n", "+CSQ: 10\r\n", 2}, // 2 + 2 + 2
        {"+CESQ: 0,0,0,0,19,59\r\n", "+CSQ: 14\r\n", 2}, // 2 + 2 + 2
        {"+CESQ: 0,0,0,0,20,60\r\n", "+CSQ: 15\r\n", 3}, // 3 + 3 + 3
        {"+CESQ: 0,0,0,0,27,79\r\n", "+CSQ: 19\r\n", 3}, // 3 + 3 + 3
        {"+CESQ: 0,0,0,0,27,80\r\n", "+CSQ: 20\r\n", 3}, // 4 + 3 + 4
        {"+CESQ: 0,0,0,0,28,80\r\n", "+CSQ: 19\r\n", 3}, // 4 + 4 + 3
        {"+CESQ: 0,0,0,0,28,79\r\n", "+CSQ: 20\r\n", 3}, // 3 + 4 + 4
        {"+CESQ: 0,0,0,0,28,80\r\n", "+CSQ: 20\r\n", 4}, // 4 + 4 + 4
        {"+CESQ: 0,0,0,0,10,44\r\n", "+CSQ: 10\r\n", 1}, // 1 + 2 + 2
    };
    for (const auto &row : rows)
        EXPECT_EQ(fibocom_level(parse_cesq(row.cesq), parse_csq_index(row.csq)), row.level) << row.cesq << row.csq;
}

TEST(FibocomCells, AreTheServingCellAndTheLabelledNeighbours)
{
    for (const CellsRow &row : cells_rows)
        EXPECT_EQ(cells_of(row.cells, row.strength), row.expected) << row.what;
}

TEST(FibocomCells, NameTheBandOfACode)
{
    const struct {
        const char *code;
        const char *band;
    } rows[] = {{"101", "1"},   {"103", "3"},  {"105", "5"},     {"107", "7"},    {"108", "8"},
                {"120", "20"},  {"128", "28"}, {"132", "32"},    {"140", "40"},   {"141", "41"},
                {"138", "138"}, {"40", "40"},  {"1030", "1030"}, {" 103", " 103"}};
    for (const auto &row : rows)
        EXPECT_EQ(cells_of(std::string("LTE service cell:\r\n,,,,,,,,") + row.code + "\r\n", ""),
                  std::string(R"([{"band":")") + row.band + R"("}])");
}

TEST(Fibocom, TakesAModemThatCannotBeAskedAsDocumented)
{
    ModemDriver rec{};
    rec.bus = "9-9.9";
    rec.control_port = 2;
    EXPECT_EQ(fibocom_check_register(rec), -1);
    EXPECT_EQ(fibocom_set_apn(rec, "internet"), 0);
    EXPECT_EQ(fibocom_set_apn(rec, nullptr), 0);
    const Json array{json_object_new_array()};
    EXPECT_EQ(fibocom_get_cells(rec, array.get()), -1);
    EXPECT_EQ(compact(array.get()), "[]");
    int32_t level = 0;
    EXPECT_EQ(fibocom_get_signal(rec, array.get(), level), 0);
    EXPECT_EQ(compact(array.get()), R"([{"rssi":""}])");
    EXPECT_EQ(level, 1);
}

TEST(Fibocom, SendsNoApnThatWouldEndItsQuotesOrTheLineOrIsTooLong)
{
    ModemDriver rec{};
    rec.bus = "9-9.9";
    EXPECT_EQ(fibocom_set_apn(rec, "a\"b"), -1);
    EXPECT_EQ(fibocom_set_apn(rec, "a\rAT+CFUN=0"), -1);
    EXPECT_EQ(fibocom_set_apn(rec, std::string(493, 'a').c_str()), -1);
    EXPECT_EQ(fibocom_set_apn(rec, std::string(492, 'a').c_str()), 0);
}

} // namespace fibocom_test
