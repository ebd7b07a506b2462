#include <cstdlib>
#include <map>
#include <sstream>

#include <gtest/gtest.h>

#include "tests/system/harness.h"

// Page, cron job and scripts ask one modem at the same time: each of them gets its answer, in the order of coming.

namespace port_queue_test {

struct Sent {
    int process;
    int number;
};

// "AT+OWN3.7" of the log's lines, in the order in which the modem was asked.
std::vector<Sent> commands_of(const std::string &bytes)
{
    std::vector<Sent> commands;
    for (size_t at = bytes.find("AT+OWN"); at != std::string::npos; at = bytes.find("AT+OWN", at + 1)) {
        Sent sent{};
        if (sscanf(bytes.c_str() + at, "AT+OWN%d.%d", &sent.process, &sent.number) == 2)
            commands.push_back(sent);
    }
    return commands;
}

// A line a command: its number, the router's clock before and after it in seconds, and the reply.
RouterRun ask_at_once(int processes, int commands)
{
    return run_shell({"--modem", "EC25", "--wait"},
                     "for i in $(seq " + std::to_string(processes) + "); do (\n    for n in $(seq " +
                         std::to_string(commands) +
                         "); do\n"
                         "        start=$(cut -d ' ' -f 1 /proc/uptime)\n"
                         "        reply=$(modemctl AT AT+OWN$i.$n 2>&1 | tr -d '\\n' | tr '\\r' '|')\n"
                         "        echo \"$i.$n $start $(cut -d ' ' -f 1 /proc/uptime) $reply\" >/tmp/reply.$i.$n\n"
                         "    done) & done; wait; cat /tmp/reply.*");
}

struct Asked {
    std::string number;
    double waited_s = 0;
    std::string reply;
};

Asked parse_asked(const std::string &line)
{
    std::istringstream words(line);
    Asked asked;
    double start = 0;
    double end = 0;
    words >> asked.number >> start >> end >> std::ws;
    std::getline(words, asked.reply);
    asked.waited_s = end - start;
    return asked;
}

// PORT_QUEUE_COMMANDS=50 makes it a minute.
TEST(SlowPortQueue, AnswersSixteenAtOnceEachInItsTurn)
{
    constexpr int processes = 16;
    const char *wanted = getenv("PORT_QUEUE_COMMANDS");
    const int commands = wanted == nullptr ? 4 : atoi(wanted);
    const RouterRun run = ask_at_once(processes, commands);
    const std::vector<std::string> lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), static_cast<size_t>(processes * commands)) << run.err;
    // On a machine that is too busy for sixteen within 3 s, who has waited so long gives up. Nobody does before.
    constexpr double longest_wait_s = 2.95; // less the clock's step
    size_t answered = 0;
    for (const std::string &line : lines) {
        const Asked asked = parse_asked(line);
        if (asked.reply.empty()) {
            EXPECT_GE(asked.waited_s, longest_wait_s) << line;
            continue;
        }
        EXPECT_EQ(asked.reply, "AT+OWN" + asked.number + "||ERROR|");
        answered++;
    }
    EXPECT_GE(answered, lines.size() / 4);
    // Who comes again stands behind all who wait already, and meets each of them once.
    std::map<int, size_t> last;
    const std::vector<Sent> sent = commands_of(run.sent_to("ttyUSB2"));
    ASSERT_EQ(sent.size(), answered);
    for (size_t i = 0; i < sent.size(); i++) {
        if (last.contains(sent[i].process)) {
            EXPECT_LE(i - last[sent[i].process], 2U * processes - 1) << sent[i].process << "." << sent[i].number;
        }
        last[sent[i].process] = i;
    }
}

TEST(PortQueue, GivesSignalOfSeveralAtATime)
{
    const RouterRun run = run_shell({"--modem", "EC25", "--wait"},
                                    "modemctl signal >/tmp/alone; for i in 1 2 3 4 5 6; do (for n in 1 2 3; do "
                                    "modemctl signal >/tmp/$i.$n; cmp /tmp/alone /tmp/$i.$n; done) & done; wait; "
                                    "cat /tmp/alone");
    EXPECT_EQ(run.out.substr(0, 1), "{") << run.out;
    EXPECT_EQ(run.out.find("\"strength\":-1"), std::string::npos);
    EXPECT_NE(run.out.find("strength"), std::string::npos);
    EXPECT_EQ(run.err, "");
}

// Each of the back end's requests and of the command line's is one in the queue.
TEST(PortQueue, HoldsForTheLibraryToo)
{
    std::string requests;
    for (int i = 0; i < 10; i++)
        requests += "post /modem/at {\"at-command\":\"AT+WEB\",\"at-port\":\"/dev/ttyUSB2\"}\n";
    const RouterRun run = run_shell({"--modem", "EC25", "--wait"},
                                    "(for n in 1 2 3 4 5 6 7 8 9 10; do modemctl AT AT+CLI | tr -d '\\r\\n'; echo; "
                                    "done) >/tmp/cli & modemapi >/tmp/web <<'END'\n" +
                                        requests + "END\nwait; sort /tmp/web /tmp/cli | uniq -c | tr -s ' '");
    EXPECT_EQ(run.out, " 10 0 {\"message\":\"AT+WEB\\r\\r\\nERROR\\r\\n\"}\n 10 AT+CLIERROR\n");
}

// Killed in the queue and at the port: nothing stays behind.
TEST(PortQueue, IsLeftByAKilledProcess)
{
    const RouterRun run = run_shell({"--modem", "EC25", "--fault", "silence:AT+DEAF"},
                                    "modemctl AT AT+DEAF & first=$!; sleep 0.3; modemctl AT AT+NEXT & second=$!; "
                                    "sleep 0.3; modemctl AT AT+LAST >/tmp/last & third=$!; sleep 0.3; kill -9 $second; "
                                    "sleep 0.3; kill -9 $first; wait $third; tr -d '\\r\\n' </tmp/last");
    EXPECT_EQ(run.out, "AT+LASTERROR");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+DEAF\r\nAT+LAST\r\n");
}

} // namespace port_queue_test
