#include <gtest/gtest.h>

#include "tests/system/web_requests.h"

// The messages of the spool, from a back end's side.

namespace api_sms_test {

using Lines = std::vector<std::string>;

const char incoming[] = "/etc/spool/sms/incoming/";
const char storage[] = "/etc/spool/sms/storage/";

Lines message(const std::string &path, const std::string &text)
{
    return {"--put-text", path + "=" + text};
}

Lines operator+(Lines first, const Lines &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const char list_request[] = "get /modem/sms/list {\"modem_id\":3}\n";

TEST(SmsList, TellsEveryMessageWithItsMembersInOrder)
{
    const RouterRun run = serve(message(std::string{incoming} + "GMS99.aB3",
                                        "From: 4917012345\nFrom_TOA: 91 international, ISDN/telephone\n"
                                        "Sent: 24-01-05 10:20:30\nAlphabet: ISO\nLength: 5\n\nHello") +
                                    message(std::string{storage} + "GMS99.cD4", "From: 110\nSent: 24-01-06 11:21:31\n"
                                                                                "From_TOA: 81 national\n\n\xC3\xA4"),
                                list_request);
    EXPECT_EQ(run.out, R"(0 {"messages":[)"
                       R"({"from":"4917012345\n","type":"international","time":"24-01-05 10:20:30\n",)"
                       R"("body":"Hello\n","status":"unread","name":"GMS99.aB3"},)"
                       R"({"from":"110\n","time":"24-01-06 11:21:31\n","type":"national",)"
                       R"("body":"ä\n","status":"read","name":"GMS99.cD4"}]})"
                       "\n");
}

TEST(SmsList, IsEmptyWithoutMessagesAndWithoutTheIncomingFolder)
{
    EXPECT_EQ(serve({}, list_request).out, "0 {\"messages\":[]}\n");
    EXPECT_EQ(
        serve(message(std::string{storage} + "GMS99.a", "From: 1\n\nx"), list_request, "rm -r /etc/spool/sms/incoming")
            .out,
        "0 {\"messages\":[]}\n");
    EXPECT_EQ(serve({}, list_request, "rm -r /etc/spool/sms/storage").out, "0 {\"messages\":[]}\n");
}

TEST(SmsList, LeavesOutTheSecondModemsMessagesWhichCountAsItsUnreadOnes)
{
    const Lines options =
        message(std::string{incoming} + "GMS98.a", "From: 1\n\nx") +
        Lines{"--modem", "EC25@1-1.3", "--put-text", "/etc/config/devconf=config modem 'modem'\n\tlist bus '1-1.3'"};
    const RouterRun run = serve(options, list_request + std::string{"get /modem/info\n"});
    const Lines answers = lines_of(run.out);
    ASSERT_EQ(answers.size(), 2U) << run.err;
    EXPECT_EQ(answers[0], "0 {\"messages\":[]}");
    EXPECT_NE(answers[1].find("\"newsms\":1"), std::string::npos) << answers[1];
}

TEST(SmsList, GivesNoTypeWithoutItsHeaderAndUnknownForAnotherOne)
{
    EXPECT_EQ(serve(message(std::string{incoming} + "GMS99.a", "Sent: now\n\nx"), list_request).out,
              R"(0 {"messages":[{"time":"now\n","body":"x\n","status":"unread","name":"GMS99.a"}]})"
              "\n");
    EXPECT_EQ(serve(message(std::string{incoming} + "GMS99.a", "From_TOA: D0 alphanumeric\n\nx"), list_request).out,
              R"(0 {"messages":[{"type":"unknown","body":"x\n","status":"unread","name":"GMS99.a"}]})"
              "\n");
}

TEST(SmsList, ConvertsFifteenBytesOfAUcs2BodyOfLengthFive)
{
    const RouterRun run =
        serve({}, list_request,
              R"(printf 'Alphabet: UCS2\nLength: 5\n\n\000a\000b\000c\000d\000e\000f\000g\000h\000i' )"
              ">/etc/spool/sms/incoming/GMS99.a");
    EXPECT_EQ(run.out, R"(0 {"messages":[{"body":"abcdefg","status":"unread","name":"GMS99.a"}]})"
                       "\n");
}

TEST(SmsList, PassesOverWhatIsNoMessage)
{
    EXPECT_EQ(serve({}, list_request,
                    "mkfifo /etc/spool/sms/incoming/GMS99.fifo; mkdir /etc/spool/sms/incoming/GMS99.dir;"
                    "ln -s nowhere /etc/spool/sms/incoming/GMS99.link; : >/etc/spool/sms/incoming/GMS97.a;"
                    "printf '\\377\\001' >/etc/spool/sms/incoming/GMS99.bin")
                  .out,
              R"(0 {"messages":[{"body":"","status":"unread","name":"GMS99.bin"}]})"
              "\n");
}

TEST(SmsDelete, RemovesTheIncomingMessageFirstThenTheStoredOneThenNone)
{
    const std::string request = "post /modem/sms/delete {\"modem_id\":5,\"msg_id\":\"GMS99.a\"}\n";
    const Lines both = message(std::string{incoming} + "GMS99.a", "x") + message(std::string{storage} + "GMS99.a", "x");
    EXPECT_EQ(serve(both, request, ":", "ls /etc/spool/sms/incoming /etc/spool/sms/storage").out,
              "0 {}\n/etc/spool/sms/incoming:\n\n/etc/spool/sms/storage:\nGMS99.a\n");
    EXPECT_EQ(serve(both, request + request + request).out, "0 {}\n0 {}\n-259 {}\n");
}

TEST(SmsDelete, OfANameThatIsNoneRemovesNothing)
{
    const std::string long_name(300, 'n');
    for (const std::string &name : {std::string{"../../../passwd"}, std::string{"a/GMS99.a"}, std::string{""},
                                    std::string{".."}, long_name, std::string{"GMS99.\\u0000"}})
        EXPECT_EQ(serve(message(std::string{incoming} + "GMS99.a", "x"),
                        "post /modem/sms/delete {\"modem_id\":3,\"msg_id\":\"" + name + "\"}\n", ":",
                        "ls /etc/spool/sms/incoming; ls -d /etc/passwd")
                      .out,
                  "-259 {}\nGMS99.a\n/etc/passwd\n")
            << name;
}

TEST(SmsDeleteAll, EmptiesBothFolders)
{
    const RouterRun run = serve(
        message(std::string{incoming} + "GMS99.a", "x") + message(std::string{storage} + "GMS98.b", "x"),
        "post /modem/sms/delete_all {\"modem_id\":255}\n", ":", "ls /etc/spool/sms/incoming /etc/spool/sms/storage");
    EXPECT_EQ(run.out, "0 {}\n/etc/spool/sms/incoming:\n\n/etc/spool/sms/storage:\n");
    EXPECT_EQ(run.journal_of("shell", "modemapi"),
              (Lines{"rm /etc/spool/sms/incoming/*", "rm /etc/spool/sms/storage/*"}));
}

TEST(SmsDeleteAll, RemovesNothingWhereOneFolderIsMissing)
{
    const std::string request = "post /modem/sms/delete_all {\"modem_id\":3}\n";
    EXPECT_EQ(serve(message(std::string{incoming} + "GMS99.a", "x"), request, "rm -r /etc/spool/sms/storage",
                    "ls /etc/spool/sms/incoming")
                  .out,
              "-259 {}\nGMS99.a\n");
    EXPECT_EQ(serve(message(std::string{storage} + "GMS99.a", "x"), request, "rm -r /etc/spool/sms/incoming",
                    "ls /etc/spool/sms/storage")
                  .out,
              "-259 {}\nGMS99.a\n");
}

struct SendRow {
    const char *what;
    std::string members;
    std::string command;
    Lines run; ///< what reaches the SMS daemon's script
};
const SendRow send_rows[] = {
    {"without a type",
     R"("number":"+4917012345","message":"Hello you")",
     "sendsms '+4917012345' 'Hello you' 'international'",
     {"sendsms +4917012345 'Hello you' international"}},
    {"with a type",
     R"("number":"110","message":"Hello","type":"national")",
     "sendsms '110' 'Hello' 'national'",
     {"sendsms 110 Hello national"}},
    {"numbers for texts",
     R"("number":110,"message":1.5,"type":true)",
     "sendsms '110' '1.5' 'true'",
     {"sendsms 110 1.5 true"}},
    {"null for the type",
     R"("number":"1","message":"m","type":null)",
     "sendsms '1' 'm' 'international'",
     {"sendsms 1 m international"}},
    {"empty texts", R"("number":"","message":"","type":"")", "sendsms '' '' ''", {"sendsms '' '' ''"}},
    {"line ends and quotes of the other kind",
     R"("number":"1","message":"a\n\"b\" $(c) ä")",
     "sendsms '1' 'a\n\"b\" $(c) ä' 'international'",
     {"sendsms 1 'a\n\"b\" $(c) ä' international"}},
    {"a quote ends the text",
     R"("number":"1","message":"it's; echo 'x")",
     "sendsms '1' 'it's; echo 'x' 'international'",
     {"sendsms 1 its"}},
    {"as long as it may be",
     R"("number":"1","message":")" + std::string(269, 'm') + "\"",
     "sendsms '1' '" + std::string(269, 'm') + "' 'international'",
     {"sendsms 1 " + std::string(269, 'm') + " international"}},
    {"too long, so cut in its last text and refused by the shell",
     R"("number":"1","message":")" + std::string(270, 'm') + "\"",
     "sendsms '1' '" + std::string(270, 'm') + "' 'international",
     {}},
    {"much too long",
     R"("number":"1","message":")" + std::string(5000, 'm') + "\"",
     "sendsms '1' '" + std::string(286, 'm'),
     {}},
};

TEST(SmsSend, RunsTheDaemonsScriptAndSucceedsWhateverItDoes)
{
    for (const auto &row : send_rows) {
        const RouterRun run =
            serve({"--answer", "sendsms:1"}, "post /modem/sms/send {\"modem_id\":3," + row.members + "}\n");
        EXPECT_TRUE(run.out.ends_with("0 {}\n")) << row.what << "\n" << run.out;
        EXPECT_EQ(run.journal_of("shell", "modemapi"), Lines{row.command}) << row.what;
        EXPECT_EQ(run.journal_of("run"), row.run) << row.what;
    }
}

TEST(SmsStatus, MovesAnIncomingMessageToTheStorageOnce)
{
    const std::string request = "post /modem/sms/status {\"modem_id\":3,\"msg_id\":\"GMS99.a\"}\n";
    EXPECT_EQ(serve(message(std::string{incoming} + "GMS99.a", "x"), request + request + list_request, ":",
                    "ls /etc/spool/sms/incoming")
                  .out,
              "0 {}\n0 {}\n"
              R"(0 {"messages":[{"body":"","status":"read","name":"GMS99.a"}]})"
              "\n");
}

TEST(SmsStatus, OfANameThatIsNoneMovesNothing)
{
    for (const std::string &name :
         {std::string{"../checked/GMS99.a"}, std::string{"GMS99.b"}, std::string{""}, std::string(300, 'n')})
        EXPECT_EQ(serve(message("/etc/spool/sms/checked/GMS99.a", "x"),
                        "post /modem/sms/status {\"modem_id\":3,\"msg_id\":\"" + name + "\"}\n", ":",
                        "ls /etc/spool/sms/checked; ls /etc/spool/sms/storage")
                      .out,
                  "0 {}\nGMS99.a\n")
            << name;
}

TEST(SmsCode, IsEmptyWhereNothingIsSet)
{
    EXPECT_EQ(serve({}, "post /modem/sms/code\n").out, R"(0 {"country":"","country_code":""})"
                                                       "\n");
}

TEST(SmsCode, TellsWhatWasSetWithAndWithoutItsAction)
{
    const RouterRun run = serve({},
                                "post /modem/sms/code {\"action\":\"set\",\"country\":\"Germany\","
                                "\"country_code\":\"49\"}\n"
                                "post /modem/sms/code\n"
                                "post /modem/sms/code {\"action\":\"get\"}\n"
                                "post /modem/sms/code {\"action\":null}\n",
                                ":", "uci export devconf");
    EXPECT_EQ(run.out, R"(0 {}
0 {"country":"Germany","country_code":"49"}
0 {"country":"Germany","country_code":"49"}
0 {"country":"Germany","country_code":"49"}
package devconf

config modem 'modem'
	list bus '1-1.2'

config service 'modem_sms'
	option country 'Germany'
	option country_code '49'

)");
}

const char devconf_with_country[] = "/etc/config/devconf=config service 'modem_sms'\n\toption country 'France'\n"
                                    "\toption country_code '33'";

TEST(SmsCode, KeepsAnOptionWhoseTextIsAbsentAndDropsAnEmptyOne)
{
    const struct {
        const char *members;
        const char *answer;
    } rows[] = {
        {"", R"({"country":"France","country_code":"33"})"},
        {R"(,"country":"Spain")", R"({"country":"Spain","country_code":"33"})"},
        {R"(,"country_code":"34")", R"({"country":"France","country_code":"34"})"},
        {R"(,"country":null,"country_code":[34])", R"({"country":"France","country_code":"33"})"},
        {R"(,"country":"","country_code":34)", R"({"country":"","country_code":"34"})"},
        {R"(,"country":"a\nb")", R"({"country":"a\nb","country_code":"33"})"},
        {R"(,"country":"a\u0001b")", R"({"country":"France","country_code":"33"})"},
        {R"(,"country":"it's \"x\"")", R"({"country":"it's \"x\"","country_code":"33"})"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(serve({"--put-text", devconf_with_country}, std::string{"post /modem/sms/code {\"action\":\"set\""} +
                                                                  row.members + "}\npost /modem/sms/code\n")
                      .out,
                  std::string{"0 {}\n0 "} + row.answer + "\n")
            << row.members;
}

TEST(SmsCode, OfAnotherActionDoesNothing)
{
    for (const char *action : {"\"SET\"", "\"\"", "1", "\"get \""})
        EXPECT_EQ(serve({"--put-text", devconf_with_country},
                        std::string{"post /modem/sms/code {\"country\":\"Spain\",\"action\":"} + action + "}\n", ":",
                        "uci get devconf.modem_sms.country")
                      .out,
                  "0 {}\nFrance\n")
            << action;
}

TEST(SmsCode, IsCutAtFiftyNineAndNineteenCharacters)
{
    const std::string longest(100, 'x');
    EXPECT_EQ(serve({}, "post /modem/sms/code {\"action\":\"set\",\"country\":\"" + longest + "\",\"country_code\":\"" +
                            longest + "\"}\npost /modem/sms/code\n")
                  .out,
              "0 {}\n0 {\"country\":\"" + std::string(59, 'x') + "\",\"country_code\":\"" + std::string(19, 'x') +
                  "\"}\n");
}

} // namespace api_sms_test
