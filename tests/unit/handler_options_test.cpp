#include "connection/handler_options.h"

#include <filesystem>
#include <map>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/unit/temporary_directory.h"

// Texts that the network daemon's handlers would take as more than a value are refused; what networks use is not.

namespace handler_options_test {

const char *refused_option(const char *proto, const ConnectSettings &settings)
{
    const SettingOption *refused = find_refused_setting(proto, settings);
    return refused == nullptr ? "" : refused->option;
}

ConnectSettings with(const SettingOption &setting, const std::string &text)
{
    ConnectSettings settings;
    settings.*setting.member = text.c_str();
    return settings;
}

const SettingOption &setting_of(std::string_view request)
{
    for (const SettingOption &setting : setting_options)
        if (request == setting.request)
            return setting;
    abort();
}

constexpr char splits[] = " *?[";
constexpr char runs[] = " \"$&'();<>\\`|~";
constexpr char ends_at_text[] = "\"";

struct UseRow {
    const char *requests; ///< the keys, parted by spaces
    const char *refused;  ///< of the printable characters
};

struct HandlerUses {
    const char *proto;
    std::vector<UseRow> rows;
};

// What the handlers did with each character in the middle, in front and at the end of a text. qmi: "uqmi --apn $apn",
// and so with user, password and method. 3g: connect="USE_APN=$apn DIALNUMBER=$dialnumber chat", which pppd gives to a
// shell. ncm and directip: AT commands with "$apn". Device: "readlink -f $device".
const HandlerUses handler_uses[] = {
    {"qmi", {{"apn username password ath device mtu", splits}, {"pincode service dianum", ""}}},
    {"3g",
     {{"apn dianum", runs}, {"mtu", splits}, {"pincode", ends_at_text}, {"username password ath service device", ""}}},
    {"ncm", {{"apn username password pincode", ends_at_text}, {"device", splits}, {"dianum", ""}}},
    {"directip", {{"apn username password pincode", ends_at_text}, {"device", splits}, {"ath", ""}}},
    {"mbim", {{"device", splits}, {"apn password", ""}}},
    {"dhcp", {{"device", splits}, {"apn username password", ""}}},
    {"qcm", {{"apn", runs}, {"operator", ""}}},
    {"callip", {{"password", runs}}},
};

std::string refused_characters(const char *proto, const SettingOption &setting)
{
    std::string refused;
    for (char character = ' '; character <= '~'; character++)
        if (*refused_option(proto, with(setting, std::string{"a"} + character + "b")) != '\0')
            refused += character;
    return refused;
}

TEST(HandlerOptions, RefuseWhatEachHandlerExpandsSplitsOrRunsAndNothingElse)
{
    for (const HandlerUses &handler : handler_uses)
        for (const UseRow &row : handler.rows) {
            std::istringstream requests{row.requests};
            for (std::string request; requests >> request;)
                EXPECT_EQ(refused_characters(handler.proto, setting_of(request)), row.refused)
                    << handler.proto << " " << request;
        }
}

TEST(HandlerOptions, RefuseControlCharactersEverywhere)
{
    for (const HandlerRow &handler : handlers)
        for (const SettingOption &setting : setting_options)
            for (const char *bad : {"a\nb", "\tb", "a\r", "\x01", "a\x1b[0m", "\x7f"})
                EXPECT_STREQ(refused_option(handler.proto, with(setting, bad)), setting.option) << handler.proto;
}

TEST(HandlerOptions, NameTheFirstSettingThatIsRefused)
{
    EXPECT_STREQ(refused_option("qmi", {.apn = "internet", .username = "two words", .password = "*"}), "username");
    EXPECT_STREQ(refused_option("3g", {.device = "/dev/ttyUSB3", .apn = "x;reboot;", .dialnumber = "`id`"}), "apn");
    EXPECT_STREQ(refused_option("no such handler", {.apn = "x;reboot"}), "apn");
}

// APNs, users and passwords of operators' published settings, and what people choose.
constexpr const char *apns[] = {"internet",
                                "internet.t-mobile",
                                "web.vodafone.de",
                                "live.vodafone.com",
                                "jionet",
                                "m2m.businessplan_1",
                                "a-b.c_d-9",
                                "ibox.tim.it",
                                "VZWINTERNET",
                                "em",
                                "b2b.tmobile.com",
                                "12345.mcs",
                                "fast.t-mobile.com",
                                "internet.mnc020.mcc262.gprs",
                                "3netaccess",
                                "giffgaff.com",
                                "",
                                "iot.1nce.net",
                                "data641003",
                                "#777"};
constexpr const char *names[] = {"",        "web", "user@provider.com", "congstar", "tm", "me.you+1@isp-net.co.uk",
                                 "ISP@CHAP"};
constexpr const char *passwords[] = {
    "", "gprs", "tm", "s3cret-Pass_word!", "a#b%c^d&e(f)g", "x=y;z,1/2:3|4", "~tilde~", "$dollar'quote`<>"};
constexpr const char *dials[] = {"", "*99#", "*99***1#", "#777", "*98*1#", "ATDT*99#", "*99***3#,W@", "+4912345"};

TEST(HandlerOptions, LetThroughWhatNetworksUse)
{
    for (const char *proto : {"qmi", "mbim", "ncm", "directip", "3g", "dhcp", "callip", "qcm"}) {
        for (const char *apn : apns)
            EXPECT_STREQ(refused_option(proto, {.apn = apn}), "") << proto << " " << apn;
        for (const char *name : names)
            EXPECT_STREQ(refused_option(proto, {.username = name}), "") << proto << " " << name;
        for (const char *dial : dials)
            EXPECT_STREQ(refused_option(proto, {.dialnumber = dial}), "") << proto << " " << dial;
        for (const char *service : {"fdd_lte", "*99#", "umts", "evdo"})
            EXPECT_STREQ(refused_option(proto, {.service = service, .pincode = "0000", .mtu = "1428"}), "") << proto;
        for (const char *auth : {"", "NONE", "PAP", "CHAP", "PAP or CHAP", "both"})
            EXPECT_STREQ(refused_option(proto, {.auth = auth}), "") << proto << " " << auth;
        for (const char *device : {"/dev/ttyUSB3", "/dev/ttyACM0", "/dev/cdc-wdm0", ""})
            EXPECT_STREQ(refused_option(proto, {.device = device, .operator_name = "Visible (US) & Co."}), "") << proto;
    }
    for (const char *proto : {"qmi", "mbim", "ncm", "directip", "3g", "dhcp"})
        for (const char *password : passwords)
            EXPECT_STREQ(refused_option(proto, {.password = password}), "") << proto << " " << password;
}

// More than 200 texts that make a file if a shell reads them as more than a value.
std::vector<std::string> hostile_texts()
{
    const char *payloads[] = {"touch made",   ">made",           "touch${IFS}made", "touch\tmade",
                              "{touch,made}", "\\touch made",    "'touch' made",    "\"touch\" made",
                              "t?uch made",   "eval touch made", "exec touch made", "/bin/touch made"};
    const char *shapes[] = {"%",     ";%",     ";%;",   "a;%;b",  "&%&",      "&&%",     "||%",       "|%|",
                            "`%`",   "a`%`b",  "$(%)",  "a$(%)b", "\"$(%)\"", "\";%;\"", "';%;'",     "\n%\n",
                            "a b;%", "*;%",    "#\n%",  "x\r\n%", "<(%)",     "$((%))",  "${x:-`%`}", "~;%",
                            "(%)",   "{ %; }", "a)%(b", "-a;%",   "\\;%",     "%;*"};
    std::vector<std::string> texts = {"*", "?", "[a-z]*", "a b", "~root", "x:~root", "$HOME", "${HOME}", "$$", "-rf /"};
    for (const std::string shape : shapes)
        for (const char *payload : payloads)
            texts.push_back(
                std::regex_replace(shape, std::regex{"%"}, std::regex_replace(payload, std::regex{"\\$"}, "$$$$")));
    return texts;
}

// A text as an assignment of the shell, quoted for it.
std::string assignment(const std::string &text)
{
    return "v='" + std::regex_replace(text, std::regex{"'"}, "'\\''") + "'; ";
}

// How the handlers use each kind of text, after the assignment of v. Each prints it as it arrives, and nothing else.
const std::map<TextUse, std::string> uses = {
    {TextUse::value, "set -- --password \"$v\"; [ $# = 2 ] && printf '%s\\n' \"$2\""},
    {TextUse::at_text, "i='AT+T=${p},\\\"$v\\\"'; p=1; eval C=\"$i\" printenv C"},
    {TextUse::word, "set -- ${v:+--apn $v}; [ $# = 2 ] && printf '%s\\n' \"$2\""},
    {TextUse::command, "sh -c \"V=$v printenv V\""},
};

TEST(HandlerOptions, LetNoHostileTextBecomeMoreThanAValueInAnyKindOfUse)
{
    const auto texts = hostile_texts();
    ASSERT_GE(texts.size(), 200u);
    const TemporaryDirectory directory;
    std::ofstream{directory.entry("a*made")}; // what a pattern could match
    std::map<TextUse, std::string> scripts;
    std::map<TextUse, std::string> expected;
    for (const HandlerRow &handler : handlers)
        for (size_t i = 0; i < setting_options.size(); i++)
            for (const std::string &text : texts) {
                if (*refused_option(handler.proto, with(setting_options[i], text)) != '\0')
                    continue;
                const TextUse use = handler.uses[i];
                const std::string line = use == TextUse::at_text ? "AT+T=1,\"" + text + "\"\n" : text + "\n";
                if (expected[use].find("\n" + line) != std::string::npos)
                    continue;
                expected[use] += "\n" + line;
                scripts[use] += assignment(text) + uses.at(use) + "; echo\n";
            }
    EXPECT_FALSE(expected[TextUse::value].empty());
    EXPECT_FALSE(expected[TextUse::word].empty()) << "some are harmless there";
    for (const auto &[use, script] : scripts) {
        std::ofstream{directory.entry("script")} << script;
        const std::string run = "cd '" + directory.path().string() + "' && HOME=/root busybox ash ./script >out 2>&1";
        EXPECT_EQ(system(run.c_str()), 0);
        std::string got = content_of(directory.entry("out"));
        EXPECT_EQ("\n" + got, expected[use] + "\n") << "use " << static_cast<int>(use);
    }
    EXPECT_FALSE(std::filesystem::exists(directory.entry("made")));
}

} // namespace handler_options_test
