#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "apn/choices.h"
#include "readings/crsm.h"

// The SIM card's files, and which APNs are tried for a card.

namespace apn_choices_test {

using Bytes = std::vector<uint8_t>;

struct ReplyRow {
    const char *what;
    std::string reply;
    int sw1; ///< -1: refused
    int sw2;
    Bytes data;
};
const ReplyRow reply_rows[] = {
    {"quoted", "\r\n+CRSM: 144,0,\"00000002\"\r\n\r\nOK\r\n", 144, 0, {0, 0, 0, 2}},
    {"bare", "+CRSM: 144,0,00000003\r\n\r\nOK\r\n", 144, 0, {0, 0, 0, 3}},
    {"echo", "AT+CRSM=176,28589,0,0,4\r\r\n+CRSM: 144,0,\"00000102\"\r\n\r\nOK\r\n", 144, 0, {0, 0, 1, 2}},
    {"spaces", "\r\n+CRSM: 144, 0, \"20ff\"\r\n\r\nOK\r\n", 144, 0, {0x20, 0xff}},
    {"no such file", "\r\n+CRSM: 106,130,\"\"\r\n\r\nOK\r\n", 106, 130, {}},
    {"no such file, short", "+CRSM: 148,4\r\nOK\r\n", 148, 4, {}},
    {"wrong length", "\r\n+CRSM: 108,17,\"\"\r\n\r\nOK\r\n", 108, 17, {}},
    {"unasked line before", "\r\n+CREG: 1\r\n\r\n+CRSM: 144,0,\"FF\"\r\n\r\nOK\r\n", 144, 0, {0xff}},
    {"no data", "\r\n+CRSM: 144,0\r\n\r\nOK\r\n", 144, 0, {}},
    {"cut in a byte", "\r\n+CRSM: 144,0,\"000\"\r\n", -1, 0, {}},
    {"no digits", "\r\n+CRSM: 144,0,\"00g0\"\r\n\r\nOK\r\n", -1, 0, {}},
    {"a prefix of C", "\r\n+CRSM: 144,0,\"0x0x\"\r\n\r\nOK\r\n", -1, 0, {}},
    {"a sign", "\r\n+CRSM: 144,0,\"+1-1\"\r\n\r\nOK\r\n", -1, 0, {}},
    {"status out of range", "\r\n+CRSM: 256,0,\"00\"\r\n\r\nOK\r\n", -1, 0, {}},
    {"negative status", "\r\n+CRSM: -1,0,\"00\"\r\n\r\nOK\r\n", -1, 0, {}},
    {"one status", "\r\n+CRSM: 144\r\n\r\nOK\r\n", -1, 0, {}},
    {"error", "\r\n+CME ERROR: 10\r\n", -1, 0, {}},
    {"nothing", "", -1, 0, {}},
    {"binary", std::string("+CRSM: 144,0,\"\0\x80\xff\"\r\n", 21), -1, 0, {}},
};

TEST(CardReply, HasTheStatusAndTheBytesThatModemsPrint)
{
    for (const ReplyRow &row : reply_rows) {
        const auto reply = parse_card_reply(row.reply);
        ASSERT_EQ(reply.has_value(), row.sw1 >= 0) << row.what;
        if (!reply)
            continue;
        EXPECT_EQ(reply->sw1, row.sw1) << row.what;
        EXPECT_EQ(reply->sw2, row.sw2) << row.what;
        EXPECT_EQ((Bytes{reply->data().begin(), reply->data().end()}), row.data) << row.what;
    }
}

TEST(CardReply, IsCutAtItsCapacity)
{
    const auto reply = parse_card_reply("+CRSM: 144,0,\"" + std::string(2000, '1') + "\"\r\nOK\r\n");
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->size, 64U);
    EXPECT_EQ(reply->data().back(), 0x11);
}

Bytes file_of(const std::string &digits)
{
    Bytes bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

struct FileRow {
    const char *file;
    const char *text;
};

const FileRow name_rows[] = {
    {"02542D4D6F62696C652E706CFFFFFFFFFF", "T-Mobile.pl"},
    {"00434D4343FFFFFFFFFFFFFFFFFFFFFFFF", "CMCC"},
    {"00564F5849FFFFFFFFFFFFFFFFFFFFFFFF", "VOXI"},
    {"0167696666676166662020FFFFFFFFFFFF", "giffgaff"},
    {"0054494D00000000000000000000000000", "TIM"},
    {"0053465220520575756E696F6EFFFFFFFF", "SFR Réuunion"},
    {"01804E2D56FD75354FE1FFFFFFFFFFFFFF", "中国电信"},
    {"00810508D1B0D1B5FFFFFFFFFFFFFFFFFF", "ёаёе"},
    {"0082040420D0D1D2FFFFFFFFFFFFFFFFFF", "ѰѱѲ"},
    {"00FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", ""},
    {"FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", ""},
    {"0080", ""},
    {"0081", ""},
    {"0082FF04", ""},
    {"00", ""},
    {"", ""},
};

TEST(ProviderName, IsReadInEachAlphabetOfTheCard)
{
    for (const FileRow &row : name_rows)
        EXPECT_EQ(parse_provider_name(file_of(row.file)).view(), row.text) << row.file;
}

const FileRow group_rows[] = {
    {"0AFFFFFFFFFF", "0A"}, {"20FF", "20"}, {"BAE0000000000000FFFF", "BAE0000000000000"},
    {"FFFFFFFF", ""},       {"0000", ""},   {"", ""},
    {"6d38", "6D38"},
};

TEST(GroupId, LosesTheFillerAtItsEnd)
{
    for (const FileRow &row : group_rows)
        EXPECT_EQ(parse_group_id(file_of(row.file)).view(), row.text) << row.file;
    EXPECT_EQ(parse_group_id(Bytes(64, 1)).size(), 40U);
}

TEST(MncLength, IsTwoOrThreeOrUnknown)
{
    EXPECT_EQ(parse_mnc_length(file_of("00000002")), 2);
    EXPECT_EQ(parse_mnc_length(file_of("00000003")), 3);
    EXPECT_EQ(parse_mnc_length(file_of("010001F3FF")), 3);
    EXPECT_EQ(parse_mnc_length(file_of("00000000")), 0);
    EXPECT_EQ(parse_mnc_length(file_of("000000FF")), 0);
    EXPECT_EQ(parse_mnc_length(file_of("000000")), 0) << "a card of GSM's first phase";
    EXPECT_EQ(parse_mnc_length({}), 0);
}

TEST(CardNumber, HasTheLowHalfOfAByteFirst)
{
    EXPECT_EQ(parse_card_number(file_of("984303003021436587F9")).view(), "8934300003123456789");
    EXPECT_EQ(parse_card_number(file_of("98101430121181157002")).view(), "89014103211118510720");
    EXPECT_EQ(parse_card_number(file_of("981062200050259429F6")).view(), "8901260200055249926");
    EXPECT_EQ(parse_card_number(file_of("FFFFFFFFFFFFFFFFFFFF")).view(), "");
    EXPECT_EQ(parse_card_number(file_of("9810ABCDEF0011223344")).view(), "");
    EXPECT_EQ(parse_card_number(file_of("9810")).view(), "");
}

struct SizeRow {
    const char *what;
    const char *reply;
    int size;
};
const SizeRow size_rows[] = {
    {"SIM", "+CRSM: 144,0,0000000A2FE204000FF55501020000", 10},
    {"SIM, more to come", "+CRSM: 159,15,\"000000146f1404001aa0aa01020000\"", 20},
    {"USIM", "+CRSM: 144,0,\"621E8202412183026F3EA509800171C00100D301008A01058B036F060580020014\"", 20},
    {"USIM, the size first", "+CRSM: 144,0,\"620680020004FFFF\"", 4},
    {"USIM without a size", "+CRSM: 144,0,\"62178202412183022FE28A01058B03\"", 0},
    {"USIM, cut in the size", "+CRSM: 144,0,\"6206800200\"", 0},
    {"USIM, a length that lies", "+CRSM: 144,0,\"62FF80FF0004\"", 0},
    {"too long to read", "+CRSM: 144,0,00000100", 0},
    {"short", "+CRSM: 144,0,0000", 0},
    {"refused", "+CRSM: 106,130", 0},
};

TEST(FileSize, IsInTheAnswerOfBothKindsOfCards)
{
    for (const SizeRow &row : size_rows)
        EXPECT_EQ(parse_file_size(*parse_card_reply(row.reply)), row.size) << row.what;
    EXPECT_EQ(parse_right_length(*parse_card_reply("+CRSM: 108,5,\"\"")), 5);
    EXPECT_EQ(parse_right_length(*parse_card_reply("+CRSM: 103,0,\"\"")), 0);
}

TEST(CardCommand, IsComposedForEachFile)
{
    EXPECT_EQ(compose_card_command(CardCommand::read_binary, spn_file.id, spn_file.length), "AT+CRSM=176,28486,0,0,17");
    EXPECT_EQ(compose_card_command(CardCommand::read_binary, group_file.id, group_file.length),
              "AT+CRSM=176,28478,0,0,0");
    EXPECT_EQ(compose_card_command(CardCommand::read_binary, administrative_file.id, administrative_file.length),
              "AT+CRSM=176,28589,0,0,4");
    EXPECT_EQ(compose_card_command(CardCommand::get_response, group_file.id, 15), "AT+CRSM=192,28478,0,0,15");
}

// The choice

constexpr char table[] = "#536E617065\twbdata\n"
                         "20404\tlive.vodafone.com\tvodafone\tvodafone\tpap\n"
                         "204043914*\ttruphone.com\n"
                         "23410\tmobile.o2.co.uk\to2web\tpassword\tpap\n"
                         "23410\tpayandgo.o2.co.uk\tpayandgo\tpassword\n"
                         "23410#0AFF\tprepay.tesco-mobile.com\ttescowap\tpassword\n"
                         "23410=giffgaff\tgiffgaff.com\tgg\tp\tchap\tipv4v6\n"
                         "302720\tltemobile.apn\t\t\t\tipv6\n"
                         "302720x84*\tchatrweb.apn\n"
                         "31026\tshort.example\n"
                         "310260\tfast.t-mobile.com\t\t\tnone\tipv6\n"
                         "310260\tFAST.t-mobile.com\n"
                         "8988280*\tiot.1nce.net\n"
                         "89882806*\tlonger.example\n"
                         "=Anywhere\tanywhere.example\n";

struct ChoiceRow {
    const char *what;
    SimCard card;
    std::vector<std::string> expected; ///< "apn/user/password/auth/ip why", without the last one
};
const ChoiceRow choice_rows[] = {
    {"network of two digits",
     {.imsi = "234101234567890", .mnc_length = 2},
     {"mobile.o2.co.uk/o2web/password/PAP/ipv4v6 network 23410",
      "payandgo.o2.co.uk/payandgo/password/PAP or CHAP/ipv4v6 network 23410"}},
    {"provider's name, any case",
     {.imsi = "234101234567890", .spn = "GiffGaff"},
     {"giffgaff.com/gg/p/CHAP/ipv4v6 SPN giffgaff", "mobile.o2.co.uk/o2web/password/PAP/ipv4v6 network 23410",
      "payandgo.o2.co.uk/payandgo/password/PAP or CHAP/ipv4v6 network 23410"}},
    {"a longer name",
     {.imsi = "204041234567890", .spn = "giffgaff2"},
     {"live.vodafone.com/vodafone/vodafone/PAP/ipv4v6 network 20404"}},
    {"group before name",
     {.imsi = "234101234567890", .spn = "giffgaff", .gid1 = "0A"},
     {"prepay.tesco-mobile.com/tescowap/password/PAP or CHAP/ipv4v6 GID1 0AFF",
      "giffgaff.com/gg/p/CHAP/ipv4v6 SPN giffgaff", "mobile.o2.co.uk/o2web/password/PAP/ipv4v6 network 23410",
      "payandgo.o2.co.uk/payandgo/password/PAP or CHAP/ipv4v6 network 23410"}},
    {"another group",
     {.imsi = "204041234567890", .gid1 = "0A12"},
     {"live.vodafone.com/vodafone/vodafone/PAP/ipv4v6 network 20404"}},
    {"group of any network",
     {.imsi = "999991234567890", .gid1 = "536E6170653031"},
     {"wbdata///NONE/ipv4v6 GID1 536E617065"}},
    {"name of any network",
     {.imsi = "999991234567890", .spn = "Anywhere"},
     {"anywhere.example///NONE/ipv4v6 SPN Anywhere"}},
    {"longer ICCID first",
     {.iccid = "8988280612345678901", .imsi = "901405101234567"},
     {"longer.example///NONE/ipv4v6 ICCID 89882806", "iot.1nce.net///NONE/ipv4v6 ICCID 8988280"}},
    {"IMSI before network",
     {.imsi = "204043914567890", .mnc_length = 2},
     {"truphone.com///NONE/ipv4v6 IMSI 204043914", "live.vodafone.com/vodafone/vodafone/PAP/ipv4v6 network 20404"}},
    {"any digit in an IMSI",
     {.imsi = "302720584567890", .mnc_length = 3},
     {"chatrweb.apn///NONE/ipv4v6 IMSI 302720x84", "ltemobile.apn///NONE/ipv6 network 302720"}},
    {"network of three digits, once",
     {.imsi = "310260123456789", .mnc_length = 3},
     {"fast.t-mobile.com///NONE/ipv6 network 310260", "short.example///NONE/ipv4v6 network 31026"}},
    {"network of an unknown length",
     {.imsi = "310260123456789"},
     {"fast.t-mobile.com///NONE/ipv6 network 310260", "short.example///NONE/ipv4v6 network 31026"}},
    {"the card names the shorter one",
     {.imsi = "310260123456789", .mnc_length = 2},
     {"short.example///NONE/ipv4v6 network 31026", "fast.t-mobile.com///NONE/ipv6 network 310260"}},
    {"a country without rows", {.imsi = "001010123456789"}, {}},
    {"no IMSI", {.iccid = "8944", .spn = "giffgaff", .gid1 = "0A"}, {}},
    {"nothing", {}, {}},
};

std::vector<std::string> list_choices(const SimCard &card, const ApnSources &sources)
{
    const ApnChoices choices = pick_apn_choices(card, sources);
    std::vector<std::string> list;
    for (size_t i = 0; i < choices.size; i++) {
        const ApnChoice &choice = choices.items[i];
        list.push_back(std::string{choice.apn.view()} + "/" + choice.username.c_str() + "/" + choice.password.c_str() +
                       "/" + choice.auth.c_str() + "/" + choice.ip.c_str() + " " + choice.why.c_str());
    }
    return list;
}

constexpr char last[] = "///NONE/ipv4v6 the network may choose";

TEST(ApnChoices, AreInTheOrderInWhichTheyAreTried)
{
    for (const ChoiceRow &row : choice_rows) {
        std::vector<std::string> expected = row.expected;
        expected.emplace_back(last);
        EXPECT_EQ(list_choices(row.card, {.database = table}), expected) << row.what;
    }
}

TEST(ApnChoices, BeginWithTheUsersAndThenWithWhatWorked)
{
    const SimCard card{.iccid = "8944110000000000001", .imsi = "234101234567890", .spn = "giffgaff"};
    ApnLogin user;
    user.apn = "own.example";
    const std::string worked =
        "8944110000000000002\tother.example\n8944110000000000001\tworked.example\tme\tpw\tpap\tipv4\n";
    EXPECT_EQ(
        list_choices(card, {.user = &user, .worked = worked, .database = table}),
        (std::vector<std::string>{"own.example//// set by the user", "worked.example/me/pw/PAP/ipv4 worked before",
                                  "giffgaff.com/gg/p/CHAP/ipv4v6 SPN giffgaff",
                                  "mobile.o2.co.uk/o2web/password/PAP/ipv4v6 network 23410",
                                  "payandgo.o2.co.uk/payandgo/password/PAP or CHAP/ipv4v6 network 23410", last}));
    const ApnLogin empty;
    EXPECT_EQ(list_choices({.imsi = "302720114567890"}, {.user = &empty, .database = table}),
              (std::vector<std::string>{"//// set by the user", "ltemobile.apn///NONE/ipv6 network 302720"}))
        << "an empty APN is a choice, too";
}

TEST(ApnChoices, EndWithTheEmptyOneHoweverManyThereAre)
{
    std::string many;
    for (int i = 0; i < 50; i++)
        many += "23410\tapn" + std::to_string(i) + "\n";
    const auto list = list_choices({.imsi = "234101234567890"}, {.database = many});
    ASSERT_EQ(list.size(), 8U);
    EXPECT_EQ(list[6], "apn6///NONE/ipv4v6 network 23410");
    EXPECT_EQ(list[7], last);
}

TEST(ApnChoices, SurviveTablesOfAnyKind)
{
    const SimCard card{.iccid = "8944110000000000001", .imsi = "234101234567890", .spn = "x", .gid1 = "0A"};
    for (const std::string &text :
         {std::string{"\n\n\n"}, std::string{"23410"}, std::string{"23410\t"}, std::string{"\t\t\t\t"},
          std::string{"23410=\tx\n23410#\tx\n*\tx\n"}, std::string(100'000, '2'), std::string(100'000, '\n'),
          std::string("234\0\xff\t\0\n", 9), std::string{"234"} + std::string(500, '1') + "*\tx\n"}) {
        for (size_t end = 0; end <= text.size(); end += text.size() < 100 ? 1 : text.size())
            EXPECT_GE(list_choices(card, {.worked = text, .database = text}).size(), 1U);
    }
}

TEST(RowsOf, FindsTheRowsOfAStartAmongMany)
{
    std::string sorted;
    for (int i = 200; i < 800; i++)
        for (int j = 0; j < i % 4; j++)
            sorted += std::to_string(i) + "0" + std::to_string(j) + "\tx" +
                      std::string(static_cast<size_t>(i % 7), 'y') + "\n";
    for (int i = 190; i < 810; i++) {
        const std::string start = std::to_string(i);
        size_t first = sorted.find("\n" + start);
        first = sorted.starts_with(start) ? 0 : first == std::string::npos ? 0 : first + 1;
        size_t expected = 0;
        for (size_t at = first; at < sorted.size() && sorted.compare(at, 3, start) == 0; at = sorted.find('\n', at) + 1)
            expected++;
        const std::string found{rows_of(sorted, start)};
        EXPECT_EQ(static_cast<size_t>(std::count(found.begin(), found.end(), '\n')), expected) << start;
        EXPECT_EQ(expected == 0 || found.starts_with(start), true) << start;
    }
    EXPECT_EQ(rows_of("234\ta", "234"), "234\ta") << "without a line end";
    EXPECT_EQ(rows_of("", "234"), "");
    EXPECT_EQ(rows_of("234\ta\n", ""), "");
}

TEST(WhatWorked, IsKeptPerCardTheNewestFirst)
{
    ApnLogin login;
    login.apn = "one.example";
    auto kept = add_worked("", "8944110000000000001", login);
    EXPECT_EQ(kept.view(), "8944110000000000001\tone.example\t\t\t\t\n");
    login.apn = "two.example";
    login.username = "me";
    login.auth = "PAP or CHAP";
    login.ip = "ipv4";
    kept = add_worked(kept.view(), "8944110000000000002", login);
    EXPECT_EQ(kept.view(),
              "8944110000000000002\ttwo.example\tme\t\tboth\tipv4\n8944110000000000001\tone.example\t\t\t\t\n");
    kept = add_worked(kept.view(), "8944110000000000001", login);
    EXPECT_EQ(
        kept.view(),
        "8944110000000000001\ttwo.example\tme\t\tboth\tipv4\n8944110000000000002\ttwo.example\tme\t\tboth\tipv4\n");
    for (int i = 0; i < 200; i++)
        kept = add_worked(kept.view(), "8944110000000" + std::to_string(100'000 + i), login);
    EXPECT_TRUE(kept.view().ends_with('\n'));
    EXPECT_LT(kept.size(), 2048U);
    EXPECT_TRUE(kept.view().starts_with("8944110000000100199\t"));
    login.apn = "a\tb";
    EXPECT_TRUE(add_worked("", "8944110000000000001", login).empty());
    login.apn = "a";
    EXPECT_TRUE(add_worked("", "", login).empty());
    EXPECT_EQ(add_worked("rubbish\n\n\t\n8", "89", login).view(), "89\ta\tme\t\tboth\tipv4\n8\n");
}

} // namespace apn_choices_test
