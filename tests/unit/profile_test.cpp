#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "simulator/modem/profile.h"
#include "temporary_directory.h"

namespace profile_test {

using namespace simulator;

std::string no_includes(const std::string &name)
{
    throw std::runtime_error("there is no " + name);
}

Profile parse(const std::string &text)
{
    return parse_profile("test.modem", text, no_includes);
}

Step setting(const std::string &variable, const std::string &value, bool add = false)
{
    Step step{};
    step.text = value;
    step.variable = variable;
    step.add = add;
    return step;
}

Row only_row(const std::string &text)
{
    const Profile profile = parse("var pin READY\nvar cmee 0\nvar apn_1 web\nvar cid 1\n" + text);
    EXPECT_EQ(profile.rows.size(), 1u);
    return profile.rows.empty() ? Row{} : profile.rows[0];
}

std::string error_of(const std::string &text)
{
    try {
        parse(text);
    } catch (const ProfileError &error) {
        return error.what();
    }
    return "no error";
}

std::string pattern_error(const std::string &text)
{
    try {
        Pattern pattern(text);
    } catch (const std::invalid_argument &error) {
        return error.what();
    }
    return "no error";
}

class TemporaryProfiles : public testing::Test {
  protected:
    void write(const char *name, const std::string &text)
    {
        std::filesystem::create_directories((folder_ / name).parent_path());
        directory_.file(name, text);
    }
    TemporaryDirectory directory_;
    std::filesystem::path folder_ = directory_.path();
};

struct PatternRow {
    const char *pattern;
    const char *command;
    std::optional<Values> expected;
};

const PatternRow pattern_rows[] = {
    {"AT+CSQ", "at+csq", Values{}},
    {"AT+CSQ", "AT+CSQ?", std::nullopt},
    {"AT+CSQ", "", std::nullopt},
    {"AT+CREG=<n>", "AT+CREG=2", Values{{"n", "2"}}},
    {"AT+CREG=<n>", "AT+CREG=", std::nullopt},
    {"AT+CREG=<n>", "AT+CREG=2,1", std::nullopt},
    {"AT+CREG=<n>", "AT+CREG=\"2\"", std::nullopt},
    {"AT+CREG=<n:0-2>", "AT+CREG=2", Values{{"n", "2"}}},
    {"AT+CREG=<n:0-2>", "AT+CREG=3", std::nullopt},
    {"AT+CREG=<n:0-2>", "AT+CREG=-1", std::nullopt},
    {"AT+CREG=<n:0-2>", "AT+CREG=x", std::nullopt},
    {"AT+CREG=<n:0-2>", "AT+CREG=99999999999999999999", std::nullopt},
    {"AT+CFUN=<n:0|4-6>", "AT+CFUN=0", Values{{"n", "0"}}},
    {"AT+CFUN=<n:0|4-6>", "AT+CFUN=5", Values{{"n", "5"}}},
    {"AT+CFUN=<n:0|4-6>", "AT+CFUN=1", std::nullopt},
    {"AT+X=\"<t:IP|IPV6>\"", "AT+X=\"ipv6\"", Values{{"t", "ipv6"}}},
    {"AT+X=\"<t:IP|IPV6>\"", "AT+X=\"PPP\"", std::nullopt},
    {"AT+X=\"<a>\",\"<b>\"", "AT+X=\"\",\"c,d\"", Values{{"a", ""}, {"b", "c,d"}}},
    {"AT+X=\"<a>\"", "AT+X=\"c\",\"d\"", std::nullopt},
    {"AT+X=<a>,<b>", "AT+X=1,2", Values{{"a", "1"}, {"b", "2"}}},
    {"AT+X=<a>,<b>", "AT+X=1,2,3", std::nullopt},
    {"AT+X<rest*>", "AT+X", Values{{"rest", ""}}},
    {"AT+X<rest*>", "AT+X=\"1\",2", Values{{"rest", "=\"1\",2"}}},
    {"ATE<n:0|1>", "ATE", std::nullopt},
};

struct ErrorRow {
    const char *text;
    const char *expected;
};

const ErrorRow error_rows[] = {
    {"colour blue\n", "test.modem:1: unknown keyword 'colour'"},
    {"model A\n\n@ when a\n", "test.modem:3: unknown keyword '@'"},
    {"usb 2c7c\n", "test.modem:1: usb wants ids like 2c7c:0125"},
    {"usb\n", "test.modem:1: usb wants ids like 2c7c:0125"},
    {"usb 2c7c:01250\n", "test.modem:1: usb wants ids like 2c7c:0125"},
    {"usb 2c7g:0125\n", "test.modem:1: usb wants ids like 2c7c:0125"},
    {"interface x ttyUSB\n", "test.modem:1: interface number: a number from 0 to 31 is needed, not 'x'"},
    {"interface 32 ttyUSB\n", "test.modem:1: interface number: a number from 0 to 31 is needed, not '32'"},
    {"interface 1 modem\n", "test.modem:1: an interface is ttyUSB, ttyACM, cdc-wdm or none, not 'modem'"},
    {"interface 1 ttyUSB loud\n", "test.modem:1: unknown word 'loud' of an interface"},
    {"interface 1 cdc-wdm at\n", "test.modem:1: unknown word 'at' of an interface"},
    {"interface 1 ttyUSB netdev\n", "test.modem:1: unknown word 'netdev' of an interface"},
    {"interface 1 ttyUSB\ninterface 1 ttyUSB\n", "test.modem:2: interface 1 is there twice"},
    {"var 1x 2\n", "test.modem:1: bad variable name '1x'"},
    {"var\n", "test.modem:1: bad variable name ''"},
    {"var a 1\nstored a 2\n", "test.modem:2: variable 'a' is there twice"},
    {"urc sometimes 5 RING\n", "test.modem:1: a urc comes at, boot, every or random, not 'sometimes'"},
    {"urc at soon RING\n", "test.modem:1: time: a number from 0 to 86400000 is needed, not 'soon'"},
    {"urc every 0 RING\n", "test.modem:1: a urc that repeats needs a time above 0"},
    {"urc random 9-5 RING\n", "test.modem:1: a random urc wants a range like 100-900"},
    {"urc random 9 RING\n", "test.modem:1: time: a number from 0 to 86400000 is needed, not ''"},
    {"urc at 5\n", "test.modem:1: a urc without a text"},
    {"urc at 5 a\\q\n", "test.modem:1: unknown escape '\\q'"},
    {"fault slow\n", "test.modem:1: unknown fault 'slow'"},
    {"fault late=x\n", "test.modem:1: bad number 'x' of the fault late"},
    {"fault late=-1\n", "test.modem:1: bad number '-1' of the fault late"},
    {"fault late=1:AT<\n", "test.modem:1: '<' without '>'"},
    {"include other\n", "test.modem:1: cannot include 'other.modem': there is no other.modem"},
    {">  \n", "test.modem:1: a row without a command"},
    {"> AT+X=<n\n", "test.modem:1: '<' without '>'"},
    {"> AT\n@ jump\n", "test.modem:2: unknown directive 'jump'"},
    {"> AT\n@ when\n", "test.modem:2: a condition wants a variable"},
    {"> AT\n@ when a ${b|c}\n", "test.modem:2: '${' without '}'"},
    {"> AT\n@ set\n", "test.modem:2: set wants a variable and a value"},
    {"> AT\n@ add\n", "test.modem:2: add wants a variable and a value"},
    {"> AT\n@ delay soon\n", "test.modem:2: delay: a number from 0 to 86400000 is needed, not 'soon'"},
    {"> AT\n@ delay -5\n", "test.modem:2: delay: a number from 0 to 86400000 is needed, not '-5'"},
    {"> AT\n@ urc behind X\n", "test.modem:2: a row's urc comes before, inside or after its reply, not 'behind'"},
    {"> AT\n@ urc inside x X\n", "test.modem:2: line number: a number from 0 to 100000 is needed, not 'x'"},
    {"> AT\n@ urc before\n", "test.modem:2: a urc without a text"},
    {"> AT\n@ urc before on 99 X\n", "test.modem:2: interface number: a number from 0 to 31 is needed, not '99'"},
    {"> AT\n@ detach\n", "test.modem:2: detach: a number from 0 to 86400000 is needed, not ''"},
    {"> AT\n@ detach 5 maybe\n", "test.modem:2: detach: a number from 0 to 86400000 is needed, not 'maybe'"},
    {"> AT\n@ detach 5 6 soon\n", "test.modem:2: unknown word 'soon' of detach"},
    {"> AT\n@ each n\n", "test.modem:2: each wants a name and a range like 1-16, at most to 1000"},
    {"> AT\n@ each n 5-1\n", "test.modem:2: each wants a name and a range like 1-16, at most to 1000"},
    {"> AT\n@ each n 1-1001\n", "test.modem:2: each wants a name and a range like 1-16, at most to 1000"},
    {"model X\n> AT\n@ each n 1-$size\nX\n", "test.modem:2: unknown variable 'size'"},
    {"> AT\n@ each n 1-2\n@ urc after 1 RING\n", "test.modem:3: a urc cannot follow '@ each'"},
    {"model X\n> AT\n@ if x\n@ urc after 1 RING\n", "test.modem:2: unknown variable 'x'"},
    {"> AT\n@ prompt\n", "test.modem:2: prompt wants a name for what the host writes"},
    {"> AT\n@ prompt Text\n", "test.modem:2: prompt wants a name for what the host writes"},
    {"> AT\n@ each N 1-2\n", "test.modem:2: each wants a name and a range like 1-16, at most to 1000"},
    {"> AT\n@ cme x y\n", "test.modem:2: error code: a number from 0 to 9999 is needed, not 'x'"},
    {"> AT\nOK\n@ if a 1\n> ATI\n", "test.modem:4: '@ if' or '@ each' without a line behind it"},
    {"> AT\nOK\n@ each n 1-2\n", "test.modem:3: '@ if' or '@ each' without a line behind it"},
    {"> AT\nOK\n> AT\nOK\n", "test.modem:3: the row of line 1 has the same command and the same conditions"},
    {"> AT\na\\x1\n", "test.modem:2: \\x needs two hexadecimal digits"},
    {"> AT\na\\\n", "test.modem:2: '\\' at the end of a line"},
    {"> AT\na ${b\n", "test.modem:2: '${' without '}'"},
    {"model M\n> AT\n\n$nothing\n", "test.modem:2: unknown variable 'nothing'"},
    {"model M\n> AT\n@ when nothing 1\n", "test.modem:2: unknown variable 'nothing'"},
    {"model M\nvar a 1\n> AT\n@ when a $nothing\n", "test.modem:3: unknown variable 'nothing'"},
    {"model M\n> AT\n@ set nothing 1\n", "test.modem:2: unknown variable 'nothing'"},
    {"model M\n> AT\n@ urc before ${nothing}\n", "test.modem:2: unknown variable 'nothing'"},
    {"model M\n> AT\n${apn_$nothing}\n", "test.modem:2: unknown variable 'nothing'"},
    {"model M\n> AT\n@ cme 3 operation not allowed\n", "test.modem:2: unknown variable 'cmee'"},
    {"model M\nurc at 5 on 3 x\n", "test.modem:1: unknown interface 3"},
    {"model M\n> AT\n@ urc before on 3 x\n", "test.modem:2: unknown interface 3"},
    {"model M\nurc at 5 $nothing\n", "test.modem:1: unknown variable 'nothing'"},
};

TEST(Pattern, TakesWhatItsPlacesAllow)
{
    for (const PatternRow &row : pattern_rows)
        EXPECT_EQ(Pattern(row.pattern).match(row.command), row.expected) << row.pattern << " and " << row.command;
}

TEST(Pattern, RefusesAPlaceThatItCannotRead)
{
    EXPECT_EQ(pattern_error("AT<n"), "'<' without '>'");
    EXPECT_EQ(pattern_error("AT<>"), "bad name in '<>'");
    EXPECT_EQ(pattern_error("AT<N>"), "bad name in '<N>'");
    EXPECT_EQ(pattern_error("AT<a b>"), "bad name in '<a b>'");
    EXPECT_EQ(pattern_error("AT<a*>x"), "text after '<a*>', which takes all the rest");
}

TEST(Profile, ReadsItsHeaderLines)
{
    const Profile profile = parse("# a comment\nmodel EC25\nabout Quectel EC25-E, LTE\nusb 2c7c:0125\r\n\n"
                                  "var echo 1\nvar rat LTE|WCDMA|GSM\nstored apn_1\nvar pin SIM PIN\n"
                                  "fault late=20:AT+CSQ\n");
    EXPECT_EQ(profile.name, "test");
    EXPECT_EQ(profile.model, "EC25");
    EXPECT_EQ(profile.about, "Quectel EC25-E, LTE");
    EXPECT_EQ(profile.vendor_id, 0x2c7c);
    EXPECT_EQ(profile.product_id, 0x0125);
    ASSERT_EQ(profile.variables.size(), 4u);
    EXPECT_EQ(profile.variables[0].initial, "1");
    EXPECT_EQ(profile.variables[1].initial, "LTE");
    EXPECT_EQ(profile.variables[1].allowed, (std::vector<std::string>{"LTE", "WCDMA", "GSM"}));
    EXPECT_EQ(profile.variables[2].initial, "");
    EXPECT_TRUE(profile.variables[2].stored);
    EXPECT_EQ(profile.variables[3].initial, "SIM PIN");
    EXPECT_FALSE(profile.variables[3].stored);
    ASSERT_EQ(profile.faults.size(), 1u);
    EXPECT_EQ(profile.faults[0].kind, FaultKind::late);
    EXPECT_EQ(profile.faults[0].number, 20);
    EXPECT_EQ(profile.faults[0].command.text(), "AT+CSQ");
}

TEST(Profile, ReadsItsInterfaces)
{
    const Profile profile =
        parse("interface 0 ttyUSB\ninterface 1 ttyUSB talks\ninterface 2 ttyACM at\n"
              "interface 3 ttyUSB at\ninterface 4 cdc-wdm netdev wwan0\ninterface 5 none netdev usb0\n");
    ASSERT_EQ(profile.interfaces.size(), 6u);
    EXPECT_EQ(profile.interfaces[0].role, Interface::Role::silent);
    EXPECT_EQ(profile.interfaces[1].role, Interface::Role::talks);
    EXPECT_EQ(profile.interfaces[2].role, Interface::Role::at);
    EXPECT_EQ(profile.interfaces[2].kind, Interface::Kind::ttyACM);
    EXPECT_EQ(profile.interfaces[4].kind, Interface::Kind::cdc_wdm);
    EXPECT_EQ(profile.interfaces[4].netdev, "wwan0");
    EXPECT_EQ(profile.interfaces[5].kind, Interface::Kind::none);
    EXPECT_EQ(profile.interfaces[5].netdev, "usb0");
    EXPECT_EQ(profile.at_interface(), 2);
    EXPECT_EQ(profile.interface(6), nullptr);
    EXPECT_EQ(parse("interface 0 ttyUSB\n").at_interface(), -1);
}

TEST(Profile, ReadsUnsolicitedLinesOfTheModem)
{
    const Profile profile =
        parse("urc at 500 RDY\nurc boot 20 PB DONE\nurc every 1000 on 1 $GPRMC,,V\nurc random 5-10 RING\n");
    ASSERT_EQ(profile.unsolicited.size(), 4u);
    using When = UnsolicitedLine::When;
    EXPECT_EQ(profile.unsolicited[0], (UnsolicitedLine{When::at, "RDY", 0, 500, 0, -1}));
    EXPECT_EQ(profile.unsolicited[1], (UnsolicitedLine{When::boot, "PB DONE", 0, 20, 0, -1}));
    EXPECT_EQ(profile.unsolicited[2], (UnsolicitedLine{When::every, "$GPRMC,,V", 0, 1000, 0, 1}));
    EXPECT_EQ(profile.unsolicited[3], (UnsolicitedLine{When::random, "RING", 0, 5, 10, -1}));
}

TEST(ProfileRow, IsItsCommandAndTheLinesOfItsReply)
{
    const Row row = only_row("> AT+CSQ\n\n+CSQ: 28,99\n# a comment\n\nOK\n\n\n");
    EXPECT_EQ(row.command.text(), "AT+CSQ");
    ASSERT_EQ(row.steps.size(), 4u);
    EXPECT_EQ(row.steps[0].text, "");
    EXPECT_EQ(row.steps[1].text, "+CSQ: 28,99");
    EXPECT_EQ(row.steps[2].text, "");
    EXPECT_EQ(row.steps[3].text, "OK");
    EXPECT_EQ(row.file, "test.modem");
    EXPECT_EQ(row.line, 5);
}

TEST(ProfileRow, LeavesOutTheEchoOfAPastedCapture)
{
    const Row row = only_row("> ati\nati\nQuectel\n\nOK\n");
    ASSERT_EQ(row.steps.size(), 3u);
    EXPECT_EQ(row.steps[0].text, "Quectel");
}

TEST(ProfileRow, MayHaveNoReply)
{
    EXPECT_TRUE(only_row("> AT+X\n\n\n").steps.empty());
}

TEST(ProfileRow, KeepsABlankAndARemarkSignWithinALine)
{
    const Row row = only_row("> AT+X\n#not a comment\n  two blanks\n");
    ASSERT_EQ(row.steps.size(), 2u);
    EXPECT_EQ(row.steps[0].text, "#not a comment");
    EXPECT_EQ(row.steps[1].text, "  two blanks");
}

TEST(ProfileRow, ReadsConditions)
{
    const Row row = only_row("> AT+X=<n>\n@ when pin READY|SIM PIN\n@ unless n 1\n@ when apn_$cid\n");
    ASSERT_EQ(row.conditions.size(), 3u);
    EXPECT_EQ(row.conditions[0], (Condition{"pin", {"READY", "SIM PIN"}, false}));
    EXPECT_EQ(row.conditions[1], (Condition{"n", {"1"}, true}));
    EXPECT_EQ(row.conditions[2], (Condition{"apn_$cid", {}, false}));
}

TEST(ProfileRow, ReadsAssignments)
{
    const Row row = only_row("> AT+X=<n>\n@ set pin SIM PIN\n@ set apn_$n $n\n@ add cid -1\n@ set pin\n");
    ASSERT_EQ(row.steps.size(), 4u);
    EXPECT_EQ(row.steps[0], setting("pin", "SIM PIN"));
    EXPECT_EQ(row.steps[1], setting("apn_$n", "$n"));
    EXPECT_EQ(row.steps[2], setting("cid", "-1", true));
    EXPECT_EQ(row.steps[3], setting("pin", ""));
}

TEST(ProfileRow, ReadsDelayUnsolicitedLinesAndDetach)
{
    const Row row = only_row("> AT+X\n@ delay 300\n@ urc before RING\n@ urc inside 2 +CMTI: \"ME\",1\n"
                             "@ urc after 500 on 2 NO CARRIER\n@ detach 3000 8000 renumbered\n");
    using When = UnsolicitedLine::When;
    EXPECT_EQ(row.delay_ms, 300);
    ASSERT_EQ(row.unsolicited.size(), 3u);
    EXPECT_EQ(row.unsolicited[0], (UnsolicitedLine{When::before, "RING", 0, 0, 0, -1}));
    EXPECT_EQ(row.unsolicited[1], (UnsolicitedLine{When::inside, "+CMTI: \"ME\",1", 2, 0, 0, -1}));
    EXPECT_EQ(row.unsolicited[2], (UnsolicitedLine{When::after, "NO CARRIER", 0, 500, 0, 2}));
    ASSERT_TRUE(row.detach.has_value());
    EXPECT_EQ(*row.detach, (Detach{3000, 8000, true}));
    EXPECT_EQ(*only_row("> AT\n@ detach 1 never\n").detach, (Detach{1, -1, false}));
    EXPECT_EQ(*only_row("> AT\n@ detach 1 2\n").detach, (Detach{1, 2, false}));
}

TEST(ProfileRow, ReadsDirectivesOfLines)
{
    const Row row = only_row(
        "> AT+X\n@ each n 1-16\n@ if apn_$n\n@ ifnot pin READY\n+X: $n\nplain\n@ if pin READY\n@ cme 10 SIM $pin\n");
    ASSERT_EQ(row.steps.size(), 3u);
    EXPECT_EQ(row.steps[0], (Step{"+X: $n", {{"apn_$n", {}, false}, {"pin", {"READY"}, true}}, "n", 1, "16", -1}));
    EXPECT_EQ(row.steps[1], (Step{"plain", {}, "", 0, "", -1}));
    EXPECT_EQ(row.steps[2], (Step{"SIM $pin", {{"pin", {"READY"}, false}}, "", 0, "", 10}));
}

TEST(Profile, NamesFileAndLineOfEveryError)
{
    for (const ErrorRow &row : error_rows)
        EXPECT_EQ(error_of(row.text), row.expected) << row.text;
}

TEST(Profile, SurvivesABinaryFile)
{
    std::string bytes;
    for (int i = 0; i < 4096; i++)
        bytes += static_cast<char>(i * 37);
    EXPECT_NE(error_of(bytes), "no error");
    EXPECT_EQ(error_of(""), "no error");
    EXPECT_EQ(error_of(std::string(100'000, '\n')), "no error");
    EXPECT_EQ(error_of("> AT\n" + std::string(4096, 'x') + "\n"), "no error");
    EXPECT_EQ(error_of("> AT\n" + std::string(4097, 'x') + "\n"), "test.modem:2: a line of more than 4096 characters");
}

TEST(ProfileInclude, GivesWhatTheFileItselfDoesNotSay)
{
    const Profile profile = parse_profile(
        "a.modem", "include base\nmodel A\nvar x 1\ninterface 3 ttyUSB at\n> AT\nmine\n> AT+C\n@ when x 2\nmine\n",
        [](const std::string &name) {
            EXPECT_EQ(name, "base.modem");
            return "about base\nusb 0001:0002\nvar x 5\nvar y 6\ninterface 0 ttyUSB\n> AT\ntheirs\n"
                   "> AT+C\n@ when x 2\ntheirs\n> AT+C\ntheirs\n> ATI\ntheirs\n";
        });
    EXPECT_EQ(profile.model, "A");
    EXPECT_EQ(profile.about, "base");
    EXPECT_EQ(profile.vendor_id, 1);
    EXPECT_EQ(profile.product_id, 2);
    ASSERT_EQ(profile.interfaces.size(), 1u);
    EXPECT_EQ(profile.interfaces[0].number, 3);
    ASSERT_EQ(profile.variables.size(), 2u);
    EXPECT_EQ(profile.variables[0].initial, "1");
    EXPECT_EQ(profile.variables[1].initial, "6");
    std::string rows;
    for (const Row &row : profile.rows)
        rows += row.command.text() + " " + row.steps[0].text + ", ";
    EXPECT_EQ(rows, "AT mine, AT+C mine, AT+C theirs, ATI theirs, ");
    EXPECT_EQ(profile.rows[3].file, "base.modem");
}

TEST(ProfileInclude, StopsAtAFileThatIncludesItself)
{
    try {
        parse_profile("a.modem", "include a\n", [](const std::string &) { return "include a\n"; });
        FAIL();
    } catch (const ProfileError &error) {
        EXPECT_STREQ(error.what(), "a.modem:1: includes go deeper than 8 files");
    }
}

TEST(ProfileInclude, NamesTheIncludedFileInItsErrors)
{
    try {
        parse_profile("a.modem", "include b\n", [](const std::string &) { return "\nwhat\n"; });
        FAIL();
    } catch (const ProfileError &error) {
        EXPECT_STREQ(error.what(), "b.modem:2: unknown keyword 'what'");
    }
}

TEST_F(TemporaryProfiles, AreFoundWhateverTheCaseOfTheirName)
{
    write("EC25.modem", "include base\nmodel EC25\n");
    write("base.modem", "about from base\n");
    EXPECT_EQ(load_profile(folder_, "ec25").about, "from base");
    EXPECT_EQ(load_profile(folder_, "EC25").name, "EC25");
}

TEST_F(TemporaryProfiles, MayBeAFileOfTheUsersOwn)
{
    write("ours/base.modem", "about ours\n");
    write("ours/common.modem", "var common 1\n");
    write("theirs/base.modem", "about theirs\ninclude common\n");
    write("theirs/x.modem", "include base\nmodel X\n");
    const Profile profile = load_profile(folder_ / "ours", (folder_ / "theirs/x.modem").string());
    EXPECT_EQ(profile.about, "theirs");
    EXPECT_EQ(profile.variables.size(), 1u);
}

TEST_F(TemporaryProfiles, AreListedByNameWithoutTheBases)
{
    write("b.modem", "model B\n");
    write("a.modem", "model A\n");
    write("base.modem", "about nothing\n");
    write("notes.txt", "no profile at all\n");
    const std::vector<Profile> profiles = list_profiles(folder_);
    ASSERT_EQ(profiles.size(), 2u);
    EXPECT_EQ(profiles[0].model, "A");
    EXPECT_EQ(profiles[1].model, "B");
}

TEST_F(TemporaryProfiles, SayWhatIsMissing)
{
    EXPECT_THROW(load_profile(folder_, "none"), ProfileError);
    EXPECT_THROW(load_profile(folder_ / "nowhere", "none"), ProfileError);
    EXPECT_THROW(load_profile(folder_, (folder_ / "none.modem").string()), ProfileError);
    EXPECT_THROW(load_profile(folder_, folder_.string() + "/"), ProfileError);
    EXPECT_THROW(list_profiles(folder_ / "nowhere"), std::filesystem::filesystem_error);
}

} // namespace profile_test
