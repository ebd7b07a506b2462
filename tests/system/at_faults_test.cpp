#include <gtest/gtest.h>

#include "tests/system/online.h"

// What a user sees of "modemctl AT" when the modem or its port misbehaves. docs/faults.md has these rows for people.

namespace {

struct AtFault {
    std::string what; ///< as in docs/faults.md
    Lines options;    ///< of the simulated router
    std::string script;
    std::string expected;
};

const std::string reply = "\nAT+CSQ\r\r\n+CSQ: 31,99\r\n\r\nOK\r\n"; // 29 bytes
const std::string ask_once = "modemctl AT AT+CSQ; echo status $?";
const std::string ask_twice = "modemctl AT AT+CSQ; echo; sleep 2; modemctl AT AT+CGMM; echo status $?";
const std::string next_reply = "\n\nAT+CGMM\r\r\nEC25\r\n\r\nOK\r\nstatus 0\n";

// Another process keeps the port's lock for so long. Which of the two a busy machine starts first is not known, so the
// command gets some tries.
std::string ask_while_held(const std::string &seconds)
{
    return "exec 9</dev/ttyUSB2; for try in 1 2 3 4 5 6 7 8; do flock 9; (sleep " + seconds +
           "; flock -u 9) & modemctl AT AT+CSQ 9<&- >/tmp/out; wait; [ ! -s /tmp/out ] || break; done; cat /tmp/out; "
           "echo status $?";
}

const AtFault at_faults[] = {
    {"the modem is silent", {"--fault", "silence"}, ask_once, "status 0\n"},
    {"it answers 0.4 s late", {"--fault", "late=400:AT+CSQ"}, ask_once, reply + "status 0\n"},
    {"it answers 0.6 s late", {"--fault", "late=600:AT+CSQ"}, ask_once, reply + "status 0\n"},
    {"it answers 5 s late", {"--fault", "late=5000:AT+CSQ"}, ask_once, reply + "status 0\n"},
    {"it answers 16 s late", {"--fault", "late=16000:AT+CSQ"}, ask_twice, "\nAT+CSQ\r" + next_reply},
    {"the reply has no end", {"--fault", "no-final:AT+CSQ"}, ask_once, "\nAT+CSQ\r\r\n+CSQ: 31,99\r\nstatus 0\n"},
    {"the reply never ends",
     {"--fault", "endless:AT+CSQ"},
     "modemctl AT AT+CSQ | tail -c +2 | wc -c; modemctl AT AT+CGMM; echo status $?",
     "4095\n" + next_reply.substr(1)},
    {"the reply has 5000 bytes",
     {"--fault", "extra=5000:AT+CSQ"},
     "modemctl AT AT+CSQ >/tmp/out; echo status $?; tail -c +2 /tmp/out | wc -c; head -c 22 /tmp/out",
     "status 0\n4095\n" + reply.substr(0, 22)},
    {"zero bytes in the reply", {"--fault", "zero=5:AT+CSQ"}, ask_once, reply + "status 0\n"},
    {"8-bit bytes in the reply",
     {"--fault", "eight-bit=3:AT+CSQ"},
     "modemctl AT AT+CSQ >/tmp/out; echo status $?; wc -c </tmp/out; tr -d '\\200-\\377' </tmp/out",
     "status 0\n32\n" + reply},
    {"garbage in front of it",
     {"--fault", "garbage-before:AT+CSQ"},
     "modemctl AT AT+CSQ >/tmp/out; echo status $?; wc -c </tmp/out; head -c 8 /tmp/out; tail -c 21 /tmp/out",
     "status 0\n45\n" + reply},
    {"garbage inside",
     {"--fault", "garbage-inside:AT+CSQ"},
     "modemctl AT AT+CSQ >/tmp/out; echo status $?; wc -c </tmp/out; head -c 18 /tmp/out; tail -c 11 /tmp/out",
     "status 0\n45\n" + reply},
    {"garbage behind it",
     {"--fault", "garbage-after:AT+CSQ"},
     "modemctl AT AT+CSQ | head -c 29; modemctl AT AT+CGMM; echo status $?",
     reply + next_reply.substr(1)},
    {"the device goes away as the command comes", {"--fault", "gone-before:AT+CSQ"}, ask_once, "status 0\n"},
    {"the device goes away in the middle of the reply",
     {"--fault", "gone-during:AT+CSQ"},
     ask_once,
     "\nAT+CSQ\r\r\n+CSQ: 31status 0\n"},
    {"the device goes away behind the reply", {"--fault", "gone-after:AT+CSQ"}, ask_once, reply + "status 0\n"},
    {"it comes back under other numbers",
     {"--fault", "gone-during=300:AT+CSQ", "--renumber"},
     ask_twice,
     "\nAT+CSQ\r\r\n+CSQ: 31" + next_reply},
    {"the port is gone before it is opened",
     {},
     "modemctl AT /dev/ttyUSB7 AT+CSQ 2>&1; echo status $?",
     "Error opening serial port /dev/ttyUSB7 - No such file or directory(2).\nstatus 0\n"},
    {"another process holds the lock for 10 ms", {}, ask_while_held("0.01"), reply + "status 0\n"},
    {"another process holds the lock for 29 ms", {}, ask_while_held("0.029"), reply + "status 0\n"},
    {"another process holds the lock for 40 ms", {}, ask_while_held("0.04"), reply + "status 0\n"},
    {"another process holds the lock for ever", {}, "exec 9</dev/ttyUSB2; flock 9; " + ask_once, "status 0\n"},
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
    EXPECT_NE(read_text(SOURCE_ROOT "/docs/faults.md").find("| " + fault.what + " |"), std::string::npos)
        << fault.what << " is not in docs/faults.md";
}

INSTANTIATE_TEST_SUITE_P(Slow, AtFaults, testing::ValuesIn(at_faults), [](const auto &row) {
    std::string name;
    for (const char character : row.param.what)
        if (isalnum(static_cast<unsigned char>(character)) != 0)
            name += character;
    return name;
});

// The first piece of the reply ends behind each of its bytes once, and the next one comes in another read. What comes
// behind the OK of a piece is not waited for.
TEST(SlowAtFaults, AReplyInTwoPiecesIsOneReply)
{
    std::vector<std::function<RouterRun()>> runs;
    for (size_t first = 1; first < reply.size() - 1; first++)
        runs.emplace_back([first] {
            return run_shell({"--modem", "EC25", "--deliver", std::to_string(first) + ":30"}, "modemctl AT AT+CSQ");
        });
    for (const RouterRun &run : run_at_once(runs)) {
        EXPECT_GE(run.out.size(), reply.find("OK") + 2) << run.out;
        EXPECT_EQ(run.out, reply.substr(0, run.out.size()));
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

TEST(SlowAtFaults, ASilentModemIsGivenUpAfterThirtyHalfSeconds)
{
    for (const char *fault : {"silence", "no-final:ATI"})
        EXPECT_GE(run_shell({"--modem", "EC25", "--fault", fault}, "modemctl AT ATI").duration,
                  std::chrono::milliseconds{15000});
}

} // namespace
