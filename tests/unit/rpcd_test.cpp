#include "core/cli/rpcd_call.h"
#include "core/cli/rpcd_command.h"
#include "core/cli/rpcd_methods.h"

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "tests/unit/documents.h"
#include "watch/options.h"

// The methods of the ubus object as one table, and how their arguments are checked.

namespace rpcd_test {

const RpcdMethod *find_method(const std::string &name)
{
    for (const RpcdMethod &method : rpcd_methods())
        if (name == method.name)
            return &method;
    return nullptr;
}

// "ok", or the word of the error.
std::string check(const std::string &method, const std::string &input)
{
    const Json answer{json_object_new_object()};
    const Json given = parse_rpcd_input(input, answer.get());
    if (given != nullptr && check_rpcd_arguments(*find_method(method), given.get(), answer.get()))
        return "ok";
    EXPECT_NE(kjson_get_string(answer.get(), "message"), nullptr);
    return kjson_get_string(answer.get(), "error");
}

std::string names_of(const RpcdMethod &method)
{
    std::string names;
    for (const RpcdArgument argument : method.takes)
        if (argument != RpcdArgument::none)
            names +=
                (names.empty() ? "`" : ", `") + std::string{rpcd_arguments()[static_cast<size_t>(argument)].name} + "`";
    return names;
}

std::map<std::string, std::set<std::string>> groups_of_methods()
{
    std::ifstream in{SOURCE_ROOT "/packaging/openwrt/files/usr/share/rpcd/acl.d/modemctl.json"};
    const std::string text{std::istreambuf_iterator<char>{in}, {}};
    const Json rights{json_tokener_parse(text.c_str())};
    std::map<std::string, std::set<std::string>> groups;
    json_object_object_foreach(rights.get(), group, by_kind)
    {
        const std::string name = std::string{group} == "luci-app-modemctl" ? "read" : std::string{group}.substr(18);
        for (const char *kind : {"read", "write"}) {
            json_object *methods =
                kjson_get_object(kjson_get_object(kjson_get_object(by_kind, kind), "ubus"), "modemctl");
            for (size_t i = 0; methods != nullptr && i < json_object_array_length(methods); i++)
                groups[json_object_get_string(json_object_array_get_idx(methods, i))].insert(name);
        }
    }
    return groups;
}

TEST(RpcdMethods, AreThoseOfTheDocument)
{
    auto groups = groups_of_methods();
    std::set<std::string> documented;
    for (const Row &row : rows_under("ubus.md", "method")) {
        const std::string name = found_in(row.at("method"), "`([^`]+)`").at(0);
        const RpcdMethod *method = find_method(name);
        ASSERT_NE(method, nullptr) << name;
        documented.insert(name);
        EXPECT_EQ(row.at("arguments"), names_of(*method)) << name;
        EXPECT_EQ(row.at("answers"),
                  method->answer != nullptr ? "at once" : "job, " + std::to_string(method->limit_s) + " s")
            << name;
        const Lines named = found_in(row.at("group"), "([a-z]+)");
        EXPECT_EQ(std::set<std::string>(named.begin(), named.end()), groups[name]) << name;
    }
    EXPECT_EQ(documented.size(), rpcd_methods().size());
    EXPECT_EQ(groups.size(), rpcd_methods().size()) << "the ACL file names a method that there is not";
}

TEST(RpcdMethods, AreEitherQuickOrAJobWithALimit)
{
    for (const RpcdMethod &method : rpcd_methods()) {
        const bool is_quick = method.answer != nullptr;
        EXPECT_EQ(is_quick, method.work == nullptr && method.words == nullptr) << method.name;
        EXPECT_EQ(is_quick, method.limit_s == 0) << method.name;
        EXPECT_TRUE(is_quick || (method.work == nullptr) != (method.words == nullptr)) << method.name;
        EXPECT_FALSE(method.is_control && is_quick) << method.name;
        const std::string words = method.words == nullptr ? "" : method.words;
        EXPECT_LT(words.size(), 32U) << "there is room for so many";
        EXPECT_LE(std::count(words.begin(), words.end(), ' '), 3) << method.name;
    }
}

// What changes something is granted only under "write".
TEST(RpcdMethods, ThatChangeAModemAreInNoGroupOfReaders)
{
    auto groups = groups_of_methods();
    for (const RpcdMethod &method : rpcd_methods())
        EXPECT_FALSE(method.is_control && groups[method.name].contains("read")) << method.name;
    for (const char *changing : {"set", "pause", "resume", "message_send", "message_delete", "message_read", "at"})
        EXPECT_FALSE(groups[changing].contains("read")) << changing;
    for (const char *secret : {"identity", "at", "record", "restart"})
        EXPECT_EQ(groups[secret], std::set<std::string>{"admin"}) << secret;
}

TEST(RpcdMethods, HaveErrorsThatTheDocumentExplains)
{
    std::set<std::string> documented;
    for (const Row &row : rows_under("ubus.md", "word"))
        documented.insert(found_in(row.at("word"), "`([^`]+)`").at(0));
    std::set<std::string> used;
    for (const char *file : {"call", "jobs", "messages", "methods", "settings", "command"}) {
        std::ifstream in{SOURCE_ROOT "/core/cli/rpcd_" + std::string{file} + ".cpp"};
        const std::string source{std::istreambuf_iterator<char>{in}, {}};
        for (const std::string &word : found_in(source, R"rx(rpcd_fail\([^,]+, "([a-z-]+)")rx"))
            used.insert(word);
    }
    used.insert("bad-argument");
    EXPECT_EQ(documented, used);
}

TEST(RpcdList, ShowsTheTypeOfEachArgument)
{
    const Json list = list_rpcd_methods();
    EXPECT_EQ(json_object_object_length(list.get()), static_cast<int>(rpcd_methods().size()));
    EXPECT_STREQ(json_object_to_json_string_ext(kjson_get_object(list.get(), "bands_set"), JSON_C_TO_STRING_PLAIN),
                 R"({"bus":"","bands":[],"keep":false})");
    EXPECT_STREQ(json_object_to_json_string_ext(kjson_get_object(list.get(), "set"), JSON_C_TO_STRING_PLAIN),
                 R"({"bus":"","values":{}})");
    EXPECT_STREQ(json_object_to_json_string_ext(kjson_get_object(list.get(), "history"), JSON_C_TO_STRING_PLAIN),
                 R"({"bus":"","since":32})");
}

TEST(RpcdPlugin, IsKnownByThePathThatRpcdStarts)
{
    EXPECT_TRUE(is_rpcd_plugin("/usr/libexec/rpcd/modemctl"));
    for (const char *program : {"/usr/bin/modemctl", "modemctl", "./modemctl", "/opt/rpcd/modemctl-old", ""})
        EXPECT_FALSE(is_rpcd_plugin(program)) << program;
}

struct CheckRow {
    const char *method;
    std::string input;
    const char *expected;
};

const CheckRow good_rows[] = {
    {"status", "", "ok"},
    {"status", "{}", "ok"},
    {"status", " \t{ } \r\n", "ok"},
    {"status", R"({"bus":"1-1.2"})", "ok"},
    {"status", R"({"bus":"2-1"})", "ok"},
    {"status", R"({"bus":"1-1.2.3.4"})", "ok"},
    {"status", R"({"bus":null})", "ok"},
    {"status", R"({"ubus_rpc_session":"00112233445566778899aabbccddeeff"})", "ok"},
    {"status", R"({"bus":"1-1.2","ubus_rpc_session":{"nested":[1,{}]}})", "ok"},
    {"history", R"({"since":1})", "ok"},
    {"history", R"({"since":10080})", "ok"},
    {"pause", R"({"minutes":30})", "ok"},
    {"message_send", R"({"number":"+436601234567","text":"It's \"$(id)\" `x` €\n2"})", "ok"},
    {"message_send", R"({"number":"110","text":"x"})", "ok"},
    {"message_delete", R"({"id":"in/GMS99.Ab12Cd"})", "ok"},
    {"job", R"({"id":"0123456789abcdef0123456789abcdef"})", "ok"},
    {"bands_set", R"({"bands":"auto"})", "ok"},
    {"bands_set", R"({"bands":["B3","n78"],"keep":true})", "ok"},
    {"mode_set", R"({"mode":"4g+5g","keep":false})", "ok"},
    {"at", R"({"command":"AT+QENG=\"servingcell\""})", "ok"},
    {"at", R"({"command":"at+csq"})", "ok"},
    {"set", R"({"values":{"apn":"internet"}})", "ok"},
    {"modems", "{}", "ok"},
};

const CheckRow bad_rows[] = {
    // no object
    {"status", "[]", "bad-argument"},
    {"status", "null", "bad-argument"},
    {"status", "1", "bad-argument"},
    {"status", "\"{}\"", "bad-argument"},
    {"status", "{", "bad-argument"},
    {"status", "{}}", "bad-argument"},
    {"status", "{}{}", "bad-argument"},
    {"status", "{} x", "bad-argument"},
    {"status", "{\"bus\":\"1-1.2\"", "bad-argument"},
    {"status", "{\"bus\":\"1-1.2", "bad-argument"},
    {"status", "{\"bus\":", "bad-argument"},
    {"status", "{\"bus\"}", "bad-argument"},
    {"status", std::string("{\"bus\":\"1-1.2\"}\0", 16), "bad-argument"},
    {"status", std::string("\0{}", 3), "bad-argument"},
    {"status", "\xff\xfe{}", "bad-argument"},
    {"status", "{\"bus\":\"1-1.2\xff\"}", "bad-argument"},
    {"status", "\xef\xbb\xbf{}", "bad-argument"},
    // nested too deep, too long
    {"set", R"({"values":{"a":{"b":{"c":{"d":1}}}}})", "bad-argument"},
    {"status", std::string(5000, '['), "bad-argument"},
    {"status", std::string(5000, '{'), "bad-argument"},
    {"status", "{\"bus\":\"" + std::string(longest_rpcd_input, '1') + "\"}", "bad-argument"},
    {"status", std::string(longest_rpcd_input + 1, ' '), "bad-argument"},
    // unknown arguments
    {"status", R"({"Bus":"1-1.2"})", "bad-argument"},
    {"status", R"({"minutes":1})", "bad-argument"},
    {"status", R"({"":"1-1.2"})", "bad-argument"},
    {"modems", R"({"bus":"1-1.2"})", "bad-argument"},
    {"messages", R"({"x":1})", "bad-argument"},
    // a bus that is none
    {"status", R"({"bus":""})", "bad-argument"},
    {"status", R"({"bus":1})", "bad-argument"},
    {"status", R"({"bus":true})", "bad-argument"},
    {"status", R"({"bus":["1-1.2"]})", "bad-argument"},
    {"status", R"({"bus":{}})", "bad-argument"},
    {"status", R"({"bus":"1-1.2.3.4.5"})", "bad-argument"},
    {"status", R"({"bus":"../../etc"})", "bad-argument"},
    {"status", R"({"bus":"1-1/2"})", "bad-argument"},
    {"status", R"({"bus":"1-1;id"})", "bad-argument"},
    {"status", R"({"bus":"$(id) "})", "bad-argument"},
    {"status", R"({"bus":"-1-1"})", "bad-argument"},
    {"status", R"({"bus":"--once"})", "bad-argument"},
    {"status", R"({"bus":"jobs"})", "bad-argument"},
    {"status", R"({"bus":"1-1.2\n"})", "bad-argument"},
    {"status", R"({"bus":"1-1.2\u0000"})", "bad-argument"},
    {"status", R"({"bus":"1-1 2"})", "bad-argument"},
    // numbers
    {"history", R"({"since":0})", "bad-argument"},
    {"history", R"({"since":-1})", "bad-argument"},
    {"history", R"({"since":10081})", "bad-argument"},
    {"history", R"({"since":1.5})", "bad-argument"},
    {"history", R"({"since":1e2})", "bad-argument"},
    {"history", R"({"since":"10"})", "bad-argument"},
    {"history", R"({"since":99999999999999999999})", "bad-argument"},
    {"history", R"({"since":-99999999999999999999})", "bad-argument"},
    {"history", R"({"since":4294967297})", "bad-argument"},
    {"pause", "{}", "bad-argument"},
    {"pause", R"({"minutes":null})", "bad-argument"},
    {"pause", R"({"minutes":true})", "bad-argument"},
    {"log", R"({"lines":501})", "bad-argument"},
    // messages
    {"message_send", R"({"number":"+436601234567"})", "bad-argument"},
    {"message_send", R"({"text":"x"})", "bad-argument"},
    {"message_send", R"({"number":"+43 660","text":"x"})", "bad-argument"},
    {"message_send", R"({"number":"-43660","text":"x"})", "bad-argument"},
    {"message_send", R"({"number":"++43660","text":"x"})", "bad-argument"},
    {"message_send", R"({"number":"43660\n1","text":"x"})", "bad-argument"},
    {"message_send", R"({"number":"12","text":"x"})", "bad-argument"},
    {"message_send", R"({"number":"+12","text":"x"})", "bad-argument"},
    {"message_send", R"({"number":"123456789012345678901","text":"x"})", "bad-argument"},
    {"message_send", R"({"number":"Bank","text":"x"})", "bad-argument"},
    {"message_send", R"({"number":"43660","text":""})", "bad-argument"},
    {"message_send", R"({"number":"43660","text":"a\u0000b"})", "bad-argument"},
    {"message_send", R"({"number":"43660","text":"a\u001b[2Jb"})", "bad-argument"},
    {"message_send", R"({"number":"43660","text":"a\rb"})", "bad-argument"},
    {"message_send", R"({"number":"43660","text":"a\u007fb"})", "bad-argument"},
    {"message_send", "{\"number\":\"43660\",\"text\":\"" + std::string(2049, 'x') + "\"}", "bad-argument"},
    {"message_delete", R"({"id":"in/a\nb"})", "bad-argument"},
    {"message_delete", R"({"id":"in/"})", "bad-argument"},
    {"message_delete", "{\"id\":\"in/" + std::string(118, 'x') + "\"}", "bad-argument"},
    // jobs
    {"job", "{}", "bad-argument"},
    {"job", R"({"id":"lock"})", "bad-argument"},
    {"job", R"({"id":"0123456789abcdef0123456789abcde"})", "bad-argument"},
    {"job", R"({"id":"0123456789abcdef0123456789abcdef0"})", "bad-argument"},
    {"job", R"({"id":"0123456789ABCDEF0123456789ABCDEF"})", "bad-argument"},
    {"job", R"({"id":"../../../../../../etc/shadow////"})", "bad-argument"},
    // bands and modes
    {"bands_set", "{}", "bad-argument"},
    {"bands_set", R"({"bands":[]})", "bad-argument"},
    {"bands_set", R"({"bands":"B3"})", "bad-argument"},
    {"bands_set", R"({"bands":""})", "bad-argument"},
    {"bands_set", R"({"bands":["auto","B3"]})", "bad-argument"},
    {"bands_set", R"({"bands":[3]})", "bad-argument"},
    {"bands_set", R"({"bands":["B3,B7"]})", "bad-argument"},
    {"bands_set", R"({"bands":["--keep"]})", "bad-argument"},
    {"bands_set", R"({"bands":["B3",null]})", "bad-argument"},
    {"bands_set", R"({"bands":["B9999"]})", "bad-argument"},
    {"bands_set", R"({"bands":["B3"],"keep":1})", "bad-argument"},
    {"bands_set", R"({"bands":["B3"],"keep":"true"})", "bad-argument"},
    {"mode_set", R"({"mode":"6g"})", "bad-argument"},
    {"mode_set", R"({"mode":"--restore"})", "bad-argument"},
    {"mode_set", R"({"mode":"other"})", "bad-argument"},
    // AT
    {"at", "{}", "bad-argument"},
    {"at", R"({"command":"A"})", "bad-argument"},
    {"at", R"({"command":"reboot"})", "bad-argument"},
    {"at", R"({"command":"AT\r"})", "bad-argument"},
    {"at", R"({"command":"AT\nAT"})", "bad-argument"},
    {"at", R"({"command":"AT\u001a"})", "bad-argument"},
    {"at", R"({"command":"AT\u0000"})", "bad-argument"},
    {"at", R"({"command":"ATé"})", "bad-argument"},
    {"at", "{\"command\":\"AT" + std::string(252, 'x') + "\"}", "bad-argument"},
    // settings
    {"set", "{}", "bad-argument"},
    {"set", R"({"values":[]})", "bad-argument"},
    {"set", R"({"values":{}})", "bad-argument"},
    {"set", R"({"values":"apn"})", "bad-argument"},
    {"set", R"({"values":null})", "bad-argument"},
};

TEST(RpcdArguments, AreTakenIfTheyFit)
{
    for (const auto &row : good_rows)
        EXPECT_EQ(check(row.method, row.input), row.expected) << row.method << " " << row.input;
}

TEST(RpcdArguments, AreRefusedIfTheyDoNot)
{
    for (const auto &row : bad_rows)
        EXPECT_EQ(check(row.method, row.input), row.expected) << row.method << " " << row.input.substr(0, 100);
}

// Every method with every wrong type of each of its arguments, and every good call cut anywhere.
TEST(RpcdArguments, OfAnotherTypeAreRefusedByEveryMethod)
{
    const std::map<RpcdArgumentRow::Type, std::vector<const char *>> wrong = {
        {RpcdArgumentRow::Type::text, {"1", "true", "[]", "{}", "1.5", "[\"1-1.2\"]"}},
        {RpcdArgumentRow::Type::number, {"\"1\"", "true", "[]", "{}", "1.0", "[1]"}},
        {RpcdArgumentRow::Type::truth, {"\"1\"", "1", "[]", "{}", "0.0"}},
        {RpcdArgumentRow::Type::list, {"1", "true", "{}", "1.5", "[[]]", "[{}]", "[1]"}},
        {RpcdArgumentRow::Type::object, {"1", "true", "[]", "\"x\"", "1.5"}},
    };
    size_t calls = 0;
    for (const RpcdMethod &method : rpcd_methods())
        for (const RpcdArgument argument : method.takes) {
            const RpcdArgumentRow &row = rpcd_arguments()[static_cast<size_t>(argument)];
            for (const char *value :
                 row.type == RpcdArgumentRow::Type::none ? std::vector<const char *>{} : wrong.at(row.type)) {
                const std::string input = "{\"" + std::string{row.name} + "\":" + value + "}";
                EXPECT_EQ(check(method.name, input), "bad-argument") << method.name << " " << input;
                calls++;
            }
        }
    EXPECT_GT(calls, 200U);
    for (const auto &row : good_rows)
        for (size_t length = row.input.find('{') + 1; length > 0 && length < row.input.rfind('}'); length++)
            EXPECT_EQ(check(row.method, row.input.substr(0, length)), "bad-argument") << row.input << " " << length;
}

TEST(WatchOptions, AreTakenWithinTheirRange)
{
    const struct {
        const char *name;
        const char *value;
        bool taken;
    } rows[] = {
        {"interval", "30", true},
        {"interval", "0", false},
        {"interval", "601", false},
        {"interval", "x", false},
        {"interval", "-1", false},
        {"interval", "", true},
        {"enabled", "0", true},
        {"enabled", "yes", false},
        {"probe", "both", true},
        {"probe", "dns ping", false},
        {"target", "9.9.9.9", true},
        {"target", "9.9.9.9 2620:fe::fe", true},
        {"target", "dns.quad", false},
        {"target", "9.9.9.9;id", false},
        {"roaming", "deny", true},
        {"roaming", "232 262", true},
        {"roaming", "AT", false},
        {"last_stage", "usb", true},
        {"last_stage", "fire", false},
        {"usage_day", "29", false},
        {"usage_warn", "80 95", true},
        {"usage_warn", "101", false},
        {"usage_action", "disconnect", true},
        {"led", "green:wwan", true},
        {"led", "../x", false},
        {"interface", "wwan_1", true},
        {"interface", "a.b", false},
        {"nothing", "1", false},
        {"", "", false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(takes_watch_option(row.name, row.value), row.taken) << row.name << "=" << row.value;
}

} // namespace rpcd_test
