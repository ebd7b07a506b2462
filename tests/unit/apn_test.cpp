#include "apn/candidates.h"
#include "apn/database.h"
#include "apn/entries.h"
#include "apn/fixed_apn.h"

#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/unit/temporary_directory.h"

namespace apn_test {

struct FixedRow {
    const char *imsi;
    const char *apn;
};
const FixedRow fixed_rows[] = {
    {"901460000000001", "globalnet"},   {"228620000000001", "globalnet"},   {"222013068600001", "globalnet"},
    {"222013090000001", "globalnet"},   {"204043896210001", "globalnet"},   {"204046999000001", "globalnet"},
    {"234030208200001", "globalnet"},   {"234553300000001", "globalnet"},   {"400029999100001", "globalnet"},
    {"424020075900001", "globalnet"},   {"515030202900001", "globalnet"},   {"730013010000001", "globalnet"},
    {"311480000000001", "vzwinternet"}, {"311270000000001", "vzwinternet"},
};

TEST(FixedApn, IsGivenByTheStartOfTheImsi)
{
    for (const auto &row : fixed_rows)
        EXPECT_STREQ(pick_fixed_apn(row.imsi), row.apn) << row.imsi;
}

TEST(FixedApn, NeedsTheWholePrefix)
{
    for (const char *imsi : {"262011234567890", "9014", "", "311481000000001", "204043896220001", "222013068500001"})
        EXPECT_EQ(pick_fixed_apn(imsi), nullptr) << imsi;
}

int tell_swiss_imsi(const ModemDriver &, TextOut out)
{
    out.assign("901461234567890");
    return 0;
}

int tell_no_imsi(const ModemDriver &, TextOut)
{
    return -1;
}

ModemDriver modem_with(int (*get_imsi)(const ModemDriver &, TextOut))
{
    ModemDriver rec{};
    rec.ops.get_imsi = get_imsi;
    return rec;
}

TEST(FixedApn, BecomesACandidateAsTheDatabaseHasThem)
{
    const Json candidates{json_object_new_array()};
    EXPECT_EQ(find_fixed_apn(modem_with(tell_swiss_imsi), candidates.get(), nullptr), 0);
    EXPECT_STREQ(json_object_to_json_string(candidates.get()),
                 R"([ { "-mcc": "901", "-mnc": "461", "-apn": "globalnet" } ])");
}

TEST(FixedApn, BecomesANameWhereNamesAreWanted)
{
    const Json names{json_object_new_array()};
    EXPECT_EQ(find_fixed_apn(modem_with(tell_swiss_imsi), nullptr, names.get()), 0);
    EXPECT_STREQ(json_object_to_json_string(names.get()), R"([ "globalnet" ])");
}

TEST(FixedApn, IsNotFoundWithoutAnImsi)
{
    const Json names{json_object_new_array()};
    EXPECT_EQ(find_fixed_apn(modem_with(tell_no_imsi), names.get(), names.get()), -1);
    EXPECT_EQ(find_fixed_apn(modem_with(nullptr), names.get(), names.get()), -1);
    EXPECT_EQ(json_object_array_length(names.get()), 0u);
}

class ApnDatabase : public testing::Test {
  protected:
    int parse(const std::string &content)
    {
        const auto file = directory.path() / "apn-config.js";
        std::ofstream{file, std::ios::binary} << content;
        return read_apn_database(file.c_str(), text);
    }

    TemporaryDirectory directory;
    HeapText text{strdup("before")};
};

const std::string prefix = "var apn_config_default =";

TEST_F(ApnDatabase, IsTheJsonBehindTwentyFourBytes)
{
    EXPECT_EQ(parse(prefix + R"({"apns":{"apn":[]}})"), 0);
    EXPECT_STREQ(text.get(), R"({"apns":{"apn":[]}})");
}

TEST_F(ApnDatabase, MayHaveAnythingInItsFirstBytes)
{
    EXPECT_EQ(parse(std::string(24, '\0') + "[]"), 0);
    EXPECT_STREQ(text.get(), "[]");
}

TEST_F(ApnDatabase, OfTwentyFourBytesOrFewerFails)
{
    EXPECT_EQ(parse(prefix), -1);
    EXPECT_EQ(parse(prefix.substr(1)), -1);
    EXPECT_EQ(parse(""), -1);
    EXPECT_STREQ(text.get(), "before");
}

TEST_F(ApnDatabase, ThatIsNoJsonLoadsToo)
{
    for (const char *content : {"{", "nonsense", "\xff\xfe", " "}) {
        EXPECT_EQ(parse(prefix + content), 0) << content;
        EXPECT_STREQ(text.get(), content);
    }
}

TEST_F(ApnDatabase, OfMoreThanSixteenMebibytesFails)
{
    EXPECT_EQ(parse(prefix + std::string((16U << 20) - 24, ' ')), 0);
    EXPECT_EQ(parse(prefix + std::string((16U << 20) - 23, ' ')), -1);
}

TEST_F(ApnDatabase, ThatIsMissingOrAFolderFails)
{
    EXPECT_EQ(read_apn_database("/nowhere/apn-config.js", text), -1);
    EXPECT_EQ(read_apn_database(directory.path().c_str(), text), -1);
}

TEST_F(ApnDatabase, WithoutANameAbortsAndSaysSo)
{
    EXPECT_DEATH(read_apn_database(nullptr, text), "modem_core.*parse_apn_database.*filename");
}

const char three_networks[] = R"({"apns":{"apn":[
    {"-mcc":"234","-mnc":"15","-apn":"wap.example"},
    {"-mcc":"310","-mnc":"410","-apn":"first"},
    {"-mcc":"310","-mnc":"41","-apn":"shorter"},
    {"-mcc":"310","-mnc":"410","-apn":"second"},
    {"-mcc":310,"-mnc":410,"-apn":"numbers"},
    {"-mnc":"410"}, {"-mcc":"310"}, null, [], "text"]}})";

std::string picked(const char *database, const char *mcc, const char *mnc)
{
    const Json candidates{json_object_new_array()};
    const int count = pick_apn_entries(database, mcc, mnc, candidates.get());
    std::string names = count < 0 ? "failed" : "";
    for (size_t i = 0; i < json_object_array_length(candidates.get()); i++)
        names += std::string{kjson_get_string(json_object_array_get_idx(candidates.get(), i), "-apn")} + " ";
    return names;
}

TEST(ApnEntries, OfTheThreeDigitNetworkComeInTheOrderOfTheFile)
{
    EXPECT_EQ(picked(three_networks, "310", "410"), "first second numbers ");
}

TEST(ApnEntries, OfTheTwoDigitNetworkComeWhereTheThreeDigitOneHasNone)
{
    EXPECT_EQ(picked(three_networks, "310", "412"), "shorter ");
    EXPECT_EQ(picked(three_networks, "234", "159"), "wap.example ");
}

TEST(ApnEntries, AreNoneWhereNothingFits)
{
    EXPECT_EQ(picked(three_networks, "262", "011"), "");
    EXPECT_EQ(picked(R"({"apns":{"apn":[]}})", "310", "410"), "");
    EXPECT_EQ(picked(R"({"apns":{"apn":[{}, [[]], 3, "-mcc", true]}})", "310", "410"), "");
}

// Entries of other countries are passed over unread if they are plain. What they may be is what json-c takes.
TEST(ApnEntries, AreTheSameWhateverTheOthersLookLike)
{
    const struct {
        const char *other;
        const char *picked;
    } rows[] = {
        {R"({"-mcc":"262","-mnc":"01","-apn":"x"})", "ours "},
        {R"( { "-mcc" : "262" , "-apn" : "x" } )", "ours "},
        {R"({"carrier":"\u0041","-mcc":"262"})", "ours "},
        {R"({"carrier":"a \"b\" c","-mcc":"262"})", "ours "},
        {R"({"-mcc":"262",})", "ours "},
        {R"({"-mcc":"262"/* why */,"-apn":"x"})", "ours "},
        {R"({"-mcc":262,"-mnc":null,"-apn":["x",{"y":true}]})", "ours "},
        {R"({"-mcc":"262","-apn":"-mcc\":\"310"})", "ours "},
        {R"({"-mcc":"262","-mcc":"310","-mnc":"410","-apn":"last"})", "last ours "},
        {R"({"-mcc":"310","-mcc":"262","-mnc":"410","-apn":"first"})", "ours "},
        {R"({"\u002dmcc":"310","-mnc":"410","-apn":"escaped"})", "escaped ours "},
        {R"({"-mcc":"262","-apn":})", "failed"},
        {R"({"-mcc":"262" "-apn":"x"})", "failed"},
        {R"({"-mcc":"262")", "failed"},
        {R"({"-mcc":"262)", "failed"},
        {R"({"-mcc")", "failed"},
        {R"({,})", "failed"},
    };
    for (const auto &row : rows) {
        const std::string database =
            R"({"apns":{"apn":[)" + std::string{row.other} + R"(,{"-mcc":"310","-mnc":"410","-apn":"ours"}]}})";
        EXPECT_EQ(picked(database.c_str(), "310", "410"), row.picked) << row.other;
    }
    EXPECT_EQ(
        picked("{\"apns\":{\"apn\":[{\"-mcc\":\"2\n62\"},{\"-mcc\":\"310\",\"-mnc\":\"410\",\"-apn\":\"ours\"}]}}",
               "310", "410"),
        "ours ");
}

TEST(ApnEntries, FailWhereTheTextIsNoJsonOrHasNoList)
{
    const std::string good = R"({"apns":{"apn":[{"-mcc":"310","-mnc":"410","-apn":"a"}]}})";
    for (const char *database : {"",
                                 "{}",
                                 "[]",
                                 "null",
                                 "7",
                                 "{\"apns\":[]}",
                                 "{\"apns\":{\"apn\":{}}}",
                                 "{\"apns\":{\"apn\":3}}",
                                 "{\"apn\":[]}",
                                 "{\"apns\":{}}",
                                 "{\"apns\":{\"apn\":[]},\"apns\":{}}",
                                 "\v{\"apns\":{\"apn\":[]}}",
                                 "{\"apns\":null}",
                                 "nonsense",
                                 "\xff\xfe",
                                 "{\"apns\":{\"apn\":[{]}}",
                                 "{\"apns\":{\"apn\":[{} {}]}}",
                                 "{\"apns\" {\"apn\":[]}}",
                                 "{apns:{\"apn\":[]}}",
                                 "{7:1,\"apns\":{\"apn\":[]}}"})
        EXPECT_EQ(picked(database, "310", "410"), "failed") << database;
    for (const char *database :
         {"{/*", "{\"apns\":// {\"apn\":[]}", "{\"apns\":/ {\"apn\":[]}}", "{\"apns\":/*/{\"apn\":[]}}"})
        EXPECT_EQ(picked(database, "310", "410"), "failed") << database;
    for (size_t length = 0; length < good.size(); length++)
        EXPECT_EQ(picked(good.substr(0, length).c_str(), "310", "410"), "failed") << "cut after " << length;
    EXPECT_EQ(picked(good.c_str(), "310", "410"), "a ");
}

TEST(ApnEntries, AreReadAsJsonCReadsThem)
{
    const struct {
        const char *what;
        const char *database;
    } rows[] = {
        {"what follows is the script's", R"({"apns":{"apn":[{"-mcc":"310","-mnc":"410","-apn":"a"}]}};)"},
        {"white space", "\r\n{ \"apns\" :\t{ \"apn\" : [ {\"-mcc\":\"310\",\"-mnc\":\"410\",\"-apn\":\"a\"} ] } }\n"},
        {"comments", "/* a */{// b\n\"apns\"/* c */:/**/{\"apn\" : /* { */[ // [\n"
                     "{\"-mcc\":\"310\",\"-mnc\":\"410\",\"-apn\":\"a\"}/*/*/]/* d */}}"},
        {"commas at ends", R"({"apns":{"apn":[{"-mcc":"310","-mnc":"410","-apn":"a"},],},})"},
        {"other members",
         R"({"a":[1,{"apn":2}],"apns":{"version":"1","apn":[{"-mcc":"310","-mnc":"410","-apn":"a"}],"x":null},"z":{}})"},
        {"a second list",
         R"({"apns":{"apn":[{"-mcc":"310","-mnc":"410","-apn":"b"}],"apn":[{"-mcc":"310","-mnc":"410","-apn":"a"}]}})"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(picked(row.database, "310", "410"), "a ") << row.what;
}

TEST(ApnEntry, IsForTheInternetByItsType)
{
    struct TypeRow {
        const char *entry;
        bool expected;
    };
    const TypeRow rows[] = {
        {R"({"-apn":"a"})", true},           {R"({"-type":"default,supl"})", true},
        {R"({"-type":"mms,hipri"})", true},  {R"({"-type":"mms"})", false},
        {R"({"-type":""})", false},          {R"({"-type":null})", false},
        {R"({"-type":["default"]})", false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(is_internet_apn(Json{json_tokener_parse(row.entry)}.get()), row.expected) << row.entry;
}

} // namespace apn_test
