#include "platform/json.h"

#include <gtest/gtest.h>
#include <string>

namespace json_test {

using namespace std::string_view_literals;

Json parsed(const char *text)
{
    return Json{json_tokener_parse(text)};
}

std::string_view text_of(const Json &json)
{
    return {json_object_get_string(json.get()), static_cast<size_t>(json_object_get_string_len(json.get()))};
}

std::string plain(const Json &json)
{
    return json_object_to_json_string_ext(json.get(), JSON_C_TO_STRING_PLAIN);
}

const char members[] = R"({"text": "abc", "empty": "", "number": -7, "real": 2.5, "yes": true, "no": false,
    "nothing": null, "array": [1], "object": {"a": 1}})";

TEST(JsonText, ReplacesEveryByteThatIsPartOfNoValidSequence)
{
    const struct {
        const char *what;
        std::string_view given;
        std::string_view text;
    } rows[] = {
        {"nothing", "", ""},
        {"a null view", {}, ""},
        {"ASCII", "plain \x7F\x01", "plain \x7F\x01"},
        {"a zero byte", "a\0b"sv, "a\0b"sv},
        {"two bytes, lowest and highest", "\xC2\x80\xDF\xBF", "\xC2\x80\xDF\xBF"},
        {"three bytes, lowest and highest", "\xE0\xA0\x80\xEF\xBF\xBF", "\xE0\xA0\x80\xEF\xBF\xBF"},
        {"four bytes, lowest and highest", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {"around the surrogates", "\xED\x9F\xBF\xEE\x80\x80", "\xED\x9F\xBF\xEE\x80\x80"},
        {"a lone continuation", "a\x80z", "a\uFFFDz"},
        {"Latin-1", "Telef\xF3nica", "Telef\uFFFDnica"},
        {"no lead bytes", "\xC0\xC1\xF5\xFF", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"overlong in two", "\xC0\x80\xC1\xBF", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"overlong in three", "\xE0\x9F\xBF", "\uFFFD\uFFFD\uFFFD"},
        {"overlong in four", "\xF0\x8F\xBF\xBF", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"first and last surrogate", "\xED\xA0\x80\xED\xBF\xBF", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"far above U+10FFFF", "\xF5\x80\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"above U+10FFFF", "\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"cut at the end, two", "a\xC3", "a\uFFFD"},
        {"cut at the end, three", "a\xE2\x82", "a\uFFFD\uFFFD"},
        {"cut at the end, four", "\xF0\x9F\x98", "\uFFFD\uFFFD\uFFFD"},
        {"cut by the next text", "\xE2\x82z\xF0\x9Fz", "\uFFFD\uFFFDz\uFFFD\uFFFDz"},
        {"cut by a good sequence", "\xE2\xC3\xA9", "\uFFFD\u00E9"},
        {"one byte too many", "\xC3\xA9\xA9", "\u00E9\uFFFD"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(text_of(json_text(row.given)), row.text) << row.what;
}

TEST(JsonText, ReadsNothingBehindTheEndOfAView)
{
    EXPECT_EQ(text_of(json_text(std::string_view{"\xC3\xA9", 1})), "\uFFFD");
}

TEST(JsonText, ReplacesLongTexts)
{
    std::string replaced;
    for (int i = 0; i < 100000; i++)
        replaced += "\uFFFD";
    EXPECT_EQ(text_of(json_text(std::string(100000, '\xFF'))), replaced);
}

TEST(JsonText, MakesOneCharacterOrBadBytesOfEverySequenceOfTwo)
{
    for (int first = 0x80; first < 0x100; first++)
        for (int second = 0; second < 0x100; second++) {
            const char bytes[] = {static_cast<char>(first), static_cast<char>(second)};
            const bool good = first >= 0xC2 && first <= 0xDF && second >= 0x80 && second <= 0xBF;
            const size_t length = good ? 2 : second < 0x80 ? 4 : 6;
            EXPECT_EQ(text_of(json_text({bytes, 2})).size(), length) << first << ' ' << second;
        }
}

TEST(JsonShare, KeepsAValueBeyondItsFirstOwner)
{
    Json object = parsed(R"({"a": [1]})");
    const Json array = json_share(kjson_get_object(object.get(), "a"));
    object.reset();
    EXPECT_EQ(plain(array), "[1]");
    EXPECT_EQ(json_share(nullptr), nullptr);
}

TEST(JsonPretty, IsJsonCsPrettyText)
{
    const Json object = parsed(R"({"a":"x/y","b":[1,"z"]})");
    EXPECT_STREQ(json_pretty(object.get()), "{\n  \"a\":\"x\\/y\",\n  \"b\":[\n    1,\n    \"z\"\n  ]\n}");
    EXPECT_STREQ(json_pretty(nullptr), "null");
}

TEST(JsonMember, IsContainedWhateverItsValue)
{
    const Json object = parsed(members);
    for (const char *key : {"text", "empty", "number", "real", "yes", "no", "nothing", "array", "object"})
        EXPECT_EQ(kjson_contain_key(object.get(), key), 1) << key;
    EXPECT_EQ(kjson_contain_key(object.get(), "absent"), 0);
    EXPECT_EQ(kjson_contain_key(object.get(), ""), 0);
}

TEST(JsonMember, ReadsAsText)
{
    const Json object = parsed(members);
    const struct {
        const char *key;
        const char *text;
    } rows[] = {
        {"text", "abc"}, {"empty", ""},        {"number", "-7"},   {"real", "2.5"},     {"yes", "true"},
        {"no", "false"}, {"nothing", nullptr}, {"array", nullptr}, {"object", nullptr}, {"absent", nullptr},
    };
    for (const auto &row : rows)
        EXPECT_STREQ(kjson_get_string(object.get(), row.key), row.text) << row.key;
}

TEST(JsonMember, ReadsAsInteger)
{
    const struct {
        const char *object;
        int32_t number;
    } rows[] = {
        {R"({"n": 25})", 25},
        {R"({"n": 2147483648})", INT32_MAX},
        {R"({"n": 18446744073709551615})", INT32_MAX},
        {R"({"n": -2147483649})", INT32_MIN},
        {R"({"n": 2.9})", 2},
        {R"({"n": -2.9})", -2},
        {R"({"n": 1e300})", INT32_MAX},
        {R"({"n": -1e300})", INT32_MIN},
        {R"({"n": true})", 1},
        {R"({"n": false})", 0},
        {R"({"n": null})", 0},
        {R"({"n": [7]})", 0},
        {R"({"n": {"n": 7}})", 0},
        {R"({"n": "255"})", 255},
        {R"({"n": " \t-60 dBm"})", -60},
        {R"({"n": "+7"})", 7},
        {R"({"n": "010"})", 10},
        {R"({"n": "0x10"})", 0},
        {R"({"n": "--60"})", 0},
        {R"({"n": "-"})", 0},
        {R"({"n": "- 60"})", 0},
        {R"({"n": "abc"})", 0},
        {R"({"n": ""})", 0},
        {R"({"n": "2147483648"})", INT32_MAX},
        {R"({"n": "-99999999999999999999999"})", INT32_MIN},
        {R"({"n": "7\u00007"})", 7},
        {R"({})", -1},
        {R"([7])", -1},
        {R"("n")", -1},
    };
    for (const auto &row : rows)
        EXPECT_EQ(kjson_get_int(parsed(row.object).get(), "n"), row.number) << row.object;
}

TEST(JsonMember, ReadsAsBoolean)
{
    const struct {
        const char *object;
        bool truth;
    } rows[] = {
        {R"({"b": true})", true}, {R"({"b": false})", false}, {R"({"b": 1})", true},    {R"({"b": 0})", false},
        {R"({"b": -1})", true},   {R"({"b": 0.5})", true},    {R"({"b": 0.0})", false}, {R"({"b": "false"})", true},
        {R"({"b": ""})", false},  {R"({"b": null})", false},  {R"({"b": [1]})", false}, {R"({"b": {"b": 1}})", false},
        {R"({})", false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(kjson_get_boolean(parsed(row.object).get(), "b"), row.truth) << row.object;
}

TEST(JsonMember, IsBorrowedFromItsObject)
{
    const Json object = parsed(members);
    EXPECT_STREQ(json_object_get_string(kjson_get_object(object.get(), "object")), R"({ "a": 1 })");
    EXPECT_EQ(kjson_get_object(object.get(), "nothing"), nullptr);
    EXPECT_EQ(kjson_get_object(object.get(), "absent"), nullptr);
}

TEST(JsonMember, IsAddedWithItsType)
{
    const Json object = parsed("{}");
    EXPECT_EQ(kjson_add_string(object.get(), "text", "M\xFCnchen"), 0);
    EXPECT_EQ(kjson_add_int(object.get(), "int", INT32_MIN), 0);
    EXPECT_EQ(kjson_add_double(object.get(), "double", 2.5), 0);
    EXPECT_EQ(kjson_add_boolean(object.get(), "boolean", true), 0);
    EXPECT_EQ(kjson_add_object(object.get(), "object", parsed(R"({"a":[]})")), 0);
    EXPECT_EQ(plain(object), "{\"text\":\"M\uFFFDnchen\",\"int\":-2147483648,\"double\":2.5,\"boolean\":true,"
                             "\"object\":{\"a\":[]}}");
}

TEST(JsonMember, ReplacesOneOfTheSameName)
{
    const Json object = parsed(R"({"a": [1], "b": 2})");
    EXPECT_EQ(kjson_add_string(object.get(), "a", "new"), 0);
    EXPECT_EQ(plain(object), R"({"a":"new","b":2})");
}

TEST(JsonMember, IsDeletedOrWasNotThere)
{
    const Json object = parsed(R"({"a": 1, "b": 2})");
    kjson_del_key(object.get(), "a");
    kjson_del_key(object.get(), "a");
    kjson_del_key(object.get(), "c");
    EXPECT_EQ(plain(object), R"({"b":2})");
}

TEST(JsonArray, GrowsAtItsEnd)
{
    const Json array = parsed("[1]");
    EXPECT_EQ(kjson_array_add_string(array.get(), "\xFFz"), 0);
    EXPECT_EQ(kjson_array_add(array.get(), parsed("{}")), 0);
    EXPECT_EQ(kjson_array_add(array.get(), nullptr), -1);
    EXPECT_EQ(plain(array), "[1,\"\uFFFDz\",{}]");
}

TEST(JsonContainer, OfTheWrongTypeHasNoMembersAndTakesNone)
{
    for (const char *text : {"null", "[1]", "\"a\"", "7", "true"}) {
        const Json object = parsed(text);
        EXPECT_EQ(kjson_contain_key(object.get(), "a"), 0) << text;
        EXPECT_EQ(kjson_get_string(object.get(), "a"), nullptr) << text;
        EXPECT_EQ(kjson_get_int(object.get(), "a"), -1) << text;
        EXPECT_FALSE(kjson_get_boolean(object.get(), "a")) << text;
        EXPECT_EQ(kjson_get_object(object.get(), "a"), nullptr) << text;
        EXPECT_EQ(kjson_add_string(object.get(), "a", "b"), -1) << text;
        EXPECT_EQ(kjson_add_int(object.get(), "a", 1), -1) << text;
        EXPECT_EQ(kjson_add_double(object.get(), "a", 1), -1) << text;
        EXPECT_EQ(kjson_add_boolean(object.get(), "a", true), -1) << text;
        EXPECT_EQ(kjson_add_object(object.get(), "a", parsed("[]")), -1) << text;
        kjson_del_key(object.get(), "a");
        EXPECT_EQ(plain(object), text);
    }
    const Json object = parsed("{}");
    EXPECT_EQ(kjson_array_add_string(object.get(), "a"), -1);
    EXPECT_EQ(kjson_array_add(nullptr, parsed("1")), -1);
    EXPECT_EQ(kjson_add_object(object.get(), "a", nullptr), -1);
    EXPECT_EQ(plain(object), "{}");
}

} // namespace json_test
