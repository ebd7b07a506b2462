#include "drivers/zte.h"

#include <gtest/gtest.h>

#include "platform/text.h"

namespace {

struct ModeRow {
    const char *what;
    const char *reply;
    const char *expected;
};
// clang-format off
const ModeRow mode_rows[] = {
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
// clang-format on

} // namespace

TEST(ZteMode, IsTheGenerationOfTheFirstTechnologyThatTheReplyContains)
{
    for (const ModeRow &row : mode_rows)
        EXPECT_STREQ(parse_zpas(row.reply), row.expected) << row.what;
}

TEST(ZteMode, IsUntouchedWhenTheModemCannotBeAsked)
{
    ModemDriver rec{};
    rec.bus = "9-9.9";
    Text<5> mode = "old";
    EXPECT_EQ(zte_get_mode(rec, mode), -1);
    EXPECT_EQ(mode.view(), "old");
}
