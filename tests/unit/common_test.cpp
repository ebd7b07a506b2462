#include "drivers/common.h"
#include "drivers/common_replies.h"

#include <gtest/gtest.h>

#include "drivers/ask.h"
#include "tests/unit/rows.h"

// Replies as modems print them; a person's numbers are masked.

namespace common_test {

const ReplyRow<const char *> model_rows[] = {
    {"EC25, echo off", "\r\nQuectel\r\nEC25\r\nRevision: EC25AUXGAR08A03M1G\r\n\r\nOK\r\n", " EC25AUXGAR08A03M1G\r"},
    {"EC20, echo on", "ATI\r\r\nQuectel\r\nEC20F\r\nRevision: EC20CEFRSGR08A03M2G\r\n\r\nOK\r\n",
     " EC20CEFRSGR08A03M2G\r"},
    {"BG95 starting, echo with a blank",
     "RDY\r\n\r\nAPP RDY\r\n ATI\r\r\nQuectel\r\nBG95-M4\r\nRevision: BG95M4LAR02A02\r\n\r\nOK\r\n",
     " BG95M4LAR02A02\r"},
    {"a model line wins",
     "Manufacturer: SIMCOM INCORPORATED\r\nModel: SIMCOM_SIM7600E-H\r\nRevision: SIM7600M22_V2.0\r\n\r\nOK\r\n",
     " SIMCOM_SIM7600E-H\r"},
    {"Sierra",
     "Manufacturer: Sierra Wireless, Incorporated\r\nModel: MC7455\r\nRevision: SWI9X30C_02.24.05.06 "
     "r7040\r\n\r\nOK\r\n",
     " MC7455\r"},
    {"CR CR LF", "Model: X\r\r\nOK\r\r\n", " X\r\r"},
    {"no line feed behind it", "Revision: A", " A"},
    {"nothing behind the label", "Model:", ""},
    {"neither label", "\r\nEC20F\r\n\r\nOK\r\n", ""},
    {"nothing", "", ""},
};

TEST(Model, KeepsTheBlankAndTheCarriageReturnAroundIt)
{
    for (const auto &row : model_rows)
        EXPECT_EQ(parse_model(row.reply).value_or(""), row.expected) << row.what;
}

const ReplyRow<std::optional<int32_t>> bars_rows[] = {
    {"EC25", "\r\n+CSQ: 28,99\r\n\r\nOK\r\n", 4},
    {"echo on", "AT+CSQ\r\r\n+CSQ: 5,99\r\n\r\nOK\r\n", 1},
    {"CR CR LF", "AT+CSQ\r\r\n+CSQ: 18,99\r\r\n\r\r\nOK\r\r\n", 2},
    {"no blank behind the colon", "\r\n+CSQ:99,99\r\n\r\nOK\r\n", 0},
    {"blank behind the comma", "\r\n+CSQ: 9, 99\r\n\r\nOK\r\n", 1},
    {"lower case", "\r\n+csq: 23,99\r\nOK\r\n", 3},
    {"a URC in front decides", "\r\n+CMTI: \"ME\",7\r\n\r\n+CSQ: 28,99\r\n\r\nOK\r\n", 1},
    {"0", "\r\n+CSQ: 0,0\r\n\r\nOK\r\n", 0},
    {"1", "\r\n+CSQ: 1,0\r\n\r\nOK\r\n", 0},
    {"2", "\r\n+CSQ: 2,0\r\n\r\nOK\r\n", 1},
    {"13", "\r\n+CSQ: 13,0\r\n\r\nOK\r\n", 1},
    {"14", "\r\n+CSQ: 14,0\r\n\r\nOK\r\n", 2},
    {"18", "\r\n+CSQ: 18,0\r\n\r\nOK\r\n", 2},
    {"19", "\r\n+CSQ: 19,0\r\n\r\nOK\r\n", 3},
    {"23", "\r\n+CSQ: 23,0\r\n\r\nOK\r\n", 3},
    {"24", "\r\n+CSQ: 24,5\r\n\r\nOK\r\n", 4},
    {"31", "\r\n+CSQ: 31,99\r\n\r\nOK\r\n", 4},
    {"32", "\r\n+CSQ: 32,99\r\n\r\nOK\r\n", 0},
    {"99", "\r\n+CSQ: 99,99\r\n\r\nOK\r\n", 0},
    {"eight digits", "\r\n+CSQ: 12345678,99\r\n\r\nOK\r\n", 0},
    {"nine digits", "\r\n+CSQ: 123456789,99\r\n\r\nOK\r\n", std::nullopt},
    {"no digits", "\r\nOK\r\n", std::nullopt},
    {"no line break", "+CSQ: 28,99", std::nullopt},
    {"nothing", "", std::nullopt},
};

TEST(SignalBars, AreGradedFromTheFirstNumberBehindTheFirstLineBreak)
{
    for (const auto &row : bars_rows)
        EXPECT_EQ(parse_signal_bars(row.reply), row.expected) << row.what;
}

const ReplyRow<const char *> imsi_rows[] = {
    {"EC25", "\r\n732101123456789\r\n\r\nOK\r\n", "732101123456789"},
    {"EC20, echo on", "AT+CIMI\r\r\n460041234567890\r\n\r\nOK\r\n", "460041234567890"},
    {"with its tag, quoted", "\r\n+CIMI: \"250011234567890\"\r\n\r\nOK\r\n", "250011234567890"},
    {"CR CR LF", "\r\r\n262011234567890\r\r\n\r\r\nOK\r\r\n", "262011234567890"},
    {"sixteen digits are cut", "\r\n2620112345678901\r\n\r\nOK\r\n", "262011234567890"},
    {"no line end", "262011234567890", "262011234567890"},
    {"fourteen digits", "\r\n26201123456789\r\n\r\nOK\r\n", ""},
    {"a URC's number in front", "\r\n+CREG: 1\r\n262011234567890\r\n\r\nOK\r\n", ""},
    {"no digits", "\r\nOK\r\n", ""},
    {"nothing", "", ""},
};

TEST(Imsi, IsTheFirstRunOfFifteenDigits)
{
    for (const auto &row : imsi_rows) {
        Text<16> imsi;
        EXPECT_EQ(copy_digits(row.reply, 15, imsi), row.expected[0] == '\0' ? -1 : 0) << row.what;
        if (row.expected[0] != '\0') {
            EXPECT_EQ(imsi.view(), row.expected) << row.what;
        }
    }
}

const ReplyRow<const char *> digit_rows[] = {
    {"fourteen digits", "\r\n26201123456789\r\n\r\nOK\r\n", "26201123456789"},
    {"a URC's number in front", "\r\n+CREG: 1\r\n262011234567890\r\n\r\nOK\r\n", "1"},
    {"a letter among them", "\r\n2620A1234567890\r\n\r\nOK\r\n", "2620"},
    {"no digits", "\r\nOK\r\n", ""},
    {"nothing", "", ""},
};

TEST(CopiedDigits, StayWhenTheyAreTooFew)
{
    for (const auto &row : digit_rows) {
        Text<16> digits;
        EXPECT_EQ(copy_digits(row.reply, 15, digits), -1) << row.what;
        EXPECT_EQ(digits.view(), row.expected) << row.what;
    }
}

const ReplyRow<const char *> operator_rows[] = {
    {"EC25, # and a blank", "\r\n+COPS: 0,0,\"#CoberturaCLARO Claro\",7\r\n\r\nOK\r\n", "#CoberturaCLARO Claro"},
    {"EG25, echo on", "AT+COPS?\r\r\n+COPS: 0,0,\"SGP-M1\",7\r\n\r\nOK\r\n", "SGP-M1"},
    {"EP06, numeric", "\r\n+COPS: 0,2,\"25011\",7\r\n\r\nOK\r\n", "25011"},
    {"BG96, blank at the end", "\r\n+COPS: 0,0,\"Verizon \",8\r\n\r\nOK\r\n", "Verizon "},
    {"a name that begins with digits", "\r\n+COPS: 0,0,\"242 01 Telenor\",9\r\n\r\nOK\r\n", "242 01 Telenor"},
    {"no technology", "\r\n+COPS: 1,0,\"CHINA MOBILE\"\r\n\r\nOK\r\n", "CHINA MOBILE"},
    {"not registered", "\r\n+COPS: 0\r\n\r\nOK\r\n", ""},
    {"an empty name", "\r\n+COPS: 0,0,\"\",7\r\n\r\nOK\r\n", ""},
    {"a quote that is not closed", "+COPS: 0,0,\"Acme\r\nOK\r\n", "Acme"},
    {"a quote at the end", "OK\r\n\"", ""},
    {"nothing", "", ""},
};

TEST(OperatorName, StandsBetweenTheFirstQuotes)
{
    for (const auto &row : operator_rows)
        EXPECT_EQ(parse_operator(row.reply).value_or(""), row.expected) << row.what;
}

const ReplyRow<std::optional<int>> registration_rows[] = {
    {"EC25", "\r\n+CREG: 0,1\r\n\r\nOK\r\n", 1},
    {"roaming, echo on", "AT+CREG?\r\r\n+CREG: 0,5\r\n\r\nOK\r\n", 5},
    {"with a cell", "\r\n+CREG: 2,1,\"1206\",\"19E4A03\",13\r\n\r\nOK\r\n", 1},
    {"denied", "\r\n+CREG: 2,3\r\n\r\nOK\r\n", 3},
    {"status 6", "\r\n+CREG: 2,6,\"8B37\",\"0A265185\",7\r\n\r\nOK\r\n", 6},
    {"an empty status", "\r\n+CREG: 2,,\r\n\r\nOK\r\n", std::nullopt},
    {"no mode", "\r\n+CREG: 5\r\n\r\nOK\r\n", std::nullopt},
    {"on the next line only", "\r\n+CREG: 0\r\n+CREG: 0,1\r\nOK\r\n", std::nullopt},
    {"no line break", "+CREG: 0,1", std::nullopt},
    {"nothing", "", std::nullopt},
};

TEST(RegistrationStatus, IsTheDigitBehindTheFirstCommaOfTheFirstLine)
{
    for (const auto &row : registration_rows)
        EXPECT_EQ(parse_registration(row.reply), row.expected) << row.what;
}

TEST(Registered, MeansHomeOrRoamingAtTheEndOfALine)
{
    EXPECT_TRUE(is_registered("\r\n+CREG: 0,1\r\n\r\nOK\r\n"));
    EXPECT_TRUE(is_registered("AT+CREG?\r\r\n+CREG: 0,5\r\r\n\r\r\nOK\r\r\n"));
    for (const char *reply : {"\r\n+CREG: 0,0\r\n", "\r\n+CREG: 2,3\r\n", "\r\n+CREG: 0,2\r\n", "\r\n+CREG: 0,11\r\n",
                              "\r\n+CREG: 2,1,\"1206\",\"19E4A03\",13\r\n", "+CREG: 0,1", ""})
        EXPECT_FALSE(is_registered(reply)) << reply;
}

const ReplyRow<const char *> imei_rows[] = {
    {"EC25", "\r\n862708041234567\r\n\r\nOK\r\n", "862708041234567"},
    {"BG770, echo on", "AT+GSN\r\r\n863593051234567\r\n\r\nOK\r\n", "863593051234567"},
    {"BG95, echo with a blank", " AT+GSN\r\r\n865341041234567\r\n\r\nOK\r\n", "865341041234567"},
    {"in groups", "\r\n86 270804 123456-7\r\n\r\nOK\r\n", "862708041234567"},
    {"with a software version", "\r\n86270804123456701\r\n\r\nOK\r\n", "862708041234567"},
    {"too short", "\r\n8627080\r\n\r\nOK\r\n", "8627080"},
    {"nothing", "", ""},
};

TEST(Imei, IsMadeOfTheFirstFifteenDigits)
{
    for (const auto &row : imei_rows)
        EXPECT_EQ(parse_imei(row.reply).view(), row.expected) << row.what;
}

} // namespace common_test
