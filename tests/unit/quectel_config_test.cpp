
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "at/at_command.h"
#include "drivers/common_replies.h"
#include "drivers/quectel_config.h"

namespace quectel_config_test {

constexpr char verizon[] = "verizon\n";
constexpr char no_type[] = "";

// The command as it would be sent, or why there is none.
std::string text_of(const std::optional<AtCommand> &command)
{
    return command ? std::string(command->view()) : "nothing";
}

std::string compact(const Json &object)
{
    return json_object_to_json_string_ext(object.get(), JSON_C_TO_STRING_PLAIN);
}

// A modem on a bus that no machine has.
ModemDriver unplugged()
{
    ModemDriver rec{};
    rec.bus = "9-9.9";
    rec.control_port = 2;
    return rec;
}

struct BandLockRow {
    const char *revision;
    const char *command;
};
// clang-format off
const BandLockRow band_lock_rows[] = {
    {"EC25AFFAR07A08M4G",   "AT+QCFG=\"band\",0,42000000000000381a,0"},
    {"EC25AFFDR07A08M4G",   nullptr},
    {"EC25AFXDGAR08A04M1G", "AT+QCFG=\"band\",0,42000000000000381a,0"},
    {"EC25AFAR05A06M4G",    "AT+QCFG=\"band\",0,80a,0"},
    {"EC20CEHDLGR06A02M1G", "AT+QCFG=\"band\",0,1e200000095,0"},
    {"EC25EUXGAR08A03M1G",  "AT+QCFG=\"band\",0,1a0080800c5,0"},
    {"EC25EFAR06A01M4G",    "AT+QCFG=\"band\",0,1a0000800d5,0"},
    {"EC25EUGAR06A05M4G",   "AT+QCFG=\"band\",0,1a0000800d5,0"},
    {"EP06ELAR03A08M4G",    "AT+QCFG=\"band\",0,7e00000000000000000000000000000000000000000000ff000001a0880800d5,0"},
    {"EP06ALAR02A06M4G",    "AT+QCFG=\"band\",0,2000000003300185a,0"},
    {"EC25AUGAR08A03M4G",   "AT+QCFG=\"band\",0,80080000df,0"},
    {"EG25GGBR07A08M2G",    "AT+QCFG=\"band\",0,1e00b0e18df,0"},
    {" EG25GGBR07A08M2G",   "AT+QCFG=\"band\",0,1e00b0e18df,0"},
    {"UC20GQCR03A16E1G",    nullptr},
    {"BG95M3LAR02A03",      nullptr},
    {"ec25efar06a01m4g",    nullptr},
    {"EC25",                nullptr},
    {"",                    nullptr},
};

struct TextRow {
    const char *what;
    std::string_view reply;
    const char *expected;
};

const TextRow revision_rows[] = {
    {"EC25",                 "\r\nQuectel\r\nEC25\r\nRevision: EC25EFAR06A03M4G\r\n\r\nOK\r\n", " EC25EFAR06A03M4G"},
    {"EC200T with its echo", "ATI\r\r\nQuectel\r\nEC200T\r\nRevision: EC200TCNHAR02A14M16\r\n\r\nOK\r\n", " EC200TCNHAR02A14M16"},
    {"BG95",                 "\r\nQuectel\r\nBG95-M3\r\nRevision: BG95M3LAR02A03\r\n\r\nOK\r\n", " BG95M3LAR02A03"},
    {"CR CR LF",             "ATI\r\r\nQuectel\r\r\nEP06\r\r\nRevision: EP06ELAR03A08M4G\r\r\n\r\r\nOK\r\r\n", " EP06ELAR03A08M4G"},
    {"URC in front",         "\r\n+QIND: PB DONE\r\n\r\nQuectel\r\nEC20F\r\nRevision: EC20CEHDLGR06A02M1G\r\n\r\nOK\r\n", " EC20CEHDLGR06A02M1G"},
    {"a line feed alone",    "Revision: EC25\nIMEI: 1\nOK\n", " EC25"},
    {"cut at 59 characters", "Revision:012345678901234567890123456789012345678901234567890123456789EC25E\r\nOK\r\n", "01234567890123456789012345678901234567890123456789012345678"},
    {"the end of the reply", "Revision:EC25", "EC25"},
    {"no revision",          "\r\nQuectel\r\nEC25\r\n\r\nOK\r\n", ""},
    {"nothing",              "", ""},
};

const TextRow iccid_rows[] = {
    {"20 digits",              "\r\n+QCCID: 89430300001234567890\r\n\r\nOK\r\n", "89430300001234567890"},
    {"with its echo",          "AT+QCCID\r\r\n+QCCID: 89860441190012345678\r\n\r\nOK\r\n", "89860441190012345678"},
    {"CR CR LF",               "\r\r\n+QCCID: 89630312345678901234\r\r\n\r\r\nOK\r\r\n", "89630312345678901234"},
    {"quoted",                 "\r\n+QCCID: \"89011703278520607527\"\r\n\r\nOK\r\n", "89011703278520607527"},
    {"no label",               "\r\n89910271001167472368\r\n\r\nOK\r\n", "89910271001167472368"},
    {"21 digits are cut",      "\r\n+QCCID: 894303000012345678901\r\n\r\nOK\r\n", "89430300001234567890"},
    {"19 digits",              "\r\n+QCCID: 8944501102178605547\r\n\r\nOK\r\n", "8944501102178605547"},
    {"a letter for a filler",  "\r\n+QCCID: 8939560000000123456F\r\n\r\nOK\r\n", "8939560000000123456"},
    {"URC in front",           "\r\n+CREG: 1\r\n\r\n+QCCID: 89430300001234567890\r\n\r\nOK\r\n", "1"},
    {"binary",                 "\x01\xff\x80" "8943\xfe" "0300", "8943"},
    {"no digits",              "\r\nOK\r\n", ""},
    {"nothing",                "", ""},
};

const TextRow mask_rows[] = {
    {"EC25",                   "\r\n+QCFG: \"band\",0x93,0x80800c5,0x0\r\n\r\nOK\r\n", "80800c5,"},
    {"EC25-AF",                "\r\n+QCFG: \"band\",0x10,0x40000015,0x0\r\n\r\nOK\r\n", "40000015,"},
    {"EG25-G with its echo",   "AT+QCFG=\"band\"\r\r\n+QCFG: \"band\",0xbff,0x1e00b0e18df,0x0\r\n\r\nOK\r\n", "1e00b0e18df,"},
    {"BG95-M3",                "\r\n+QCFG: \"band\",0xf,0x100002000000000f0e189f,0x10004200000000090e189f\r\n\r\nOK\r\n", "100002000000000f0e189f,"},
    {"four masks",             "\r\n+QCFG: \"band\",0xf,0x100002000000000f0e189f,0x10004200000000090e189f,0x7\r\n\r\nOK\r\n", "100002000000000f0e189f,"},
    {"BG77",                   "\r\n+QCFG: \"band\",0x0,0x80084,0x80084\r\n\r\nOK\r\n", "80084,"},
    {"CR CR LF",               "\r\r\n+QCFG: \"band\",0x93,0x1a0080800d5,0x0\r\r\n\r\r\nOK\r\r\n", "1a0080800d5,"},
    {"URC in front",           "\r\n+CREG: 1,\"2616\",\"1D6A50B\",7\r\n\r\n+QCFG: \"band\",0x93,0x7,0x0\r\n\r\nOK\r\n", "7,"},
    {"38 digits",              ",0x1,0x12345678901234567890123456789012345678,0x0 OK", "12345678901234567890123456789012345678,"},
    {"39 digits lose the comma", ",0x1,0x123456789012345678901234567890123456789,0x0 OK", "123456789012345678901234567890123456789"},
    {"64 digits",              "\r\n+QCFG: \"band\",0x90,0x7e00000000000000000000000000000000000000000000ff000001a0880800d5,0x0\r\n\r\nOK\r\n", "7e0000000000000000000000000000000000000"},
    {"no digits",              ",0x1,0x,0x0 OK", ","},
    {"two masks (EC20)",       "\r\n+QCFG: \"band\",0xd0,0x1e200000095\r\n\r\nOK\r\n", ""},
    {"one mask (UC20)",        "\r\n+QCFG: \"band\",0x93\r\n\r\nOK\r\n", ""},
    {"no OK after the third",  "OK ,0x93,0x7,0x0\r\n", ""},
    {"refused",                "\r\n+CME ERROR: 3\r\n", ""},
    {"nothing",                "", ""},
};

const TextRow band_rows[] = {
    {"bands 3 and 4 of the comma, then the mask, four higher", "1,", "B3 B4 B5 "},
    {"odd length",             "80,", "B3 B4 B12 "},
    {"EC25",                   "80800c5,", "B3 B4 B5 B7 B11 B12 B24 B32 "},
    {"capital digits",         "C5,", "B3 B4 B5 B7 B11 B12 "},
    {"no digits",              ",", "B3 B4 "},
    {"no comma",               "80", "B8 "},
    {"nothing",                "", ""},
    {"no band",                "00", ""},
    {"cut at whole entries",   "ffffffffffffffffffff", "B1 B2 B3 B4 B5 B6 B7 B8 B9 B10 B11 B12 B13 B14 B15 B16 B17 B18 B19 B20 B21 B22 B23 B24 B25 B26 B27 "},
    {"39 characters",          "800000000000000000000000000000000000000", "B156 "},
};

const TextRow scan_mode_rows[] = {
    {"automatic",              "\r\n+QCFG: \"nwscanmode\",0\r\n\r\nOK\r\n", "AUTO"},
    {"GSM",                    "\r\n+QCFG: \"nwscanmode\",1\r\n\r\nOK\r\n", "GSM only"},
    {"WCDMA, with its echo",   "AT+QCFG=\"nwscanmode\"\r\r\n+QCFG: \"nwscanmode\",2\r\n\r\nOK\r\n", "WCDMA only"},
    {"LTE, CR CR LF",          "\r\r\n+QCFG: \"nwscanmode\",3\r\r\n\r\r\nOK\r\r\n", "LTE only"},
    {"mode and time of effect", "\r\n+QCFG: \"nwscanmode\",3,1\r\n\r\nOK\r\n", "GSM only"},
    {"URC in front",           "\r\n+CREG: 2\r\n\r\n+QCFG: \"nwscanmode\",3\r\n\r\nOK\r\n", "WCDMA only"},
    {"TD-SCDMA",               "\r\n+QCFG: \"nwscanmode\",4\r\n\r\nOK\r\n", nullptr},
    {"no mode",                "\r\nOK\r\n", nullptr},
    {"nothing",                "", nullptr},
};

struct LteBandRow {
    const char *what;
    std::string_view reply;
    int band;
};
const LteBandRow lte_band_rows[] = {
    {"LTE",                   "\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",232,03,1D6A50B,188,1300,3,5,5,2616,-86,-11,-51,12,40\r\n\r\nOK\r\n", 3},
    {"TDD, with its echo",    "AT+QENG=\"servingcell\"\r\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"TDD\",460,00,C412C83,401,38950,40,5,5,247C,-90,-7,-62,24,37\r\n\r\nOK\r\n", 40},
    {"CR CR LF",              "\r\r\n+QENG: \"servingcell\",\"CONNECT\",\"LTE\",\"FDD\",222,88,4CAA71F,28,1500,3,3,3,77B8,-84,-9,-56,21,35\r\r\n\r\r\nOK\r\r\n", 3},
    {"URC in front",          "\r\n+QIND: \"csq\",20,99\r\n\r\n+QENG: \"servingcell\",\"LIMSRV\",\"LTE\",\"FDD\",222,88,243800E,20,3350,7,5,5,3AC9,-86,-13,-52,15,-\r\n\r\nOK\r\n", 7},
    {"WCDMA",                 "\r\n+QENG: \"servingcell\",\"NOCONN\",\"WCDMA\",515,03,3AB2,B55EEFF,3037,352,1,-94,-15,-,-,-,-,-\r\n\r\nOK\r\n", 0},
    {"GSM",                   "\r\n+QENG: \"servingcell\",\"NOCONN\",\"GSM\",515,03,2BC6,162C,58,40,-,-81,255,255,0,22,-28,1,-,-,-,-,-,-,-,-,-,\"-\"\r\n\r\nOK\r\n", 0},
    {"a WCDMA cell before an LTE one", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"WCDMA\",515,03,3AB2,B55EEFF,3037,352,1,-94,-15,-,-,-,-,-\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",515,03,3359966,1,150,28,5,5,4AA3,-89,-13,-58,16,15\r\n\r\nOK\r\n", 28},
    {"two LTE cells",         "\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",515,03,1,1,150,1,5,5,4AA3\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",515,03,1,1,150,3,5,5,4AA3\r\n\r\nOK\r\n", 1},
    {"the first has no band", "\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",515,03,1,1,150,-,5,5,4AA3\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",515,03,1,1,150,3,5,5,4AA3\r\n\r\nOK\r\n", 0},
    {"band missing",          "\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",515,03\r\n\r\nOK\r\n", 0},
    {"no band yet",           "\r\n+QENG: \"servingcell\",\"NOCONN\",\"LTE\",\"FDD\",-,-,-,-,-,-,-,-,-,-,-,-,-,-\r\n\r\nOK\r\n", 0},
    {"searching",             "\r\n+QENG: \"servingcell\",\"SEARCH\"\r\n\r\nOK\r\n", 0},
    {"nothing",               "", 0},
};
// clang-format on

TEST(BandLock, IsTheFirstRowThatTheRevisionContains)
{
    for (const BandLockRow &row : band_lock_rows)
        EXPECT_STREQ(pick_band_lock(row.revision), row.command) << row.revision;
}

TEST(ParseRevision, IsTheRestOfItsLine)
{
    for (const TextRow &row : revision_rows)
        EXPECT_EQ(parse_revision(row.reply).value_or(""), row.expected) << row.what;
}

TEST(ThermalCommands, CarryTheSettings)
{
    EXPECT_EQ(text_of(compose_thermal_limit("0")), "AT+QCFG=\"thermal/limit_rates\",0");
    EXPECT_EQ(text_of(compose_thermal_limit("1")), "AT+QCFG=\"thermal/limit_rates\",1");
    EXPECT_EQ(text_of(compose_thermal_range("95", "90")), "AT+QCFG=\"thermal/modem\",1,95,90");
    EXPECT_EQ(text_of(compose_thermal_range("100", "85")), "AT+QCFG=\"thermal/modem\",1,100,85");
}

TEST(ThermalCommands, AreNotMadeOfWhatEndsACommandOrIsTooLong)
{
    EXPECT_EQ(text_of(compose_thermal_limit("0\rAT+CFUN=0")), "nothing");
    EXPECT_EQ(text_of(compose_thermal_range("95", "90\n")), "nothing");
    EXPECT_EQ(text_of(compose_thermal_range("\"", "90")), "nothing");
    EXPECT_EQ(text_of(compose_thermal_limit(std::string(512, '1').c_str())), "nothing");
}

TEST(SimStatus, IsReadyByTheCapturedTextLessItsLastCharacter)
{
    EXPECT_TRUE(is_sim_ready("ready\n"));
    EXPECT_TRUE(is_sim_ready("ready2"));
    EXPECT_TRUE(is_sim_ready("ready and waiting.."));
    EXPECT_FALSE(is_sim_ready("ready"));
    EXPECT_FALSE(is_sim_ready(" ready\n"));
    EXPECT_FALSE(is_sim_ready("Ready\n"));
    EXPECT_FALSE(is_sim_ready("not ready\n"));
    EXPECT_FALSE(is_sim_ready("\n"));
    EXPECT_FALSE(is_sim_ready(""));
}

TEST(PdpContext, IsTheThirdForVerizonAndTheFirstElse)
{
    EXPECT_EQ(pick_pdp_context("verizon\n").cid, 3);
    EXPECT_STREQ(pick_pdp_context("verizon\n").type, "IPV4V6");
    EXPECT_EQ(pick_pdp_context("verizon\n").type_number, 3);
    EXPECT_EQ(pick_pdp_context("verizon-lte\n").cid, 3);
    EXPECT_EQ(pick_pdp_context("").cid, 1);
    EXPECT_STREQ(pick_pdp_context("").type, "IP");
    EXPECT_EQ(pick_pdp_context("").type_number, 1);
    EXPECT_EQ(pick_pdp_context("at&t\n").cid, 1);
    EXPECT_EQ(pick_pdp_context("Verizon\n").cid, 1);
    EXPECT_EQ(pick_pdp_context("verizon").cid, 1) << "the last character goes whatever it is";
}

TEST(ApnCommand, WritesTheContextOfTheSim)
{
    EXPECT_EQ(text_of(compose_apn(pick_pdp_context(no_type), "internet")), "AT+CGDCONT=1,\"IP\",\"internet\"");
    EXPECT_EQ(text_of(compose_apn(pick_pdp_context(verizon), "vzwinternet")),
              "AT+CGDCONT=3,\"IPV4V6\",\"vzwinternet\"");
    EXPECT_EQ(text_of(compose_apn(pick_pdp_context(no_type), "")), "AT+CGDCONT=1,\"IP\",\"\"");
    EXPECT_EQ(text_of(compose_apn(pick_pdp_context(no_type), nullptr)), "AT+CGDCONT=1,\"IP\",\"\"");
    EXPECT_EQ(text_of(compose_apn(pick_pdp_context(no_type), "a b;c,d%s\xc3\xa9")),
              "AT+CGDCONT=1,\"IP\",\"a b;c,d%s\xc3\xa9\"");
}

TEST(ApnCommand, IsNotMadeOfATextThatWouldEndItsQuotesOrTheLine)
{
    for (const char *apn : {"a\"b", "\"", "a\rAT+CFUN=0", "a\n", "a\x1a", "\x01", "a\x7f"})
        EXPECT_EQ(text_of(compose_apn(pick_pdp_context(no_type), apn)), "nothing") << apn;
}

TEST(ApnCommand, IsWholeUpTo512Characters)
{
    const std::string longest(512 - std::string("AT+CGDCONT=1,\"IP\",\"\"").size(), 'a');
    EXPECT_EQ(text_of(compose_apn(pick_pdp_context(no_type), longest.c_str())),
              "AT+CGDCONT=1,\"IP\",\"" + longest + "\"");
    EXPECT_EQ(text_of(compose_apn(pick_pdp_context(no_type), (longest + "a").c_str())), "nothing");
    EXPECT_EQ(text_of(compose_apn(pick_pdp_context(no_type), std::string(100'000, 'a').c_str())), "nothing");
}

TEST(AuthCommand, WritesTheContextOfTheSim)
{
    EXPECT_EQ(text_of(compose_auth(pick_pdp_context(no_type), "web", "me", "secret", "PAP")),
              "AT+QICSGP=1,1,\"web\",\"me\",\"secret\",1");
    EXPECT_EQ(text_of(compose_auth(pick_pdp_context(verizon), "web", "me", "secret", "CHAP")),
              "AT+QICSGP=3,3,\"web\",\"me\",\"secret\",2");
    EXPECT_EQ(text_of(compose_auth(pick_pdp_context(no_type), nullptr, nullptr, nullptr, nullptr)),
              "AT+QICSGP=1,1,\"\",\"\",\"\",0");
}

TEST(AuthCommand, NumbersTheMethod)
{
    const struct {
        const char *method;
        const char *end;
    } rows[] = {{"NONE", ",0"}, {"PAP", ",1"}, {"CHAP", ",2"}, {"PAP or CHAP", ",3"},
                {"", ",0"},     {"pap", ",0"}, {"PAP ", ",0"}, {"MSCHAPV2", ",0"}};
    for (const auto &row : rows)
        EXPECT_EQ(text_of(compose_auth(pick_pdp_context(no_type), "a", "b", "c", row.method)),
                  std::string("AT+QICSGP=1,1,\"a\",\"b\",\"c\"") + row.end)
            << row.method;
}

TEST(AuthCommand, IsNotMadeOfATextThatWouldEndItsQuotesOrTheLineOrIsTooLong)
{
    const PdpContext &context = pick_pdp_context(no_type);
    EXPECT_EQ(text_of(compose_auth(context, "a\"", "b", "c", "PAP")), "nothing");
    EXPECT_EQ(text_of(compose_auth(context, "a", "b\r", "c", "PAP")), "nothing");
    EXPECT_EQ(text_of(compose_auth(context, "a", "b", "pass\"word", "PAP")), "nothing");
    const std::string half(256, 'x');
    EXPECT_EQ(text_of(compose_auth(context, half.c_str(), "", half.c_str(), "PAP")), "nothing");
}

TEST(Iccid, IsTheFirstRunOfDigitsUpToTwenty)
{
    for (const TextRow &row : iccid_rows) {
        Text<21> iccid;
        const int expected_result = std::string_view(row.expected).size() == 20 ? 0 : -1;
        EXPECT_EQ(copy_digits(row.reply, 20, iccid), expected_result) << row.what;
        EXPECT_EQ(iccid.view(), row.expected) << row.what;
    }
}

TEST(ParseLteMask, IsTheSecondOfThreeMasksWithTheCommaBehindIt)
{
    for (const TextRow &row : mask_rows)
        EXPECT_EQ(parse_lte_mask(row.reply).value_or(""), row.expected) << row.what;
}

TEST(HexToBytes, TakesTwoCharactersForAByte)
{
    const struct {
        std::string_view text;
        std::vector<uint8_t> bytes;
    } rows[] = {
        {"1,", {0x1c}},
        {"80,", {0x08, 0x0c}},
        {"80800c5,", {0x80, 0x80, 0x0c, 0x5c}},
        {"aF", {0xaf}},
        {"09", {0x09}},
        {"f", {0x0f}},
        {":g", {0x37}},
        {"A@", {0xa9}},
        {"/ ", {0xf0}},
        {"\xff\x80", {0xf0}},
        {"", {}},
    };
    for (const auto &row : rows) {
        uint8_t bytes[20];
        const size_t count = hex_to_bytes(row.text, bytes);
        EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + count), row.bytes) << row.text;
    }
}

TEST(HexToBytes, StopsWhereThereIsNoRoom)
{
    uint8_t bytes[3] = {0, 0, 0xee};
    EXPECT_EQ(hex_to_bytes("123456", std::span(bytes, 2)), 2u);
    EXPECT_EQ(bytes[1], 0x34);
    EXPECT_EQ(bytes[2], 0xee);
}

TEST(ListBands, NamesABandForEachBitFromTheLastByteOn)
{
    for (const TextRow &row : band_rows)
        EXPECT_EQ(list_bands(row.reply).view(), row.expected) << row.what;
}

TEST(ParseScanMode, IsTheFirstOfTheDigitsZeroToThreeThatStandsAnywhere)
{
    for (const TextRow &row : scan_mode_rows)
        EXPECT_EQ(parse_scan_mode(row.reply),
                  row.expected == nullptr ? std::nullopt : std::optional<std::string_view>{row.expected})
            << row.what;
}

TEST(ParseLteBand, IsThatOfTheFirstLteServingCell)
{
    for (const LteBandRow &row : lte_band_rows)
        EXPECT_EQ(parse_lte_band(row.reply).value_or(0), row.band) << row.what;
}

TEST(QuectelConfiguration, TakesAModemThatCannotBeAskedAsDocumented)
{
    const ModemDriver rec = unplugged();
    Text<32> out = "before";
    EXPECT_EQ(quectel_set_thermal(rec), 0);
    EXPECT_EQ(quectel_get_iccid(rec, out), -1);
    EXPECT_EQ(quectel_get_scan_mode(rec, out), 0);
    EXPECT_EQ(set_band_by_revision("/dev/ttyUSB-none", out), -2);
    EXPECT_EQ(out.view(), "before");
    const Json object{json_object_new_object()};
    EXPECT_EQ(quectel_get_bands(rec, object.get()), 0);
    EXPECT_EQ(compact(object), "{}");
    EXPECT_EQ(get_lte_band("9-9.9", 2, "no_such_package.wifi.band"), 0);
}

} // namespace quectel_config_test
