
#include <gtest/gtest.h>

#include "tests/system/harness.h"

// Hotplug scripts, the web back end and people start us side by side: they share one port and the same files.

namespace many_at_once_test {

using Lines = std::vector<std::string>;

TEST(ManyAtOnce, EachGetsItsOwnReplyOrNone)
{
    // A modem echoes each command and refuses it: whose bytes a reply has is plain.
    const RouterRun run =
        run_shell({"--modem", "EC25", "--wait"},
                  "for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16; do (\n"
                  "    for n in 1 2 3 4 5 6 7 8 9 10 11 12; do\n"
                  "        modemctl AT AT+OWN$i.$n 2>/dev/null | tr -d '\\n' | tr '\\r' '|' >/tmp/reply.$i.$n\n"
                  "    done) & done; wait; cd /tmp; for f in reply.*; do echo \"$f $(cat $f)\"; done");
    int answered = 0;
    const Lines lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), 16U * 12) << run.err;
    for (const std::string &line : lines) {
        const size_t blank = line.find(' ');
        const std::string own = line.substr(6, blank - 6); // "3.7" of "reply.3.7"
        const std::string reply = line.substr(blank + 1);
        if (reply.empty())
            continue; // the port's lock was held by others for as long as it is tried for
        answered++;
        EXPECT_EQ(reply, "AT+OWN" + own + "||ERROR|");
    }
    EXPECT_GE(answered, 16);
    RecordProperty("answered", answered);
    printf("%d of %zu commands got the port\n", answered, lines.size());
}

TEST(ManyAtOnce, CommandLineAndLibraryShareThePort)
{
    std::string requests;
    for (int i = 0; i < 20; i++)
        requests +=
            "post /modem/at {\"at-command\":\"AT+WEB" + std::to_string(i) + "\",\"at-port\":\"/dev/ttyUSB2\"}\n";
    const RouterRun run = run_shell({"--modem", "EC25", "--wait"},
                                    "(for n in 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19; do\n"
                                    "    for try in 1 2 3; do\n"
                                    "        reply=$(modemctl AT AT+CLI$n 2>/dev/null | tr -d '\\n' | tr '\\r' '|')\n"
                                    "        [ -z \"$reply\" ] || break\n"
                                    "    done; echo \"$reply\"\n"
                                    "done) >/tmp/cli & modemapi >/tmp/web 2>/dev/null <<'END'\n" +
                                        requests + "END\nwait; cat /tmp/web; echo --; cat /tmp/cli");
    const Lines lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), 41U) << run.out;
    int web_answered = 0;
    int cli_answered = 0;
    for (size_t i = 0; i < 20; i++) {
        const std::string number = std::to_string(i);
        if (lines[i] != "-255 {}") {
            web_answered++;
            EXPECT_EQ(lines[i], "0 {\"message\":\"AT+WEB" + number + "\\r\\r\\nERROR\\r\\n\"}");
        }
        if (!lines[21 + i].empty()) {
            cli_answered++;
            EXPECT_EQ(lines[21 + i], "AT+CLI" + number + "||ERROR|");
        }
    }
    // A side that is refused for long has met a lock that does not come free.
    EXPECT_GE(web_answered, 5);
    EXPECT_GE(cli_answered, 5);
    printf("%d requests and %d commands got the port\n", web_answered, cli_answered);
}

TEST(ManyAtOnce, LoseNoSettingOfEachOther)
{
    std::string sections;
    for (int i = 0; i < 200; i++)
        sections += "\\nconfig interface modem_9_" + std::to_string(i) + "\\n\\toption disabled 1\\n";
    const auto writer = [](int first) {
        std::string requests;
        for (int i = first; i < 200; i += 2)
            requests += "post /modem/enable {\"bus\":\"9-" + std::to_string(i) + "\"}\n";
        return "modemapi >/dev/null 2>&1 <<'END' &\n" + requests + "END\n";
    };
    const RouterRun run =
        run_shell({"--wait"}, "printf '" + sections + "' >>/etc/config/network\n" + writer(0) + writer(1) +
                                  "wait; uci show network | grep -c 'modem_9_.*disabled=.0'; uci show network | "
                                  "grep -c 'modem_9_.*=interface'");
    EXPECT_EQ(run.out, "200\n200\n") << run.err;
}

TEST(ManyAtOnce, TwoConnectFlowsLeaveWholeFiles)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25", "--link", "setup=50", "--put-text", "/tmp/sim_status=ready", "--put-text",
         "/tmp/sim_type=x", "--wait"},
        "for n in 1 2 3; do\n"
        "    modemctl connect serial /dev/ttyUSB3 '*99#' one >/dev/null 2>&1 & modemctl connect qmi /dev/cdc-wdm0 "
        "internet two >/dev/null 2>&1 & wait\n"
        "done; for p in network mwan3 system devconf cellconf firewall; do uci show $p >/dev/null || echo $p is "
        "broken; "
        "done; uci get network.modem_1_1_2; uci get network.lan; ls /etc/config | grep -v '^[a-z0-9]*$'");
    EXPECT_EQ(run.out, "interface\ninterface\n") << run.err;
}

} // namespace many_at_once_test
