#include "at/at_command.h"
#include "at/reply.h"

#include <climits>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/unit/rows.h"

namespace reply_test {

TEST(SilenceBudget, IsLongForAnOperatorScanAndARestart)
{
    const std::pair<const char *, int> rows[] = {
        {"AT+COPS=?", 30000},
        {"AT+COPS=?;+CSQ", 30000},
        {"AT+COPS?", 30},
        {"at+cops=?", 30},
        {"AT+COPS=", 30},
        {"AT+CFUN=1,1", 300},
        {"AT+CFUN=1,1\r", 300},
        {"AT+CFUN=1", 30},
        {"AT+CFUN=1,0", 30},
        {"AT+CFUN=4,1", 30},
        {"ATI", 30},
        {"", 30},
        {" AT+CFUN=1,1", 30},
    };
    for (const auto &[command, half_seconds] : rows)
        EXPECT_EQ(silence_budget(command), half_seconds) << command;
}

const ReplyRow<bool> ok_rows[] = {
    {"plain", "\r\nOK\r\n", true},
    {"echo and CR CR LF", "ATE0\r\r\nOK\r\r\n", true},
    {"line feed only", "OK\n", true},
    {"a URC behind it", "\r\nOK\r\n\r\nRING\r\n", true},
    {"inside a word first", "OKAY\r\nOK\r", true},
    {"at the very end", "\r\nOK", false},
    {"inside a name", "+COPS: 0,0,\"BOOK\",7", false},
    {"error", "\r\n+CME ERROR: 10\r\n", false},
    {"one character", "O", false},
    {"nothing", "", false},
};

TEST(ReplyHasOk, NeedsALineEndBehindTheOk)
{
    for (const auto &row : ok_rows)
        EXPECT_EQ(reply_has_ok(row.reply), row.expected) << row.what;
}

TEST(StrContains, FindsNothingInAnEmptyText)
{
    EXPECT_TRUE(str_contains("+CPIN: READY", "READY"));
    EXPECT_TRUE(str_contains("text", ""));
    EXPECT_FALSE(str_contains("", ""));
    EXPECT_FALSE(str_contains("", "READY"));
    EXPECT_FALSE(str_contains("REA", "READY"));
}

struct IntRow {
    const char *what;
    const char *text;
    const char *label;
    int result;
    int32_t value;
};
const IntRow int_rows[] = {
    {"plain", "RSRP (dBm): -95\r\n", "RSRP (dBm):", 0, -95},
    {"blanks before it", "PCC RxM RSSI:  \t -70\tTx Power", "PCC RxM RSSI:", 0, -70},
    {"a plus sign", "x:+7", "x:", 0, 7},
    {"text behind it", "x:12dBm", "x:", 0, 12},
    {"on the next line", "x:\r\n5", "x:", 0, 5},
    {"the first of two", "x:1 x:2", "x:", 0, 1},
    {"too large", "x:99999999999999999999", "x:", 0, INT_MAX},
    {"too small", "x:-99999999999999999999", "x:", 0, INT_MIN},
    {"the smallest", "x:-2147483648", "x:", 0, INT_MIN},
    {"no number", "x: --", "x:", -1, 77},
    {"a sign only", "x:-", "x:", -1, 77},
    {"no label", "y:1", "x:", -1, 77},
    {"nothing behind the label", "x:", "x:", -2, 77},
    {"blanks behind the label", "x: \r\n", "x:", -2, 77},
    {"empty", "", "x:", -1, 77},
};

TEST(IntAfterLabel, TellsAMissingLabelFromAMissingNumberAndAnEnd)
{
    for (const auto &row : int_rows) {
        int32_t value = 77;
        EXPECT_EQ(int_after_label(row.text, row.label, value), row.result) << row.what;
        EXPECT_EQ(value, row.value) << row.what;
    }
}

struct FieldRow {
    const char *what;
    const char *text;
    const char *label;
    int skip;
    int result;
    const char *value;
};
const FieldRow field_rows[] = {
    {"blanks around it", "Mode:   LTE   \r\n", "Mode:", 0, 0, "LTE"},
    {"blanks inside it", "System mode:  LTE FDD \t PS state: Attached \r\n", "System mode:", 0, 0, "LTE FDD"},
    {"ended by a tab", "LTE band:  B3 \tLTE bw:  20 MHz", "LTE band:", 0, 0, "B3"},
    {"at the end of the text", "LTE bw:20 MHz", "LTE bw:", 0, 0, "20 MHz"},
    {"the second one", "RSRP (dBm):  -95\r\nRSRP (dBm):  -97\r\n", "RSRP (dBm):", 1, 0, "-97"},
    {"blanks only", "x:   \r\n", "x:", 0, 0, " "},
    {"one blank", "x: \r\n", "x:", 0, 0, " "},
    {"a third one that is missing", "x:1 x:2", "x:", 2, -1, "before"},
    {"a second one that is missing", "x:1", "x:", 1, -1, "before"},
    {"no label", "y:1", "x:", 0, -1, "before"},
    {"no value", "x:\r\n", "x:", 0, -1, "before"},
    {"a tab at once", "x:\tLTE", "x:", 0, -1, "before"},
    {"the end of the text", "x:", "x:", 0, -2, "before"},
};

TEST(FieldAfterLabel, IsTheTrimmedRestOfTheLine)
{
    for (const auto &row : field_rows) {
        Text<101> value = "before";
        EXPECT_EQ(field_after_label(row.text, row.label, row.skip, value), row.result) << row.what;
        EXPECT_EQ(value.view(), row.value) << row.what;
    }
}

TEST(FieldAfterLabel, IsCutAfterAHundredCharacters)
{
    Text<200> value;
    EXPECT_EQ(field_after_label("x:" + std::string(150, 'v'), "x:", 0, value), 0);
    EXPECT_EQ(value.view(), std::string(100, 'v'));
}

struct CsvRow {
    const char *what;
    const char *line;
    int index;
    int result;
    const char *value;
};
const CsvRow csv_rows[] = {
    {"first", "1,2,3\r", 0, 0, "1"},
    {"middle", "1,2,3\r", 1, 0, "2"},
    {"last, ended by CR", "1,2,3\r", 2, 0, "3"},
    {"last, ended by nothing", "1,2,3", 2, -1, "before"},
    {"one before the end of the text", "1,2,3", 1, 0, "2"},
    {"beyond the last", "1,2,3\r", 3, -1, "before"},
    {"two quoted fields", "\"ABC\",\"DEF\"\r", 1, 0, "DEF"},
    {"first of two quoted fields", "\"ABC\",\"DEF\"\r", 0, 0, "ABC"},
    {"a single unquoted field", "1\r", 0, -1, "before"},
    {"a single field that starts with a quote", "\"1\"\r", 0, 0, "1"},
    {"a quote that is not closed", "\"A,B\r", 0, 0, "A"},
    {"only one quote of each end goes", "\"\"A\"\",B\r", 0, 0, "\"A\""},
    {"a lone quote", "1,\",2\r", 1, 0, ""},
    {"an empty field", "1,,3\r", 1, 0, ""},
    {"an empty last field", "1,2,\r", 2, 0, ""},
    {"a comma inside quotes parts", "\"A,B\",2\r", 1, 0, "B"},
    {"a line feed first", "1,2\n,3\r", 2, -1, "before"},
    {"a line feed behind the wanted field", "1,2\n\r", 0, 0, "1"},
    {"text behind the CR", "1,2\r\n3,4\r", 1, 0, "2"},
    {"only a CR", "\r", 0, -1, "before"},
    {"empty", "", 0, -1, "before"},
    {"a negative index", "1,2\r", -1, -1, "before"},
};

TEST(CsvField, NeedsACarriageReturnToReadTheLastField)
{
    for (const auto &row : csv_rows) {
        Text<32> value = "before";
        EXPECT_EQ(csv_field(row.line, row.index, value), row.result) << row.what;
        EXPECT_EQ(value.view(), row.value) << row.what;
    }
}

TEST(CsvField, OfAMissingLineIsMissing)
{
    Text<8> value = "before";
    EXPECT_EQ(csv_field({}, 0, value), -1);
    EXPECT_EQ(value.view(), "before");
}

TEST(CsvField, IsCutAtTheCallersCapacity)
{
    Text<4> value;
    EXPECT_EQ(csv_field("abcdef,1\r", 0, value), 0);
    EXPECT_EQ(value.view(), "abc");
}

TEST(CsvField, EndsAtAZeroByte)
{
    Text<8> value;
    EXPECT_EQ(csv_field(std::string_view{"1,2\0,3\r", 7}, 1, value), -1);
}

TEST(FromFirst, IsNothingWithoutTheNeedle)
{
    EXPECT_EQ(from_first("a+b+c", "+"), "+b+c");
    EXPECT_EQ(from_first("abc", "+"), std::nullopt);
    EXPECT_EQ(from_first("", "+"), std::nullopt);
    EXPECT_EQ(after_first("a+b+c", "+"), "b+c");
    EXPECT_EQ(after_first("a+", "+"), "");
    EXPECT_EQ(after_first("abc", "+"), std::nullopt);
}

TEST(Consume, TakesALabelOffTheFrontOnly)
{
    std::string_view text = "+CSQ: 28,99";
    EXPECT_FALSE(consume(text, "CSQ"));
    EXPECT_FALSE(consume(text, "+CSQ: 28,99,"));
    EXPECT_EQ(text, "+CSQ: 28,99");
    EXPECT_TRUE(consume(text, "+CSQ: "));
    EXPECT_EQ(text, "28,99");
    EXPECT_TRUE(consume(text, "28,99"));
    EXPECT_EQ(text, "");
}

TEST(LeadingInt, IsNothingWithoutDigitsAtTheStart)
{
    const std::pair<const char *, std::optional<int32_t>> rows[] = {
        {"-95", -95},
        {" \t+7dBm", 7},
        {"0", 0},
        {"99999999999", INT_MAX},
        {"-99999999999", INT_MIN},
        {"--60", std::nullopt},
        {"+-1", std::nullopt},
        {"-", std::nullopt},
        {"x1", std::nullopt},
        {" ", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto &[text, number] : rows)
        EXPECT_EQ(leading_int(text), number) << text;
}

TEST(AtCommand, KeepsRoomForItsLineEnd)
{
    AtCommand command{std::string(1000, 'x')};
    EXPECT_EQ(command.view().size(), AtCommand::max_length);
    command.append_line_end();
    EXPECT_EQ(command.view(), std::string(AtCommand::max_length, 'x') + "\r\n");
}

TEST(AtCommand, IsCutWhereTheCallerWants)
{
    EXPECT_EQ((AtCommand{"AT+CGDCONT?", 5}.view()), "AT+CG");
    EXPECT_EQ(AtCommand::format("AT+X=%d,\"%s\"", 1, "y").view(), "AT+X=1,\"y\"");
}

} // namespace reply_test
