#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// The real SMS daemon between two simulated modems and our reading of its spool.

namespace sms_daemon_test {

using Lines = std::vector<std::string>;

// Waits for what the daemon is to receive and send. The daemon ends with the router.
constexpr char daemon_script[] = R"sh(
mkdir -p /etc/spool/sms && cd /etc/spool/sms && mkdir -p incoming storage outgoing checked sent failed
>/tmp/smsd.log
printf 'To: 441632960009\n\nOn my way' >outgoing/reply
/usr/sbin/smsd -c/tmp/smsd.conf -t >/dev/null 2>&1 &
until [ "$(grep -c 'Wrote an incoming message file' /tmp/smsd.log)" = 9 ] && [ -e sent/reply ]; do sleep 0.1; done
CALL sms_count_unread 1-1.2
CALL sms_count_unread 1-1.3
CALL sms_mark_read "$(cd incoming && grep -l 'From: 70007' GMS99.*)"
CALL sms_list | sed 's/"GMS99\.[^"]*"/"GMS99.*"/' | sort
CALL sms_remove "$(ls storage)"
ls storage
)sh";

TEST(SmsDaemon, DeliversMessagesThatAreListedCountedMarkedAndRemoved)
{
    const Lines options = {
        "--modem",
        "EC25",
        "--modem",
        "EP06@1-1.3",
        "--strict",
        "--put",
        SOURCE_ROOT "/tests/data/sms/smsd.conf:/tmp/smsd.conf",
        "--sms",
        "1-1.2/+441632960001:Hello [5] ~ at 8?",
        "--sms",
        "1-1.2/+441632960002:Привет, 你好 😀",
        "--sms",
        "1-1.2/+441632960003:The first part of a message in three parts says where: at the station, below the clock, "
        "next to the man who sells newspapers. The second part says when: tomorrow at eight in the morning, or "
        "rather a little earlier, since the train leaves on time. The third part says what to bring: the map, two "
        "umbrellas and something to eat.",
        "--sms",
        "1-1.2/Bank:Your code is 1234",
        "--sms",
        "1-1.2/01632960004,flash:Look at once",
        "--sms",
        "1-1.2/70007:Read already",
        "--sms",
        "1-1.2/+441632960005:",
        "--sms-pdu",
        "1-1.2/0791447700090000062A0C91446123690090621013214365406210132153754000",
        "--sms",
        "1-1.3/+441632960006:For the other modem"};
    const std::string script = "CALL() { " + built_word("call_operation") + " 3 1-1.2 \"$@\"; }" + daemon_script;
    const RouterRun run = run_shell(options, script);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
    const Lines expected = {
        "8 ",
        "1 ",
        "0 ",
        "8 ",
        R"({"from":"01632960004\n","type":"national","time":"26-01-31 12:34:56\n","body":"Look at once",)"
        R"("status":"unread","name":"GMS99.*"})",
        R"({"from":"441632960001\n","type":"international","time":"26-01-31 12:34:56\n","body":"Hello [5] ~ at 8?",)"
        R"("status":"unread","name":"GMS99.*"})",
        R"({"from":"441632960002\n","type":"international","time":"26-01-31 12:34:56\n","body":"Привет, 你好 😀",)"
        R"("status":"unread","name":"GMS99.*"})",
        R"({"from":"441632960003\n","type":"international","time":"26-01-31 12:34:56\n",)"
        R"("body":"The first part of a message in three parts says where: at the station, below the clock, next to )"
        R"(the man who sells newspapers. The second part says when: tomorrow at eight in the morning, or rather a )"
        R"(little earlier, since the train leaves on time. The third part says what to bring: the map, two umbrellas )"
        R"(and something to eat.","status":"unread","name":"GMS99.*"})",
        R"({"from":"441632960005\n","type":"international","time":"26-01-31 12:34:56\n","body":"",)"
        R"("status":"unread","name":"GMS99.*"})",
        R"({"from":"441632960009\n","type":"international","time":"26-01-31 12:34:56\n",)"
        R"("body":"SMS STATUS REPORT\nMessage_id: 42\nDischarge_timestamp: 26-01-31 12:35:57\n)"
        R"(Status: 0,Ok,short message received by the SME","status":"unread","name":"GMS99.*"})",
        R"({"from":"70007\n","type":"unknown","time":"26-01-31 12:34:56\n","body":"Read already",)"
        R"("status":"read","name":"GMS99.*"})",
        R"({"from":"Bank\n","type":"unknown","time":"26-01-31 12:34:56\n","body":"Your code is 1234",)"
        R"("status":"unread","name":"GMS99.*"})",
        "0 ",
    };
    EXPECT_EQ(lines_of(run.out), expected);
    // Whichever modem was free first sent the message.
    const std::string sent = run.sent_to("ttyUSB2") + run.sent_to("ttyUSB6");
    EXPECT_NE(sent.find("AT+CMGS=22\r0011000C914461236900900000FF094F37A89D07DDC379\x1a"), std::string::npos) << sent;
}

} // namespace sms_daemon_test
