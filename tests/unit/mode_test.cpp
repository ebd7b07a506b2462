#include "drivers/mode.h"

#include <gtest/gtest.h>

namespace mode_test {

struct ModeRow {
    const char *what;
    const char *reply;
    const char *expected; ///< null: the reply names no technology
};
// clang-format off
const ModeRow quectel_rows[] = {
    {"EC25 on LTE", "\r\n+QNWINFO: \"FDD LTE\",\"732101\",\"LTE BAND 7\",3075\r\n\r\nOK\r\n", "4G"},
    {"EC200U on TDD LTE", "\r\n+QNWINFO: \"TDD LTE\",\"40476\",\"LTE BAND 41\",40140\r\n\r\nOK\r\n", "4G"},
    {"eMTC names an LTE band", "AT+QNWINFO\r\r\n+QNWINFO: \"eMTC\",\"26203\",\"LTE BAND 20\",6200\r\n\r\nOK\r\n", "4G"},
    {"HSPA+ counts as 4G", "\r\n+QNWINFO: \"HSPA+\",\"23203\",\"WCDMA 2100\",10836\r\n\r\nOK\r\n", "4G"},
    {"HSPA", "\r\n+QNWINFO: \"HSPA\",\"51503\",\"WCDMA 900\",3037\r\n\r\nOK\r\n", "3G"},
    {"HSDPA", "+QNWINFO: \"HSDPA\",\"46001\",\"WCDMA 2100\",10713\r\nOK\r\n", "3G"},
    {"HSUPA", "+QNWINFO: \"HSUPA\",\"46001\",\"X\",10713\r\nOK\r\n", "3G"},
    {"TD-SCDMA", "+QNWINFO: \"TD-SCDMA\",\"46000\",\"X\",10713\r\nOK\r\n", "3G"},
    {"CDMA1X is 3G here", "+QNWINFO: \"CDMA1X\",\"46003\",\"X\",283\r\nOK\r\n", "3G"},
    {"EVDO", "+QNWINFO: \"EVDO\",\"46003\",\"X\",37\r\nOK\r\n", "3G"},
    {"HDR", "+QNWINFO: \"HDR-EHRPD\",\"46003\",\"X\",37\r\nOK\r\n", "3G"},
    {"UMTS", "+QNWINFO: \"UMTS\",\"46001\",\"X\",37\r\nOK\r\n", "3G"},
    {"a WCDMA band in words", "+QNWINFO: \"NONE\",\"46001\",\"WCDMA 2100\",1\r\nOK\r\n", "3G"},
    {"EDGE on a GSM band", "\r\n+QNWINFO: \"EDGE\",\"23203\",\"GSM 900\",8\r\n\r\nOK\r\n", "2G"},
    {"GPRS", "\r\n+QNWINFO: \"GPRS\",\"23203\",\"X\",8\r\n\r\nOK\r\n", "2G"},
};

const ModeRow zte_rows[] = {
    {"LTE",                 "\r\n+ZPAS: \"LTE\",\"CS_PS\"\r\n\r\nOK\r\n",                 "4G"},
    {"HSPA+ counts as 4G",  "\r\n+ZPAS: \"HSPA+\",\"CS_PS\"\r\n\r\nOK\r\n",               "4G"},
    {"HSDPA, with its echo","AT+ZPAS?\r\r\n+ZPAS: \"HSDPA\",\"CS_PS\"\r\n\r\nOK\r\n",     "3G"},
    {"UMTS, CR CR LF",      "\r\r\n+ZPAS: \"UMTS\",\"CS_PS\"\r\r\n\r\r\nOK\r\r\n",        "3G"},
    {"HSPA",                "\r\n+ZPAS: \"HSPA\",\"CS_PS\"\r\n\r\nOK\r\n",                "3G"},
    {"HSUPA",               "\r\n+ZPAS: \"HSUPA\",\"CS_PS\"\r\n\r\nOK\r\n",               "3G"},
    {"TD-SCDMA",            "\r\n+ZPAS: \"TD-SCDMA\",\"CS_PS\"\r\n\r\nOK\r\n",            "3G"},
    {"EVDO",                "\r\n+ZPAS: \"EVDO\",\"CS_PS\"\r\n\r\nOK\r\n",                "3G"},
    {"eHRPD",               "\r\n+ZPAS: \"EHRPD\",\"PS_ONLY\"\r\n\r\nOK\r\n",             "3G"},
    {"CDMA counts as 2G",   "\r\n+ZPAS: \"CDMA\",\"CS_PS\"\r\n\r\nOK\r\n",                "2G"},
    {"GSM",                 "\r\n+ZPAS: \"GSM\",\"CS_ONLY\"\r\n\r\nOK\r\n",               "2G"},
    {"GPRS",                "\r\n+ZPAS: \"GPRS/EDGE\",\"CS_ONLY\"\r\n\r\nOK\r\n",         "2G"},
    {"URC in front",        "\r\n+ZMSRI\r\n\r\n+ZPAS: \"LTE\",\"PS_ONLY\"\r\n\r\nOK\r\n", "4G"},
    {"EDGE alone",          "\r\n+ZPAS: \"EDGE\",\"CS_PS\"\r\n\r\nOK\r\n",                nullptr},
    {"a generation",        "\r\n+ZPAS: \"3G\",\"CS_PS\"\r\n\r\nOK\r\n",                  nullptr},
    {"no service",          "\r\n+ZPAS: \"No Service\"\r\n\r\nOK\r\n",                    nullptr},
    {"field missing",       "\r\n+ZPAS:\r\n\r\nOK\r\n",                                   nullptr},
    {"refused",             "\r\nERROR\r\n",                                              nullptr},
    {"binary",              "\x01\x80\xff\r\nOK\r\n",                                     nullptr},
    {"nothing",             "",                                                           nullptr},
};

const ModeRow simcom_rows[] = {
    {"LTE",                   "\r\n+CNSMOD: 0,8\r\n\r\nOK\r\n",                  "4G"},
    {"reports switched on",   "\r\n+CNSMOD: 1,8\r\n\r\nOK\r\n",                  "4G"},
    {"TD-SCDMA",              "\r\n+CNSMOD: 0,9\r\n\r\nOK\r\n",                  "3G"},
    {"TD-HSDPA",              "\r\n+CNSMOD: 0,10\r\n\r\nOK\r\n",                 "3G"},
    {"TD-HSUPA",              "\r\n+CNSMOD: 0,11\r\n\r\nOK\r\n",                 "3G"},
    {"HSPA, with its echo",   "AT+CNSMOD?\r\r\n+CNSMOD: 0,7\r\n\r\nOK\r\n",      "3G"},
    {"HSUPA",                 "\r\n+CNSMOD: 0,6\r\n\r\nOK\r\n",                  "3G"},
    {"HSDPA, CR CR LF",       "\r\r\n+CNSMOD: 0,5\r\r\n\r\r\nOK\r\r\n",          "3G"},
    {"WCDMA",                 "\r\n+CNSMOD: 0,4\r\n\r\nOK\r\n",                  "3G"},
    {"EDGE",                  "\r\n+CNSMOD: 0,3\r\n\r\nOK\r\n",                  "2G"},
    {"GPRS",                  "\r\n+CNSMOD: 0,2\r\n\r\nOK\r\n",                  "2G"},
    {"GSM",                   "\r\n+CNSMOD: 0,1\r\n\r\nOK\r\n",                  "2G"},
    {"URC in front",          "\r\n+CNSMOD: 4\r\n\r\n+CNSMOD: 1,2\r\n\r\nOK\r\n", "2G"},
    {"two modes",             "\r\n+CNSMOD: 0,2\r\n\r\n+CNSMOD: 0,8\r\n\r\nOK\r\n", "4G"},
    {"no service",            "\r\n+CNSMOD: 0,0\r\n\r\nOK\r\n",                  nullptr},
    {"TD-HSPA",               "\r\n+CNSMOD: 0,12\r\n\r\nOK\r\n",                 nullptr},
    {"CDMA and LTE",          "\r\n+CNSMOD: 0,24\r\n\r\nOK\r\n",                 nullptr},
    {"a line feed alone",     "\n+CNSMOD: 0,8\nOK\n",                            nullptr},
    {"mode missing",          "\r\n+CNSMOD: 0\r\n\r\nOK\r\n",                    nullptr},
    {"refused",               "\r\nERROR\r\n",                                   nullptr},
    {"binary",                "\x01\x80\xff,\r\nOK\r\n",                         nullptr},
    {"nothing",               "",                                                nullptr},
};

const ModeRow fibocom_rows[] = {
    {"LTE",                 "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,4,460,01,4F50,52BF337,672,1E4,103,100,44,63,63,24\r\nLTE neighbor cell:\r\n\r\nOK\r\n", "4G"},
    {"LTE, with its echo",  "AT+GTCCINFO?\r\r\n+GTCCINFO: \r\nLTE service cell:\r\n1,4,460,00,247E,5423D8D,9826,43,40,5,28,58,58,23\r\n\r\nOK\r\n", "4G"},
    {"CR CR LF",            "\r\r\n+GTCCINFO:\r\r\nLTE service cell:\r\r\n1,4,460,11,4580,8048A97,994,129,105,50,-4,45,45,10\r\r\n\r\r\nOK\r\r\n", "4G"},
    {"a blank behind the label", "\r\n+GTCCINFO:\r\nLTE service cell: \r\n1,4,460,11,4580,8048A97,994,129\r\n\r\nOK\r\n", "4G"},
    {"URC in front",        "\r\n+CREG: 1,\"247E\"\r\n\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,4,460,00\r\n\r\nOK\r\n", "4G"},
    {"WCDMA",               "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,2,460,01,1234\r\n\r\nOK\r\n", "3G"},
    {"TD-SCDMA",            "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,3,460,00,1234\r\n\r\nOK\r\n", "3G"},
    {"GSM",                 "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,1,460,00,1234\r\n\r\nOK\r\n", "2G"},
    {"NR",                  "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,9,460,00,1234\r\n\r\nOK\r\n", nullptr},
    {"invalid",             "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,0,460,00,1234\r\n\r\nOK\r\n", nullptr},
    {"two digits",          "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1,44,460,00\r\n\r\nOK\r\n", nullptr},
    {"field missing",       "\r\n+GTCCINFO:\r\nLTE service cell:\r\n1\r\nLTE neighbor cell:\r\n2,4,,\r\n\r\nOK\r\n", nullptr},
    {"another label",       "\r\n+GTCCINFO:\r\nGSM service cell:\r\n1,1,460,00,1234\r\n\r\nOK\r\n", nullptr},
    {"label at the end",    "\r\n+GTCCINFO:\r\nLTE service cell:", nullptr},
    {"no cell",             "\r\n+GTCCINFO:\r\n\r\nOK\r\n", nullptr},
    {"nothing",             "", nullptr},
};
// clang-format on

const char *name_of(const std::optional<Generation> &generation)
{
    return generation ? name_of(*generation) : nullptr;
}

TEST(AccessTechnology, IsTheFirstClassThatTheReplyNames)
{
    for (const ModeRow &row : quectel_rows)
        EXPECT_STREQ(name_of(parse_access_technology(row.reply)), row.expected) << row.what;
}

TEST(AccessTechnology, IsNoneWhereTheReplyNamesNone)
{
    for (const char *reply : {"\r\n+QNWINFO: \"No Service\"\r\n\r\nOK\r\n", "\r\nOK\r\n", ""})
        EXPECT_EQ(parse_access_technology(reply), std::nullopt) << reply;
}

TEST(ZteMode, IsTheGenerationOfTheFirstTechnologyThatTheReplyContains)
{
    for (const ModeRow &row : zte_rows)
        EXPECT_STREQ(name_of(parse_zpas(row.reply)), row.expected) << row.what;
}

TEST(SimcomMode, IsTheGenerationOfTheModeNumberBehindTheComma)
{
    for (const ModeRow &row : simcom_rows)
        EXPECT_STREQ(name_of(parse_cnsmod(row.reply)), row.expected) << row.what;
}

TEST(FibocomMode, IsTheSecondFieldOfTheServingCell)
{
    for (const ModeRow &row : fibocom_rows)
        EXPECT_STREQ(name_of(parse_gtccinfo_mode(row.reply)), row.expected) << row.what;
}

TEST(Mode, IsUntouchedWhenTheModemCannotBeAsked)
{
    ModemDriver rec{};
    rec.bus = "9-9.9";
    for (const auto operation : {get_mode, zte_get_mode, simcom_get_mode, fibocom_get_mode}) {
        Text<5> mode = "old";
        EXPECT_EQ(operation(rec, mode), -1);
        EXPECT_EQ(mode.view(), "old");
    }
}

} // namespace mode_test
