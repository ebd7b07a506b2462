#include <algorithm>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "modem_under_test.h"
#include "temporary_directory.h"
#include "tests/paths.h"

namespace modem_test {

using namespace simulator;

constexpr char plain_rows[] = "> AT\n\nOK\n> ATI\n\nAcme\n\nOK\n> ATE<n:0|1>\n@ set echo $n\n\nOK\n";

ModemUnderTest modem_of(const std::string &text, ModemOptions options = {})
{
    return ModemUnderTest(small_profile(text), std::move(options));
}

ModemUnderTest faulty(const std::string &fault)
{
    ModemOptions options;
    options.faults.push_back(parse_fault(fault));
    return modem_of(plain_rows, options);
}

std::vector<std::string> describe(const std::vector<Event> &events)
{
    std::vector<std::string> lines;
    for (const Event &event : events) {
        const std::string at = std::to_string(event.at) + " ";
        if (event.kind == Event::Kind::bytes)
            lines.push_back(at + std::to_string(event.interface) + ":" + event.bytes);
        else if (event.kind == Event::Kind::gone)
            lines.push_back(at + "gone");
        else
            lines.push_back(at + (event.renumbered ? "back renumbered" : "back"));
    }
    return lines;
}

using Lines = std::vector<std::string>;

// The block of a Markdown file that begins with "```name".
std::string block_of(const std::string &path, const std::string &name)
{
    const std::string all = content_of(path);
    const std::string fence = "\n```" + name + "\n";
    const size_t begin = all.find(fence);
    if (begin == std::string::npos)
        return {};
    const size_t first = begin + fence.size();
    return all.substr(first, all.find("\n```", first) + 1 - first);
}

TEST(SimulatedModem, AnswersARow)
{
    EXPECT_EQ(modem_of(plain_rows).say("ATI\r\n"), "\r\nAcme\r\n\r\nOK\r\n");
}

TEST(SimulatedModem, AnswersErrorToWhatNoRowKnowsAndRecordsIt)
{
    ModemUnderTest test = modem_of(plain_rows);
    test.now = 7;
    EXPECT_EQ(test.say("AT+FOO=\"A b\"\r\n", 0), "\r\nERROR\r\n");
    ASSERT_EQ(test.modem.unknown_commands().size(), 1u);
    EXPECT_EQ(test.modem.unknown_commands()[0].command, "AT+FOO=\"A b\"");
    EXPECT_EQ(test.modem.unknown_commands()[0].interface, 0);
    EXPECT_EQ(test.modem.unknown_commands()[0].at, 7);
}

TEST(SimulatedModem, TakesTheStepsOfARowFromTopToBottom)
{
    ModemUnderTest test = modem_of("var n 1\n> AT\n$n\n@ add n 1\n$n\n@ set n ${n}0\n@ if n 20\n@ set n x\n$n\n");
    EXPECT_EQ(test.say("AT\r"), "1\r\n2\r\nx\r\n");
}

TEST(SimulatedModem, SetsVariablesInALoopWhoseEndIsAVariable)
{
    ModemUnderTest test =
        modem_of("var size 3\nvar used 0\nvar free\nvar slot_1 x\n> AT\n@ each i 1-$size\n@ if slot_$i\n"
                 "@ add used 1\n@ each i 1-$size\n@ ifnot free\n@ ifnot slot_$i\n@ set free $i\n"
                 "$used $free\n> ATS=<size*>\n@ set size $size\n");
    EXPECT_EQ(test.say("AT\r"), "1 2\r\n");
    for (const char *size : {"0", "-1", "x", ""}) {
        test.say("ATS=" + std::string(size) + "\r");
        EXPECT_EQ(test.say("AT\r"), "1 2\r\n") << size;
    }
}

TEST(SimulatedModem, PrintsAnUnsolicitedLineOnACondition)
{
    ModemUnderTest test = modem_of("var on 0\n> AT<on:0|1>\n@ set on $on\n@ if on 1\n@ urc after 5 RING\nOK\n");
    EXPECT_EQ(test.say("AT0\r"), "OK\r\n");
    EXPECT_EQ(test.say("AT1\r"), "OK\r\n\r\nRING\r\n");
}

constexpr char prompt_rows[] =
    "var text\n> AT\n\nOK\n> AT+T=<to>\n@ prompt text\n@ set text $to: $text\n\n+T: $text\n\nOK\n"
    "> ATE<n:0|1>\n@ set echo $n\nOK\n";

TEST(SimulatedModem, PromptsForAText)
{
    ModemUnderTest test = modem_of(prompt_rows);
    EXPECT_EQ(test.say("AT+T=me\r"), "\r\n> ");
    EXPECT_EQ(test.say("AT\rsome\n"), "");
    EXPECT_EQ(test.modem.variable("text"), "");
    EXPECT_EQ(test.say("more\x1a"), "\r\n+T: AT\rsome\nmore\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT\r"), "\r\nOK\r\n");
}

TEST(SimulatedModem, EndsAPromptAtEscapeWithNothingDone)
{
    ModemUnderTest test = modem_of(prompt_rows);
    EXPECT_EQ(test.say("AT+T=me\rtext\x1b"), "\r\n> \r\nOK\r\n");
    EXPECT_EQ(test.modem.variable("text"), "");
    EXPECT_EQ(test.say("AT\r"), "\r\nOK\r\n");
}

TEST(SimulatedModem, EchoesThePromptedText)
{
    ModemUnderTest test = modem_of(prompt_rows);
    test.say("ATE1\r");
    EXPECT_EQ(test.say("AT+T=me\r"), "AT+T=me\r\r\n> ");
    EXPECT_EQ(test.say("text\x1a"), "text\r\n+T: text\r\n\r\nOK\r\n");
}

TEST(SimulatedModem, PromptsInALineOfSeveralCommandsAndBetweenWaitingOnes)
{
    ModemUnderTest test = modem_of(prompt_rows);
    EXPECT_EQ(test.say("AT;+T=me;+T=you\rtext\x1a"
                       "AT\r"),
              "\r\n> \r\n+T: text\r\n\r\nOK\r\n\r\nOK\r\n");
}

TEST(SimulatedModem, CutsAPromptedTextThatNeverEnds)
{
    ModemUnderTest test = modem_of(prompt_rows);
    test.say("AT+T=me\r" + std::string(1'000'000, 'x') + "\x1a");
    EXPECT_EQ(test.modem.variable("text"), "me: " + std::string(4096, 'x'));
}

TEST(SimulatedModem, LetsHappenWhatItsRowsTell)
{
    ModemOptions options;
    options.happenings = {{500, "ring 7"}};
    ModemUnderTest test =
        modem_of("var calls 0\n> !ring <from>\n@ add calls 1\n@ urc after 0 RING $from\nOK\n", options);
    EXPECT_EQ(test.listen(499), "");
    EXPECT_EQ(test.listen(60'000), "\r\nRING 7\r\n");
    EXPECT_EQ(test.modem.variable("calls"), "1");
    EXPECT_EQ(test.say("!ring 8\r"), "");
}

TEST(SimulatedModem, LetsHappenAgainEverySecondWhatItRefused)
{
    ModemOptions options;
    options.happenings = {{0, "ring"}};
    ModemUnderTest test = modem_of("var ready 0\n> !ring\n@ if ready 1\n@ urc after 0 RING\n@ if ready 1\nOK\n"
                                   "> AT\n@ set ready 1\nOK\n",
                                   options);
    EXPECT_EQ(test.listen(10'500), "");
    EXPECT_EQ(test.say("AT\r", 499), "OK\r\n");
    EXPECT_EQ(test.listen(1), "\r\nRING\r\n");
    EXPECT_EQ(test.listen(10'000), "");
}

TEST(SimulatedModem, RefusesToLetHappenWhatNoRowTells)
{
    ModemOptions options;
    options.happenings = {{0, "quake 9"}};
    EXPECT_THROW(modem_of("> AT\nOK\n", options), std::invalid_argument);
}

TEST(SimulatedModem, CountsTheUsesOfItsRows)
{
    ModemUnderTest test = modem_of(plain_rows);
    test.say("AT\r\nATI\r\nAT\r\n");
    EXPECT_EQ(test.modem.row_uses(), (std::vector<size_t>{2, 1, 0}));
}

TEST(SimulatedModem, EchoesALineWithItsCarriageReturn)
{
    ModemUnderTest test = modem_of(plain_rows);
    EXPECT_EQ(test.say("ATE1\r\n"), "\r\nOK\r\n");
    EXPECT_EQ(test.say("at\r\n"), "at\r\r\nOK\r\n");
    EXPECT_EQ(test.say("ATE0\r\n"), "ATE0\r\r\nOK\r\n");
    EXPECT_EQ(test.say("AT\r\n"), "\r\nOK\r\n");
}

TEST(SimulatedModem, IgnoresCaseAndBlanksOutsideQuotes)
{
    ModemUnderTest test = modem_of("> AT+X=\"a b\",2\n\nOK\n");
    EXPECT_EQ(test.say("at+x = \"a b\", 2\r"), "\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+X=\"ab\",2\r"), "\r\nERROR\r\n");
}

TEST(SimulatedModem, FindsACommandBehindJunkAndIgnoresALineWithoutOne)
{
    ModemUnderTest test = modem_of(plain_rows);
    EXPECT_EQ(test.say(std::string("\x00\x1b\xff~~AT\x01\r\n", 10)), "\r\nOK\r\n");
    EXPECT_EQ(test.say("hello\r\n\r\n\n\n"), "");
    EXPECT_EQ(test.say("A\r\n"), "");
    EXPECT_TRUE(test.modem.unknown_commands().empty());
}

TEST(SimulatedModem, TakesACommandInPiecesAndSeveralInOneWrite)
{
    ModemUnderTest test = modem_of(plain_rows);
    EXPECT_EQ(test.say("A"), "");
    EXPECT_EQ(test.say("T"), "");
    EXPECT_EQ(test.say("\r"), "\r\nOK\r\n");
    EXPECT_EQ(test.say("\nAT\r\nATI\r\nAT+"), "\r\nOK\r\n\r\nAcme\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("Q\r\n"), "\r\nERROR\r\n");
}

TEST(SimulatedModem, AnswersErrorToAnEndlessLine)
{
    ModemUnderTest test = modem_of(plain_rows);
    EXPECT_EQ(test.say("AT" + std::string(1'000'000, 'x') + "\r\n"), "\r\nERROR\r\n");
    EXPECT_EQ(test.say("AT\r\n"), "\r\nOK\r\n");
}

TEST(SimulatedModem, LetsCommandsWaitWhileItAnswersAndLosesThoseBeyondSixtyFour)
{
    ModemUnderTest test = modem_of("> AT+SLOW\n@ delay 1000\n\nslow\n\nOK\n> AT\n\nOK\n");
    std::string commands = "AT+SLOW\r\n";
    for (int i = 0; i < 100; i++)
        commands += "AT\r\n";
    EXPECT_EQ(test.say(commands, 999), "");
    const std::string text = test.listen(1);
    EXPECT_EQ(text.substr(0, 20), "\r\nslow\r\n\r\nOK\r\n\r\nOK\r\n");
    EXPECT_EQ(text.size(), 14 + 64 * 6u);
}

TEST(SimulatedModem, AnswersOnThePortThatWasAsked)
{
    Profile profile = small_profile(plain_rows);
    profile.interfaces.push_back({.number = 3, .kind = Interface::Kind::ttyUSB, .role = Interface::Role::at});
    Modem modem(profile, {});
    modem.receive(3, "AT\r\n", 5);
    EXPECT_EQ(describe(modem.take_due(5)), (Lines{"5 3:\r\nOK\r\n"}));
}

TEST(SimulatedModem, SaysNothingOnAPortThatDoesNotAnswerAt)
{
    ModemUnderTest test = modem_of(plain_rows);
    test.modem.receive(1, "AT\r\n", 0);
    test.modem.receive(2, "AT\r\n", 0);
    test.modem.receive(9, "AT\r\n", 0);
    test.modem.receive(-1, "AT\r\n", 0);
    EXPECT_TRUE(test.events(1000).empty());
    EXPECT_EQ(test.modem.next_due(), std::nullopt);
}

TEST(SimulatedModem, TakesTheFirstRowThatHolds)
{
    ModemUnderTest test =
        modem_of("var a 1\n> AT+X\n@ when a 1|2\n\none\n> AT+X\n@ unless a 3\n\nnot three\n> AT+X\n\nelse\n"
                 "> AT+A=<n>\n@ set a $n\n\nOK\n");
    EXPECT_EQ(test.say("AT+X\r"), "\r\none\r\n");
    test.say("AT+A=4\r");
    EXPECT_EQ(test.say("AT+X\r"), "\r\nnot three\r\n");
    test.say("AT+A=3\r");
    EXPECT_EQ(test.say("AT+X\r"), "\r\nelse\r\n");
}

TEST(SimulatedModem, ReadsBackWhatWasWritten)
{
    ModemUnderTest test = modem_of("> AT+P=<cid:1-3>,\"<apn>\"\n@ set apn_$cid $apn\n\nOK\n"
                                   "> AT+P?\n\n@ each cid 1-3\n@ if apn_$cid\n+P: $cid,\"${apn_$cid}\"\n\nOK\n");
    EXPECT_EQ(test.say("AT+P?\r"), "\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+P=3,\"a,b;c\"\r"), "\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+P=1,\"web\"\r"), "\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+P?\r"), "\r\n+P: 1,\"web\"\r\n+P: 3,\"a,b;c\"\r\n\r\nOK\r\n");
    EXPECT_EQ(test.modem.variable("apn_3"), "a,b;c");
}

TEST(SimulatedModem, ComparesWhatACommandGaveAndCounts)
{
    ModemUnderTest test = modem_of("var code 4711\nvar tries 2\n> AT+C=<n>\n@ when n $code\n\nOK\n"
                                   "> AT+C=<n>\n@ when tries 0\n\nlocked\n> AT+C=<n>\n@ add tries -1\n\nERROR\n");
    EXPECT_EQ(test.say("AT+C=1\rAT+C=1\r"), "\r\nERROR\r\n\r\nERROR\r\n");
    EXPECT_EQ(test.say("AT+C=1\r"), "\r\nlocked\r\n");
    EXPECT_EQ(test.say("AT+C=4711\r"), "\r\nOK\r\n");
}

TEST(SimulatedModem, WritesErrorsInTheFormThatWasChosen)
{
    ModemUnderTest test = modem_of("> AT+CMEE=<n>\n@ set cmee $n\n\nOK\n> AT+X\n\n@ cme 10 SIM not inserted\n");
    EXPECT_EQ(test.say("AT+X\r"), "\r\nERROR\r\n");
    test.say("AT+CMEE=1\r");
    EXPECT_EQ(test.say("AT+X\r"), "\r\n+CME ERROR: 10\r\n");
    test.say("AT+CMEE=2\r");
    EXPECT_EQ(test.say("AT+X\r"), "\r\n+CME ERROR: SIM not inserted\r\n");
}

TEST(SimulatedModem, WritesBytesThatATextFileCannotShow)
{
    ModemUnderTest test = modem_of("var a \n> AT+X\n\\x80\\0\\t\\\\\\>\\@\\#\\$a\n$GPRMC ${a:none}$\n\\c\nno end\\c\n");
    EXPECT_EQ(test.say("AT+X\r"), std::string("\x80\0\t\\>@#$a\r\n$GPRMC none$\r\nno end", 31));
}

TEST(SimulatedModem, AnswersSeveralCommandsOfOneLineWithOneResult)
{
    ModemUnderTest test =
        modem_of("> AT+A\n\n+A: 1\n\nOK\n> AT+B=\"<b>\"\n\n+B: $b\n\nOK\n> ATE<n>\n@ set echo $n\n\nOK\n"
                 "> AT&F\n\nOK\n> AT+BAD\n\n+CME ERROR: 3\n> ATDT<n*>\n\nNO CARRIER\n");
    EXPECT_EQ(test.say("AT+A;+B=\"x;y\";\r"), "\r\n+A: 1\r\n\r\n+B: x;y\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT&FE0+A\r"), "\r\n+A: 1\r\n\r\nOK\r\n");
    EXPECT_EQ(test.say("AT+A;+BAD;+B=\"x\"\r"), "\r\n+A: 1\r\n\r\n+CME ERROR: 3\r\n");
    EXPECT_EQ(test.say("AT+A;+FOO;+A\r"), "\r\n+A: 1\r\n\r\nERROR\r\n");
    EXPECT_EQ(test.say("ATDT123;\r"), "\r\nNO CARRIER\r\n");
    EXPECT_EQ(test.say("AT&\r"), "\r\nERROR\r\n");
}

TEST(SimulatedModem, DelaysAReplyButNotItsEcho)
{
    ModemUnderTest test = modem_of("> ATE1\n@ set echo 1\n\nOK\n> AT+X\n@ delay 300\n\nOK\n");
    test.say("ATE1\r");
    test.modem.receive(0, "AT+X\r", test.now);
    EXPECT_EQ(test.modem.next_due(), test.now);
    EXPECT_EQ(test.listen(299), "AT+X\r");
    EXPECT_EQ(test.modem.next_due(), test.now + 1);
    EXPECT_EQ(test.listen(1), "\r\nOK\r\n");
}

TEST(SimulatedModem, MayNotAnswerAtAll)
{
    ModemUnderTest test = modem_of("> AT+X\n> AT\n\nOK\n");
    EXPECT_EQ(test.say("AT+X\r"), "");
    EXPECT_EQ(test.say("AT\r"), "\r\nOK\r\n");
}

TEST(SimulatedModem, PrintsUnsolicitedLinesWhereARowSaysSo)
{
    ModemUnderTest test = modem_of("> AT+X\n@ urc before A\n@ urc before B\n@ urc inside 2 C\n@ urc after 500 D\n"
                                   "@ urc after 10 on 1 E\n\n+X: 1\n\nOK\n");
    test.modem.receive(0, "AT+X\r", 0);
    EXPECT_EQ(describe(test.events(1000)),
              (Lines{"0 0:\r\nA\r\n\r\nB\r\n\r\n+X: 1\r\n\r\nC\r\n\r\nOK\r\n", "10 1:E\r\n", "500 0:\r\nD\r\n"}));
}

TEST(SimulatedModem, PrintsUnsolicitedLinesOfItsOwnAccord)
{
    ModemUnderTest test =
        modem_of("var pin READY\nurc at 50 +CPIN: $pin\nurc every 400 on 1 $GPRMC,,V\nurc boot 1 RDY\n");
    EXPECT_EQ(test.modem.next_due(), 50);
    EXPECT_EQ(describe(test.events(1000)),
              (Lines{"50 0:\r\n+CPIN: READY\r\n", "400 1:$GPRMC,,V\r\n", "800 1:$GPRMC,,V\r\n"}));
}

TEST(SimulatedModem, RepeatsItsRandomTimesForTheSameSeed)
{
    const std::string text = "urc random 100-900 RING\n";
    const auto times = [&](uint32_t seed) {
        ModemOptions options;
        options.seed = seed;
        std::vector<Milliseconds> at;
        for (const Event &event : modem_of(text, options).events(10'000))
            at.push_back(event.at);
        return at;
    };
    const std::vector<Milliseconds> first = times(1);
    EXPECT_GE(first.size(), 11u);
    EXPECT_LE(first.size(), 100u);
    for (size_t i = 1; i < first.size(); i++) {
        EXPECT_GE(first[i] - first[i - 1], 100);
        EXPECT_LE(first[i] - first[i - 1], 900);
    }
    EXPECT_EQ(times(1), first);
    EXPECT_NE(times(2), first);
}

TEST(SimulatedModem, PrintsALineThatATestWants)
{
    ModemUnderTest test = modem_of(plain_rows);
    test.modem.send_unsolicited(-1, "RING", 4);
    test.modem.send_unsolicited(1, "$GPGGA", 5);
    test.modem.send_unsolicited(0, "raw\\c", 6);
    test.modem.send_unsolicited(8, "nowhere", 6);
    EXPECT_EQ(describe(test.events(10)), (Lines{"4 0:\r\nRING\r\n", "5 1:$GPGGA\r\n", "6 0:raw"}));
}

TEST(SimulatedModem, SendsInPiecesOneAfterTheOther)
{
    ModemOptions options;
    options.delivery = {.piece_bytes = 4, .interval_ms = 10};
    ModemUnderTest test = modem_of(plain_rows, options);
    test.modem.receive(0, "AT\r\nAT\r\n", 0);
    EXPECT_EQ(describe(test.events(100)), (Lines{"0 0:\r\nOK", "10 0:\r\n", "20 0:\r\nOK", "30 0:\r\n"}));
}

TEST(SimulatedModem, KeepsUnsolicitedLinesOutOfAReplyInPieces)
{
    ModemOptions options;
    options.delivery = {.piece_bytes = 1, .interval_ms = 10};
    ModemUnderTest test = modem_of(std::string("urc at 15 RING\n") + plain_rows, options);
    EXPECT_EQ(test.say("AT\r\n", 1000), "\r\nOK\r\n\r\nRING\r\n");
}

TEST(SimulatedModem, GoesAwayAndComesBackRestarted)
{
    ModemUnderTest test = modem_of("var a 1\nstored b 1\nurc boot 100 RDY\nurc at 100000 never\n"
                                   "> AT+SET\n@ set a 2\n@ set b 2\n\nOK\n> AT+GET\n\n$a$b\n"
                                   "> AT+CFUN=1,1\n@ detach 300 8000 renumbered\n@ urc after 400 lost\n\nOK\n");
    EXPECT_EQ(test.say("AT+SET\rAT+GET\r", 0), "\r\nOK\r\n\r\n22\r\n");
    test.modem.receive(0, "AT+CFUN=1,1\r", 0);
    EXPECT_EQ(describe(test.events(301)), (Lines{"0 0:\r\nOK\r\n", "300 gone"}));
    EXPECT_FALSE(test.modem.attached());
    EXPECT_EQ(test.say("AT+GET\r", 0), "");
    EXPECT_EQ(describe(test.events(8000)), (Lines{"8300 back renumbered"}));
    EXPECT_TRUE(test.modem.attached());
    EXPECT_EQ(test.say("AT+GET\r", 1000), "\r\n12\r\n\r\nRDY\r\n");
}

TEST(SimulatedModem, MayGoAwayForGood)
{
    ModemUnderTest test = modem_of("> AT+QPOWD\n@ detach 10 never\n\nOK\n");
    test.modem.receive(0, "AT+QPOWD\rAT+QPOWD\r", 0);
    EXPECT_EQ(describe(test.events(1'000'000)), (Lines{"0 0:\r\nOK\r\n", "0 0:\r\nOK\r\n", "10 gone"}));
    EXPECT_EQ(test.modem.next_due(), std::nullopt);
}

TEST(SimulatedModem, StartsWithTheVariablesOfTheRun)
{
    const std::string text = "var rat LTE|GSM\nvar n 1\n> AT+X\n\n$rat $n\n";
    ModemOptions options;
    options.variables = {{"rat", "GSM"}, {"n", "x y"}};
    EXPECT_EQ(modem_of(text, options).say("AT+X\r"), "\r\nGSM x y\r\n");
    options.variables = {{"rat", "5G"}};
    EXPECT_THROW(modem_of(text, options), std::invalid_argument);
    options.variables = {{"other", "1"}};
    EXPECT_THROW(modem_of(text, options), std::invalid_argument);
}

struct FaultRow {
    const char *fault;
    const char *expected; // of ATI, without echo
};

TEST(ModemFault, ChangesTheBytesOfAReply)
{
    const FaultRow rows[] = {
        {"silence", ""},
        {"no-final", "\r\nAcme\r\n"},
        {"cr-cr-lf", "\r\r\nAcme\r\r\n\r\r\nOK\r\r\n"},
        {"echo-on", "ATI\r\r\nAcme\r\n\r\nOK\r\n"},
        {"extra=5", "\r\nAcme\r\n\r\nxxx\r\nOK\r\n"},
        {"silence:AT+CSQ", "\r\nAcme\r\n\r\nOK\r\n"},
        {"no-final:AT<rest*>", "\r\nAcme\r\n"},
    };
    for (const FaultRow &row : rows)
        EXPECT_EQ(faulty(row.fault).say("ATI\r"), row.expected) << row.fault;
}

TEST(ModemFault, AddsAsMuchTextAsItSays)
{
    EXPECT_EQ(faulty("extra=5000").say("ATI\r").size(), 14 + 5000u);
    EXPECT_EQ(faulty("extra=1").say("ATI\r").size(), 14 + 1u);
    EXPECT_EQ(faulty("extra=0").say("ATI\r").size(), 14u);
}

TEST(ModemFault, TakesTheEchoAway)
{
    ModemUnderTest test = faulty("echo-off");
    test.say("ATE1\r");
    EXPECT_EQ(test.say("AT\r"), "\r\nOK\r\n");
}

TEST(ModemFault, DelaysTheReply)
{
    ModemUnderTest test = faulty("late=3000");
    EXPECT_EQ(test.say("AT\r", 2999), "");
    EXPECT_EQ(test.listen(1), "\r\nOK\r\n");
}

TEST(ModemFault, PutsGarbageBeforeInsideAndAfter)
{
    const std::string clean = "\r\nAcme\r\n\r\nOK\r\n";
    const std::string before = faulty("garbage-before=9").say("ATI\r");
    EXPECT_EQ(before.substr(9), clean);
    const std::string inside = faulty("garbage-inside=9").say("ATI\r");
    EXPECT_EQ(inside.substr(0, 7) + inside.substr(16), clean);
    const std::string after = faulty("garbage-after=9").say("ATI\r");
    EXPECT_EQ(after.substr(0, 14), clean);
    EXPECT_EQ(after.size(), 23u);
}

TEST(ModemFault, SpreadsEightBitAndZeroBytes)
{
    std::string zeros = faulty("zero=3").say("ATI\r");
    EXPECT_EQ(std::count(zeros.begin(), zeros.end(), '\0'), 3);
    std::erase(zeros, '\0');
    EXPECT_EQ(zeros, "\r\nAcme\r\n\r\nOK\r\n");
    std::string high = faulty("eight-bit=50").say("ATI\r");
    EXPECT_EQ(std::count_if(high.begin(), high.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }),
              50);
    std::erase_if(high, [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
    EXPECT_EQ(high, "\r\nAcme\r\n\r\nOK\r\n");
}

TEST(ModemFault, NeverEndsAReplyUntilTheNextCommand)
{
    ModemUnderTest test = faulty("endless=100:ATI");
    EXPECT_EQ(test.say("ATI\r", 0), "\r\nAcme\r\n" + std::string(100, 'x') + "\r\n");
    EXPECT_EQ(test.listen(100).size(), 10 * 102u);
    EXPECT_EQ(test.say("AT\r", 100), "\r\nOK\r\n");
    EXPECT_EQ(test.modem.next_due(), std::nullopt);
}

TEST(ModemFault, TakesTheDeviceAwayBeforeDuringAndAfter)
{
    const auto happens = [](const std::string &fault) {
        ModemUnderTest test = faulty(fault);
        test.modem.receive(0, "ATI\r", 0);
        return describe(test.events(10'000));
    };
    EXPECT_EQ(happens("gone-before"), (Lines{"0 gone"}));
    EXPECT_EQ(happens("gone-before=500"), (Lines{"0 gone", "500 back"}));
    EXPECT_EQ(happens("gone-during=500"), (Lines{"0 0:\r\nAcme\r", "0 gone", "500 back"}));
    EXPECT_EQ(happens("gone-after=500"), (Lines{"0 0:\r\nAcme\r\n\r\nOK\r\n", "0 gone", "500 back"}));
}

TEST(ModemFault, MayBringTheDeviceBackUnderOtherNumbers)
{
    ModemOptions options;
    options.renumber = true;
    options.faults.push_back(parse_fault("gone-before=500"));
    ModemUnderTest test = modem_of(plain_rows, options);
    test.modem.receive(0, "ATI\r", 0);
    EXPECT_EQ(describe(test.events(1000)), (Lines{"0 gone", "500 back renumbered"}));
}

TEST(ModemFault, MayStandInAProfile)
{
    EXPECT_EQ(modem_of(std::string("fault no-final:AT\n") + plain_rows).say("AT\r"), "");
}

TEST(SimulatedModem, SurvivesAnyBytes)
{
    ModemUnderTest test = modem_of(plain_rows);
    std::mt19937 random(1);
    std::string bytes;
    for (int i = 0; i < 200'000; i++)
        bytes += static_cast<char>(random());
    test.say(bytes);
    EXPECT_EQ(test.say("\rAT\r"), "\r\nOK\r\n");
}

TEST(ModemManual, HasAWorkedExampleThatIsTrue)
{
    const std::string manual = SOURCE_ROOT "/docs/simulated-modems.md";
    const std::string session = block_of(manual, "session");
    ModemUnderTest test(
        parse_profile("acme.modem", block_of(manual, "modem"), [](const std::string &) { return std::string(); }));
    std::istringstream lines(session);
    std::string line;
    std::string played;
    int commands = 0;
    while (std::getline(lines, line)) {
        if (!line.starts_with("> "))
            continue;
        std::string reply = test.say(line.substr(2) + "\r\n");
        std::erase(reply, '\r');
        played += line + "\n" + reply;
        commands++;
    }
    EXPECT_EQ(commands, 8);
    EXPECT_EQ(played, session);
    EXPECT_EQ(test.modem.unknown_commands().size(), 1u);
}

} // namespace modem_test
