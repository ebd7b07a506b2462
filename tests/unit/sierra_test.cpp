#include "drivers/sierra.h"
#include "drivers/sierra_report.h"

#include <string>

#include <gtest/gtest.h>

namespace sierra_test {

// The report as the modem prints it: two columns, with tabs between them and blanks behind some values.

constexpr char lte_report[] = "\r\n!GSTATUS: \r\n"
                              "Current Time:  356\t\tTemperature: 40\r\n"
                              "Reset Counter: 56\t\tMode:        ONLINE         \r\n"
                              "System mode:   LTE        \tPS state:    Attached     \r\n"
                              "LTE band:      B25    \t\tLTE bw:      15 MHz  \r\n"
                              "LTE Rx chan:   8615\t\tLTE Tx chan: 26615\r\n"
                              "LTE CA state:  NOT ASSIGNED\r\n"
                              "EMM state:     Registered     \tNormal Service \r\n"
                              "RRC state:     RRC Connected  \r\n"
                              "IMS reg state: No Srv  \t\t\r\n"
                              "\r\n"
                              "PCC RxM RSSI:  -48\t\tRSRP (dBm):  -78\r\n"
                              "PCC RxD RSSI:  -64\t\tRSRP (dBm):  -94\r\n"
                              "Tx Power:      0\t\tTAC:         D5AC (54700)\r\n"
                              "RSRQ (dB):     -8.4\t\tCell ID:     023E3E34 (37633588)\r\n"
                              "SINR (dB):     18.6\r\n"
                              "\r\n\r\nOK\r\n";

constexpr char lte_cell[] = R"json({"type":"PSS","state":"Attached","cellid":"023E3E34 (37633588)","band":"B25",)json"
                            R"json("bandwidth":"15 MHz","tx-chan":"26615","rx-chan":"8615","M-rssi":"-48",)json"
                            R"json("D-rssi":"-64","M-rsrp":"-78","D-rsrp":"-94","rsrq":"-8.4","sinr":"18.6",)json"
                            R"json("tac":"D5AC (54700)","rat":"LTE"})json";

constexpr char aggregated_report[] = "\r\n!GSTATUS: \r\n"
                                     "Current Time:  22016\t\tTemperature: 40\r\n"
                                     "Reset Counter: 1\t\tMode:        ONLINE         \r\n"
                                     "System mode:   LTE        \tPS state:    Attached     \r\n"
                                     "LTE band:      B2     \t\tLTE bw:      20 MHz  \r\n"
                                     "LTE Rx chan:   800\t\tLTE Tx chan: 18800\r\n"
                                     "LTE CA state:  ACTIVE      \t\tLTE Scell band:B12    \r\n"
                                     "LTE Scell bw:10 MHz  \t\tLTE Scell chan:5110\r\n"
                                     "EMM state:     Registered     \tNormal Service \r\n"
                                     "RRC state:     RRC Connected  \r\n"
                                     "IMS reg state: No Srv  \t\t\r\n"
                                     "\r\n"
                                     "PCC RxM RSSI:  -45\t\tRSRP (dBm):  -81\r\n"
                                     "PCC RxD RSSI:  -44\t\tRSRP (dBm):  -79\r\n"
                                     "SCC RxM RSSI:  -52\t\tRSRP (dBm):  -83\r\n"
                                     "SCC RxD RSSI:  -51\t\tRSRP (dBm):  -85\r\n"
                                     "Tx Power:      15\t\tTAC:         8C65 (35666)\r\n"
                                     "RSRQ (dB):     -14.0\t\tCell ID:     0A14666A (169106666)\r\n"
                                     "SINR (dB):     23.8\r\n"
                                     "\r\nOK\r\n";

constexpr char aggregated_cells[] =
    R"json([{"type":"PSS","state":"Attached","cellid":"0A14666A (169106666)","band":"B2",)json"
    R"json("bandwidth":"20 MHz","tx-chan":"18800","rx-chan":"800","M-rssi":"-45","D-rssi":"-44",)json"
    R"json("M-rsrp":"-81","D-rsrp":"-79","rsrq":"-14.0","sinr":"23.8","tac":"8C65 (35666)",)json"
    R"json("rat":"LTE"},)json"
    R"json({"type":"SSS","band":"B12","bandwidth":"10 MHz","chan":"5110","M-rssi":"-52",)json"
    R"json("D-rssi":"-51","M-rsrp":"-83","D-rsrp":"-85","rat":"LTE"}])json";

constexpr char wcdma_report[] = "\r\n!GSTATUS: \r\n"
                                "Current Time:  1201\t\tTemperature: 35\r\n"
                                "Reset Counter: 2\t\tMode:        ONLINE         \r\n"
                                "System mode:   WCDMA      \tPS state:    Attached     \r\n"
                                "WCDMA band:    WCDMA 2100 \r\n"
                                "WCDMA channel: 10737\r\n"
                                "GMM (PS) state:REGISTERED  \tNORMAL SERVICE \r\n"
                                "MM (CS) state: IDLE        \tNORMAL SERVICE \r\n"
                                "\r\n"
                                "WCDMA L1 state:L1M_PCH_SLEEP  \tLAC:         3AB2 (15026)\r\n"
                                "RRC state:     DISCONNECTED   \tUTRAN Cell ID:0B55EEFF (190181119)\r\n"
                                "RxM RSSI C0:   -71\t\tRxD RSSI C0: -80\r\n"
                                "RxM RSSI C1:   -106\t\tRxD RSSI C1: -106\r\n"
                                "\r\nOK\r\n";

constexpr char wcdma_cell[] = R"json({"type":"servingcell","state":"Attached","cellid":"0B55EEFF (190181119)",)json"
                              R"json("band":"WCDMA 2100","chan":"10737","M-rssi-c0":"-71","M-rssi-c1":"-106",)json"
                              R"json("D-rssi-c0":"-80","D-rssi-c1":"-106","lac":"3AB2 (15026)","rat":"WCDMA"})json";

constexpr char offline_report[] = "\r\n!GSTATUS: \r\nCurrent Time:  12\t\tTemperature: 30\r\n"
                                  "Reset Counter: 3\t\tMode:        LOW POWER MODE \r\n"
                                  "System mode:   No service \tPS state:    Not attached \r\n\r\nOK\r\n";

std::string cells_of(std::string_view report)
{
    const Json array{json_object_new_array()};
    EXPECT_EQ(add_gstatus_cells(report, array.get()), 0);
    return json_object_to_json_string_ext(array.get(), JSON_C_TO_STRING_PLAIN);
}

std::string without(std::string text, const std::string &part)
{
    return text.erase(text.find(part), part.size());
}

std::string with_cr_cr_lf(std::string_view text)
{
    std::string changed;
    for (const char character : text)
        changed += character == '\r' ? std::string("\r\r") : std::string(1, character);
    return changed;
}

// A report with the four values that are graded.
std::string graded(const std::string &rssi, const std::string &rsrp, const std::string &rsrq, const std::string &sinr)
{
    return "System mode:   LTE\r\nPCC RxM RSSI:  " + rssi + "\t\tRSRP (dBm):  " + rsrp + "\r\nRSRQ (dB):     " + rsrq +
           "\r\nSINR (dB):     " + sinr + "\r\nOK\r\n";
}

int level_of(std::string_view report)
{
    const auto signal = parse_gstatus_signal(report);
    return signal ? signal->level : -1;
}

// 0 when the report tells no signal.
int generation_of(std::string_view report)
{
    const auto signal = parse_gstatus_signal(report);
    return signal ? static_cast<int>(signal->generation) : 0;
}

TEST(SierraSignal, IsFourthGenerationWithTheMeanOfFourGrades)
{
    const std::string aggregated = std::string("AT!GSTATUS?\r") + aggregated_report;
    EXPECT_EQ(generation_of(lte_report), 4);
    EXPECT_EQ(level_of(lte_report), 4);
    EXPECT_EQ(generation_of(aggregated), 4);
    EXPECT_EQ(level_of(aggregated), 3) << "RSRQ -14 earns 1, the others 4";
    EXPECT_EQ(generation_of(with_cr_cr_lf(lte_report)), 4);
    EXPECT_EQ(level_of(with_cr_cr_lf(lte_report)), 4);
}

TEST(SierraSignal, GradesEachReadingByItsOwnSteps)
{
    const struct {
        const char *rssi, *rsrp, *rsrq, *sinr;
        int level;
    } rows[] = {
        {"-65", "-90", "-9", "13", 4},       // 4 4 4 4
        {"-66", "-91", "-10", "12", 3},      // 3 3 3 3
        {"-75", "-105", "-12", "10", 3},     // 3 3 3 3
        {"-76", "-106", "-13", "9", 2},      // 2 2 2 2
        {"-85", "-120", "-13", "7", 2},      // 2 2 2 2
        {"-86", "-121", "-14", "6", 1},      // 1 1 1 1
        {"-66", "-90", "-9", "13", 3},       // 3 4 4 4
        {"-65", "-91", "-9", "13", 3},       // 4 3 4 4
        {"-65", "-90", "-10", "13", 3},      // 4 4 3 4
        {"-65", "-90", "-9", "12", 3},       // 4 4 4 3
        {"-65", "-90", "-20", "13", 3},      // 4 4 1 4
        {"-86", "-121", "-14", "13", 1},     // 1 1 1 4
        {"-74", "-109", "-17.4", "-2.6", 1}, // 3 2 1 1
        {"-65", "-90", "-9.9", "12.9", 3},   // a fraction is left out: 4 4 4 3
    };
    for (const auto &row : rows)
        EXPECT_EQ(level_of(graded(row.rssi, row.rsrp, row.rsrq, row.sinr)), row.level)
            << row.rssi << " " << row.rsrp << " " << row.rsrq << " " << row.sinr;
}

TEST(SierraSignal, IsNoneWhenOneOfTheFourIsMissing)
{
    for (const char *line : {"SINR (dB):     18.6\r\n", "RSRQ (dB):     -8.4", "PCC RxM RSSI:  -48"}) {
        EXPECT_EQ(level_of(without(lte_report, line)), -1) << line;
    }
    EXPECT_EQ(level_of(without(without(lte_report, "RSRP (dBm):  -78"), "RSRP (dBm):  -94")), -1);
    EXPECT_EQ(level_of(graded("-65", "-90", "-9", "---")), -1);
}

TEST(SierraSignal, WantsTheBlanksBehindTheLabels)
{
    EXPECT_EQ(level_of("LTE\r\nPCC RxM RSSI: -65\r\nRSRP (dBm):  -90\r\nRSRQ (dB):     -9\r\nSINR (dB):     13\r\n"),
              -1);
    EXPECT_EQ(level_of("LTE\r\nPCC RxM RSSI:  -65\r\nRSRP (dBm):  -90\r\nRSRQ (dB):     -9\r\nSINR (dB):    13\r\n"),
              -1);
    EXPECT_EQ(
        level_of("LTE\r\nPCC RxM RSSI:     -65\r\nRSRP (dBm):   -90\r\nRSRQ (dB):      -9\r\nSINR (dB):       13\r\n"),
        4);
}

TEST(SierraSignal, IsThirdGenerationWithTheGradeOfTheFirstCarrier)
{
    EXPECT_EQ(generation_of(wcdma_report), 3);
    EXPECT_EQ(level_of(wcdma_report), 3);
    const struct {
        const char *rssi;
        int level;
    } rows[] = {{"-65", 4}, {"-66", 3}, {"-75", 3}, {"-76", 2}, {"-85", 2}, {"-86", 1}, {"x", -1}, {"", -1}};
    for (const auto &row : rows)
        EXPECT_EQ(level_of(std::string("System mode:   WCDMA\r\nRxM RSSI C0:") + row.rssi), row.level) << row.rssi;
}

TEST(SierraSignal, FailsWithoutATechnology)
{
    for (const char *report : {offline_report, "\r\nOK\r\n", "", "\x01\x80\xff"})
        EXPECT_EQ(level_of(report), -1) << report;
}

TEST(SierraCells, AreThePrimaryCellOfAnLteReport)
{
    EXPECT_EQ(cells_of(lte_report), std::string("[") + lte_cell + "]");
    EXPECT_EQ(cells_of(std::string("AT!GSTATUS?\r") + lte_report), std::string("[") + lte_cell + "]");
    EXPECT_EQ(cells_of(std::string("\r\n+CREG: 1\r\n") + lte_report), std::string("[") + lte_cell + "]");
    EXPECT_EQ(cells_of(with_cr_cr_lf(lte_report)), std::string("[") + lte_cell + "]");
}

TEST(SierraCells, AreTwoWhenCarriersAreAggregated)
{
    EXPECT_EQ(cells_of(aggregated_report), aggregated_cells);
}

TEST(SierraCells, AreTheWcdmaCellOfAWcdmaReport)
{
    EXPECT_EQ(cells_of(wcdma_report), std::string("[") + wcdma_cell + "]");
}

TEST(SierraCells, LeaveOutWhatTheReportDoesNotTell)
{
    EXPECT_EQ(cells_of("LTE"), R"([{"type":"PSS","rat":"LTE"}])");
    EXPECT_EQ(cells_of("SCC\r\nOK\r\n"), R"([{"type":"SSS","rat":"LTE"}])");
    EXPECT_EQ(cells_of("LTE band:\r\nTAC:\tx\r\nSINR (dB): 3\r\nOK\r\n"), R"([{"type":"PSS","sinr":"3","rat":"LTE"}])");
    EXPECT_EQ(cells_of("WCDMA\r\nLAC:"), R"([{"type":"servingcell","rat":"WCDMA"}])");
}

TEST(SierraCells, CutAValueAt100Characters)
{
    EXPECT_EQ(cells_of("LTE\r\nTAC:" + std::string(200, 'x') + "\r\n"),
              R"([{"type":"PSS","tac":")" + std::string(100, 'x') + R"(","rat":"LTE"}])");
}

TEST(SierraCells, TakeBothColumnsWhereNoTabStandsBetweenThem)
{
    EXPECT_EQ(cells_of("LTE band:      B3               LTE bw:      10 MHz\r\n"),
              R"([{"type":"PSS","band":"B3               LTE bw:      10 MHz","bandwidth":"10 MHz","rat":"LTE"}])");
}

TEST(SierraCells, AreNoneWithoutATechnology)
{
    for (const char *report : {offline_report, "\r\nOK\r\n", "", "\x01\x80\xff"})
        EXPECT_EQ(cells_of(report), "[]") << report;
}

TEST(SierraCarrierAggregation, IsOnInEveryStateButNotAssigned)
{
    EXPECT_TRUE(is_aggregated(aggregated_report));
    EXPECT_TRUE(is_aggregated("LTE CA state:  INACTIVE\r\n"));
    EXPECT_FALSE(is_aggregated(lte_report));
    EXPECT_FALSE(is_aggregated(wcdma_report));
    EXPECT_FALSE(is_aggregated("LTE CA state:\r\nOK\r\n"));
    EXPECT_FALSE(is_aggregated("LTE CA state:"));
    EXPECT_FALSE(is_aggregated(""));
}

TEST(Sierra, TakesAModemThatCannotBeAskedAsDocumented)
{
    ModemDriver rec{};
    rec.bus = "9-9.9";
    rec.iface = "no_such_iface";
    rec.control_port = 3;
    int32_t level = -7;
    EXPECT_EQ(sierra_get_signal(rec, level), 0);
    EXPECT_EQ(level, -7);
    const Json array{json_object_new_array()};
    EXPECT_EQ(sierra_get_cells(rec, array.get()), 0);
    EXPECT_EQ(json_object_array_length(array.get()), 0u);
    EXPECT_EQ(sierra_check_register(rec), 0);
    EXPECT_EQ(sierra_get_ca_info(rec), 0);
    Text<20> scratch = "before";
    EXPECT_EQ(sierra_get_sim_status(rec, scratch), 0);
    EXPECT_EQ(scratch.view(), "before");
}

} // namespace sierra_test
