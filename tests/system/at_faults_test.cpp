#include <gtest/gtest.h>

#include "tests/system/documented_faults.h"
#include "tests/system/online.h"

// What a user sees of "modemctl AT" when the modem or its port misbehaves. docs/faults.md has these rows for people.

namespace at_faults_test {

struct AtFault {
    std::string what;    ///< as in docs/faults.md
    std::string outcome; ///< as it stands there
    Lines options;       ///< of the simulated router
    std::string script;
    std::string expected;

    friend void PrintTo(const AtFault &fault, std::ostream *out) { *out << fault.what; }
};

const std::string reply = "\nAT+CSQ\r\r\n+CSQ: 31,99\r\n\r\nOK\r\n"; // 29 bytes
const std::string ask_once = "modemctl AT AT+CSQ; echo status $?";
const std::string ask_twice = "modemctl AT AT+CSQ; echo status $?; sleep 2; modemctl AT AT+CGMM; echo status $?";
const std::string next_reply = "\nAT+CGMM\r\r\nEC25\r\n\r\nOK\r\nstatus 0\n";

// Another process keeps the port's lock for so long. Which of the two a busy machine starts first is not known, so the
// command gets some tries.
std::string ask_while_held(const std::string &seconds)
{
    return "exec 9</dev/ttyUSB2; for try in 1 2 3 4 5 6 7 8; do flock 9; (sleep " + seconds +
           "; flock -u 9) & modemctl AT AT+CSQ 9<&- >/tmp/out; status=$?; wait; [ ! -s /tmp/out ] || break; done; cat "
           "/tmp/out; "
           "echo status $status";
}

// The loader parts its list at blanks, and the project's folder may have one in its name.
std::string with_stuck_driver()
{
    return "cp " + built_word("stuck_driver.so") +
           " /tmp; ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 LD_PRELOAD=/tmp/stuck_driver.so ";
}

const AtFault at_faults[] = {
    {"the modem is silent", "nothing, after 15 s", {"--fault", "silence"}, ask_once, "status 0\n"},
    {"it answers 0.4 s late", "the reply", {"--fault", "late=400:AT+CSQ"}, ask_once, reply + "status 0\n"},
    {"it answers 0.6 s late", "the reply", {"--fault", "late=600:AT+CSQ"}, ask_once, reply + "status 0\n"},
    {"it answers 5 s late", "the reply", {"--fault", "late=5000:AT+CSQ"}, ask_once, reply + "status 0\n"},
    {"it answers 16 s late",
     "the echo, after 15 s; the next command has its own reply",
     {"--fault", "late=16000:AT+CSQ"},
     ask_twice,
     "\nAT+CSQ\rstatus 0\n" + next_reply},
    {"the reply has no end",
     "what came, after 15 s",
     {"--fault", "no-final:AT+CSQ"},
     ask_once,
     "\nAT+CSQ\r\r\n+CSQ: 31,99\r\nstatus 0\n"},
    // The modem stops when it has read the next command, up to which a piece of its filler may still come.
    {"the reply never ends",
     "its first 4095 bytes; the next command gets its own reply, preceded by what arrived while it was being sent",
     {"--fault", "endless:AT+CSQ"},
     "modemctl AT AT+CSQ | tail -c +2 | wc -c; modemctl AT AT+CGMM >/tmp/out; echo status $?; "
     "tr -d 'x\\r\\n' </tmp/out; tail -c 22 /tmp/out",
     "4095\nstatus 0\nAT+CGMMEC25OK" + next_reply.substr(1, 22)},
    {"the reply has 5000 bytes",
     "its first 4095 bytes",
     {"--fault", "extra=5000:AT+CSQ"},
     "modemctl AT AT+CSQ >/tmp/out; echo status $?; tail -c +2 /tmp/out | wc -c; head -c 22 /tmp/out",
     "status 0\n4095\n" + reply.substr(0, 22)},
    {"zero bytes in the reply", "the reply without them", {"--fault", "zero=5:AT+CSQ"}, ask_once, reply + "status 0\n"},
    {"8-bit bytes in the reply",
     "the reply with them; in JSON each becomes U+FFFD",
     {"--fault", "eight-bit=3:AT+CSQ"},
     "modemctl AT AT+CSQ >/tmp/out; echo status $?; wc -c </tmp/out; tr -d '\\200-\\377' </tmp/out",
     "status 0\n32\n" + reply},
    {"garbage in front of it",
     "the reply with it",
     {"--fault", "garbage-before:AT+CSQ"},
     "modemctl AT AT+CSQ >/tmp/out; echo status $?; wc -c </tmp/out; head -c 8 /tmp/out; tail -c 21 /tmp/out",
     "status 0\n45\n" + reply},
    {"garbage inside",
     "the reply with it",
     {"--fault", "garbage-inside:AT+CSQ"},
     "modemctl AT AT+CSQ >/tmp/out; echo status $?; wc -c </tmp/out; head -c 18 /tmp/out; tail -c 11 /tmp/out",
     "status 0\n45\n" + reply},
    {"garbage after it",
     "the reply; the next command has its own",
     {"--fault", "garbage-after:AT+CSQ"},
     "modemctl AT AT+CSQ | head -c 29; modemctl AT AT+CGMM; echo status $?",
     reply + next_reply},
    {"the device goes away as the command comes",
     "nothing, within 16 s",
     {"--fault", "gone-before:AT+CSQ"},
     ask_once,
     "status 0\n"},
    {"the device goes away in the middle of the reply",
     "what came, within 16 s",
     {"--fault", "gone-during:AT+CSQ"},
     ask_once,
     "\nAT+CSQ\r\r\n+CSQ: 31status 0\n"},
    {"the device goes away after the reply",
     "the reply",
     {"--fault", "gone-after:AT+CSQ"},
     ask_once,
     reply + "status 0\n"},
    {"it comes back under other numbers",
     "what came; the next command finds the new port",
     {"--fault", "gone-during=300:AT+CSQ", "--renumber"},
     ask_twice,
     "\nAT+CSQ\r\r\n+CSQ: 31status 0\n" + next_reply},
    {"the port is gone before it is opened",
     "a message on standard error",
     {},
     "modemctl AT /dev/ttyUSB7 AT+CSQ 2>&1; echo status $?",
     "Error opening serial port /dev/ttyUSB7 - No such file or directory(2).\nstatus 0\n"},
    {"the modem takes no bytes",
     "nothing, after 16 s",
     {"--fault", "silence"},
     with_stuck_driver() + "modemctl AT AT+CSQ; echo status $?; cat /tmp/driver",
     "status 0\nclosing_wait 65535\nclosed, and waits 0\nclosing_wait 3000\n"},
    {"another process has stopped the port's output",
     "nothing, after 16 s",
     {},
     built_word("stop_output") + " /dev/ttyUSB2 " + ask_once + "; modemctl AT AT+CGMM; echo status $?",
     "status 0\n" + next_reply},
    {"the modem sends a byte every 0.3 s",
     "the reply, up to OK at least; one without an end is read for up to 20 minutes",
     {"--deliver", "1:300", "--fault", "extra=40:AT+CSQ"},
     "modemctl AT AT+CSQ >/tmp/out; echo status $?; tr -d 'x\\r\\n' </tmp/out",
     "status 0\nAT+CSQ+CSQ: 31,99OK"},
    {"the command is ended by a signal (SIGTERM, SIGINT, SIGHUP)",
     "the signal's status; the port is set as it was before",
     {"--fault", "silence"},
     "stty -F /dev/ttyUSB2 -a >/tmp/before; for signal in TERM HUP; do\n"
     "    modemctl AT AT+CSQ & until stty -F /dev/ttyUSB2 -a | grep -q -e -icanon; do :; done\n"
     "    kill -$signal $!; wait $! 2>/dev/null; echo status $?; stty -F /dev/ttyUSB2 -a | cmp - /tmp/before; done",
     "status 143\nstatus 129\n"},
    {"another process holds the lock for 10 ms", "the reply", {}, ask_while_held("0.01"), reply + "status 0\n"},
    {"another process holds the lock for 29 ms", "the reply", {}, ask_while_held("0.029"), reply + "status 0\n"},
    {"another process holds the lock for 40 ms", "the reply", {}, ask_while_held("0.04"), reply + "status 0\n"},
    {"another process holds the lock for 2 s",
     "nothing, after 80 ms",
     {},
     "exec 9</dev/ttyUSB2; flock 9; (sleep 2; flock -u 9) & " + ask_once + "; wait",
     "status 0\n"},
    {"another process holds the lock for ever",
     "nothing, after 80 ms, and no byte is sent",
     {},
     "exec 9</dev/ttyUSB2; flock 9; " + ask_once,
     "status 0\n"},
};

class AtFaults : public testing::TestWithParam<AtFault> {};

TEST_P(AtFaults, ShowTheUserWhatIsDocumented)
{
    const AtFault &fault = GetParam();
    Lines options = {"--modem", "EC25"};
    options.insert(options.end(), fault.options.begin(), fault.options.end());
    const RouterRun run = run_shell(options, fault.script);
    EXPECT_EQ(run.out, fault.expected) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(documented_faults("## One command")[fault.what], fault.outcome) << fault.what;
}

INSTANTIATE_TEST_SUITE_P(Slow, AtFaults, testing::ValuesIn(at_faults),
                         [](const auto &row) { return test_name_of(row.param.what); });

// The first piece of the reply ends after each of its bytes once, and the next one comes in another read.
TEST(SlowAtFaults, AReplyInTwoPiecesIsOneReply)
{
    const auto ask = [](size_t first) {
        return run_shell({"--modem", "EC25", "--deliver", std::to_string(first) + ":15"}, "modemctl AT AT+CSQ");
    };
    for (size_t first = 1; first < reply.size() - 1; first++) {
        // The line end is waited for at most 50 ms: a loaded machine may bring it later than the modem sent it.
        RouterRun run = ask(first);
        for (int tries = 1; tries < 5 && run.out != reply; tries++)
            run = ask(first);
        EXPECT_EQ(run.out, reply) << first;
        EXPECT_EQ(run.err, "");
    }
}

// Nothing is sent by whom the port does not belong to, and the terminal is the holder's.
TEST(SlowAtFaults, WithoutTheLockNothingIsSent)
{
    const RouterRun run = run_shell({"--modem", "EC25"}, "exec 9</dev/ttyUSB2; flock 9; " + ask_once);
    EXPECT_EQ(run.out, "status 0\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "");
}

// What a modem does not take is waited for once, and not once more by the driver in the close.
TEST(SlowAtFaults, AModemThatTakesNothingIsGivenUpAsASilentOne)
{
    const std::vector<std::function<RouterRun()>> runs = {
        [] {
            return run_shell({"--modem", "EC25", "--fault", "silence"}, with_stuck_driver() + "modemctl AT ATI");
        },
        [] {
            return run_shell({"--modem", "EC25"}, built_word("stop_output") + " /dev/ttyUSB2 modemctl AT ATI");
        },
    };
    for (const RouterRun &run : run_at_once(runs)) {
        EXPECT_GE(run.duration, std::chrono::milliseconds{15500});
        EXPECT_LT(run.duration, std::chrono::milliseconds{45000}); // waited for at each reading it would be over 60 s
    }
}

TEST(SlowAtFaults, ASilentModemIsGivenUpAfterThirtyHalfSeconds)
{
    for (const char *fault : {"silence", "no-final:ATI"})
        EXPECT_GE(run_shell({"--modem", "EC25", "--fault", fault}, "modemctl AT ATI").duration,
                  std::chrono::milliseconds{15000});
}

TEST(AtFaultsTable, HasNoRowWithoutATest)
{
    std::set<std::string> tested = {
        "the reply comes in two pieces, cut after each of its bytes once", // SlowAtFaults
        "the reply comes byte by byte",                                    // the tests that run so
        "sixteen commands at once",                                        // SlowPortQueue
    };
    for (const AtFault &fault : at_faults)
        tested.insert(fault.what);
    EXPECT_EQ(names_of(documented_faults("## One command")), tested);
}

} // namespace at_faults_test
