#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulator/modem/short_message.h"

namespace short_message_test {

using namespace simulator;

struct MessageRow {
    const char *what;
    ShortMessage message;
    std::vector<std::string> happenings;
};

// clang-format off
const MessageRow message_rows[] = {
    {"GSM alphabet", {.from = "+441632960001", .text = "hellohello"},
     {"message 28 0791447700090000040C914461236900100000621013214365400AE8329BFD4697D9EC37"
      " \"+441632960001\" \"26/01/31,12:34:56+04\" hellohello"}},
    {"its extension takes two septets", {.from = "70007", .text = "€"},
     {"message 18 0791447700090000040581070" "0F7000062101321436540029B32" " \"70007\" \"26/01/31,12:34:56+04\" \x1b\x65"}},
    {"national number", {.from = "01632960001", .text = ""},
     {"message 19 0791447700090000040BA11036920600F1000062101321436540" "00 \"01632960001\" \"26/01/31,12:34:56+04\" "}},
    {"a name", {.from = "Bank", .text = "Да"},
     {"message 21 07914477000900000407D0C2B07B0D0008621013214365400404140430 \"Bank\" \"26/01/31,12:34:56+04\" 04140430"}},
    {"a surrogate pair", {.from = "70007", .text = "😀"},
     {"message 20 079144770009000004058107" "00F70008" "62101321436540" "04D83DDE00 \"70007\" \"26/01/31,12:34:56+04\" D83DDE00"}},
    {"flash", {.from = "70007", .text = "@", .flash = true},
     {"message 17 07914477000900000405810700F7001062101321436540" "0100" " \"70007\" \"26/01/31,12:34:56+04\" " + std::string(1, '\0')}},
};
// clang-format on

std::string error_of(const ShortMessage &message)
{
    try {
        message_happenings(message);
    } catch (const std::invalid_argument &error) {
        return error.what();
    }
    return "none";
}

std::string error_of_pdu(const std::string &pdu)
{
    try {
        pdu_happening(pdu);
    } catch (const std::invalid_argument &error) {
        return error.what();
    }
    return "none";
}

std::string repeated(std::string_view text, int count)
{
    std::string all;
    for (int i = 0; i < count; i++)
        all += text;
    return all;
}

TEST(ShortMessage, BecomesADeliverPdu)
{
    for (const MessageRow &row : message_rows)
        EXPECT_EQ(message_happenings(row.message), row.happenings) << row.what;
}

TEST(ShortMessage, IsPartedWhereItDoesNotFit)
{
    const auto parts_of = [](const std::string &text) {
        return message_happenings({.from = "70007", .text = text}).size();
    };
    EXPECT_EQ(parts_of(repeated("a", 160)), 1u);
    EXPECT_EQ(parts_of(repeated("a", 161)), 2u);
    EXPECT_EQ(parts_of(repeated("a", 306)), 2u);
    EXPECT_EQ(parts_of(repeated("a", 307)), 3u);
    EXPECT_EQ(parts_of(repeated("Д", 70)), 1u);
    EXPECT_EQ(parts_of(repeated("Д", 71)), 2u);
    EXPECT_EQ(parts_of(repeated("Д", 135)), 3u);
    // A pair of septets or surrogates is never parted.
    EXPECT_EQ(parts_of(repeated("€", 152)), 2u);
    EXPECT_EQ(parts_of(repeated("€", 153)), 3u);
    EXPECT_EQ(parts_of(repeated("😀", 66)), 2u);
    EXPECT_EQ(parts_of(repeated("😀", 67)), 3u);
}

TEST(ShortMessage, NumbersItsPartsInAHeader)
{
    const auto parts = message_happenings({.from = "70007", .text = repeated("a", 160) + "b"});
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ(parts[0].substr(0, 72), "message 156 07914477000900004405810700F7000062101321436540A00500035A0201");
    // eight times "a" behind a fill bit, then "b"
    EXPECT_EQ(parts[1], "message 30 07914477000900004405810700F70000621013214365400F0500035A0202C2E170381C0E8B01"
                        " \"70007\" \"26/01/31,12:34:56+04\" aaaaaaab");
}

TEST(ShortMessage, RefusesWhatCannotBeWritten)
{
    EXPECT_EQ(error_of({.from = "1", .text = "\xff"}), "the message is not UTF-8");
    EXPECT_EQ(error_of({.from = "1", .text = "\xe4\xbd"}), "the message is not UTF-8");
    EXPECT_EQ(error_of({.from = "1", .text = "\xc0\x80"}), "the message is not UTF-8");
    EXPECT_EQ(error_of({.from = "", .text = ""}), "a sender is a number or a name of 1 to 11 characters");
    EXPECT_EQ(error_of({.from = "twelve chars", .text = ""}), "a sender is a number or a name of 1 to 11 characters");
    EXPECT_EQ(error_of({.from = "Банк", .text = ""}), "a sender is written in the GSM alphabet");
    EXPECT_EQ(error_of({.from = "123456789012345678901", .text = ""}), "a number has at most 20 digits");
    EXPECT_EQ(error_of({.from = "1", .text = repeated("a", 255 * 153 + 1)}), "the message is too long");
}

TEST(PduOfTheUsersOwn, IsCheckedForItsLength)
{
    EXPECT_EQ(pdu_happening("0004"), "message 1 0004 \"\" \"\" ");
    EXPECT_EQ(pdu_happening("0791447700090000062a"), "message 2 0791447700090000062a \"\" \"\" ");
    for (const std::string &pdu :
         {std::string{}, std::string{"00"}, std::string{"000"}, std::string{"00x4"}, std::string(354, '0')})
        EXPECT_EQ(error_of_pdu(pdu), "a PDU is 2 to 176 octets in hexadecimal digits") << pdu;
    EXPECT_EQ(error_of_pdu("0791447700090000"), "the PDU ends within the service centre's address");
}

} // namespace short_message_test
