#include "drivers/simcom.h"

#include <gtest/gtest.h>

namespace {

struct ModeRow {
    const char *what;
    const char *reply;
    const char *expected;
};
// clang-format off
const ModeRow mode_rows[] = {
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
// clang-format on

} // namespace

TEST(SimcomMode, IsTheGenerationOfTheModeNumberBehindTheComma)
{
    for (const ModeRow &row : mode_rows)
        EXPECT_STREQ(parse_cnsmod(row.reply), row.expected) << row.what;
}

TEST(SimcomMode, IsUntouchedWhenTheModemCannotBeAsked)
{
    ModemDriver rec{};
    rec.bus = "9-9.9";
    Text<5> mode = "old";
    EXPECT_EQ(simcom_get_mode(rec, mode), -1);
    EXPECT_EQ(mode.view(), "old");
}
