#include <filesystem>

#include "online.h"

// The product's connections over the kernel's drivers: what the network refuses, two modems at once, and what is pulled
// out while it connects, is connected, and reads or sends a message.

namespace connect_test {

namespace fs = std::filesystem;

/// Its network takes a message, and the modem is gone before it says so.
std::string sending_profile()
{
    return own_modem("sending", "include EP06\n"
                                "model EP06\n"
                                "> AT+CMGS=<length:7-164>\n"
                                "@ when message_format 0\n"
                                "@ prompt pdu\n"
                                "@ detach 0 3000\n");
}

const std::string names = std::string(online_functions) +
                          "first=modem_1_1_2; second=modem_1_1_3\n"
                          "with_user() { uci set network.$1.username=guest; uci set network.$1.password=$2\n"
                          "    uci commit network; ubus call network reload; }\n";

/// smsd at the second modem's port, whose own waits are cut short.
constexpr const char *send_message =
    "mkdir -p /tmp/sms; cd /tmp/sms; mkdir incoming outgoing checked sent failed\n"
    "printf 'devices = GMS99\\nlogfile = /tmp/sms/log\\ninfofile = /tmp/sms/info\\npidfile = /tmp/sms/pid\\n"
    "delaytime = 1\\nerrorsleeptime = 1\\nloglevel = 7\\n' >conf\n"
    "for folder in incoming outgoing checked sent failed; do echo $folder = $PWD/$folder >>conf; done\n"
    "printf '[GMS99]\\ndevice = %s\\nincoming = no\\nread_timeout = 3\\ndevice_open_errorsleeptime = 1\\n' "
    "$(device 1-1.3 2) >>conf\n"
    "printf 'To: 441632960009\\n\\nOn my way' >outgoing/reply\n"
    "smsd -c/tmp/sms/conf -t >/dev/null 2>&1 &\nserver=$!; cd /\n";

struct Connect {
    static Lines options()
    {
        return with_online_files({"--modem", "EC25", "--modem", sending_profile() + "@1-1.3", "--link",
                                  "apn=internet,username=guest,password=secret", "--fault",
                                  "1-1.2/gone-during=5000:AT+CSQ", "--fault", "1-1.2/gone-during=3000:AT+CMGR=1",
                                  "--fault", "1-1.2/gone-during=3000:AT+CGDCONT=1,\"IP\",\"cut\"", "--sms",
                                  "1-1.2/+441632960001:Hello"});
    }
    static std::vector<Script> scripts()
    {
        const std::string start = "note_number 1-1.2; start=$(now)\n";
        // A program that waited for what is gone would take more than a minute.
        const std::string in_time = "[ $(($(now) - start)) -lt 60 ] && echo in time\n";
        return {
            {"wrong APN",
             names + "connect 1-1.2 qmi 4 wrong; until_error $first CALL_FAILED; ip -4 -o addr show dev wwan0"},
            {"wrong password",
             "connect 1-1.2 serial 3 internet; with_user $first wrong; until_error $first AUTH_FAILED\n"
             "with_user $first secret; until_up $first; status $first | cut -d, -f 1"},
            {"another one beside it", "connect 1-1.3 qmi 4 internet; with_user $second secret; until_up $second\n"
                                      "use $second; use $first\n"
                                      "modemctl 1-1.3 signal >/dev/null && echo asked; modemctl disconnect"},
            // The call goes with the port, and the handler dials again when the port is back.
            {"pulled out while connected",
             "note_number 1-1.2; modemctl 1-1.2 AT AT+CSQ >/dev/null; wait_until 'is_pending $first && echo pending'\n"
             "is_up $second && echo the other one is up\nuntil_back 1-1.2; until_up $first; use $first"},
            // smsd keeps the port, and waits for the answer while the other modem is pulled out.
            {"sent", std::string("note_number 1-1.3\n") + send_message + "until_back 1-1.3"},
            {"in a connect", start + "connect 1-1.2 qmi 4 cut\n" + in_time +
                                 "until_back 1-1.2; until_error $first CALL_FAILED | grep -o CALL_FAILED\n"
                                 "connect 1-1.2 qmi 4 internet; with_user $first secret; until_up $first; use $first\n"
                                 "ifdown $first"},
            {"in a message that is sent",
             "wait_until '[ -e /tmp/sms/failed/reply ]'; kill $server; wait $server\n"
             "ls /tmp/sms/sent /tmp/sms/failed\n"
             "grep -o -m 1 -e 'The modem did not answer (expected OK)' /tmp/sms/log\n"
             "grep -o -m 1 -e 'write_to_modem: error 5' /tmp/sms/log; grep -o 'Sending SMS to .* failed' /tmp/sms/log\n"
             "modemctl 1-1.3 AT ATI | grep -o ^EP06"},
            // A program that holds a port makes the modem come back under other numbers. One is the number that smsd's
            // port had, so that smsd has to be gone: it would open that port again, and ask another modem.
            {"in a message", start +
                                 "port=$(device 1-1.2 3); exec 9<>$port\n"
                                 "modemctl 1-1.2 AT AT+CMGR=1 | tr -d '\\r' | grep -v '^$'\n" +
                                 in_time +
                                 "until_back 1-1.2; [ $(device 1-1.2 3) != $port ] && echo another number\n"
                                 "modemctl 1-1.2 AT ATI | grep -o ^EC25; connect 1-1.2 serial 3 internet\n"
                                 "with_user $first secret; until_up $first; use $first; exec 9<&-"},
        };
    }
};

class KernelConnect : public OnKernelWithClients<Connect> {
  protected:
    void SetUp() override
    {
        if (!fs::exists("/usr/sbin/smsd"))
            GTEST_SKIP() << "smsd is missing: tools/setup.sh kernel installs it";
        OnKernelWithClients::SetUp();
    }
};

const std::string state = R"("available":true,"autostart":true,"dynamic":false,"proto":)";

TEST_F(KernelConnect, IsRefusedWithAWrongApnOrPassword)
{
    EXPECT_EQ(walk().of("wrong APN"), "connect success\n{\"up\":false,\"pending\":true," + state +
                                          R"("qmi","data":{},"errors":[{"subsystem":"qmi","code":"CALL_FAILED"}]})"
                                          "\n");
    EXPECT_EQ(walk().of("wrong password"), "connect success\n{\"up\":false,\"pending\":true," + state +
                                               R"("3g","data":{},"errors":[{"subsystem":"3g","code":"AUTH_FAILED"}]})"
                                               "\n{\"up\":true\n");
}

TEST_F(KernelConnect, ServesTwoModemsAtOnce)
{
    EXPECT_EQ(walk().of("another one beside it"), "connect success\n" + used + used + "asked\n\nmodem disconnect\n");
}

TEST_F(KernelConnect, ComesBackWhenTheModemDoes)
{
    EXPECT_EQ(walk().of("pulled out while connected"), "pending\nthe other one is up\n" + used);
}

TEST_F(KernelConnect, FindsAModemAgainThatWasPulledOutInAConnect)
{
    EXPECT_EQ(walk().of("in a connect"), "connect success\nin time\nCALL_FAILED\nconnect success\n" + used);
}

// What has come is the reply.
TEST_F(KernelConnect, FindsAModemThatWasPulledOutInAMessageUnderOtherNumbers)
{
    EXPECT_EQ(
        walk().of("in a message"),
        "AT+CMGR=1\n+CMGR: 0,,24\n0791447700090000040C91446123\nin time\nanother number\nEC25\nconnect success\n" +
            used);
}

// smsd does not know that the network has the message. It writes to a port that is no more, and gives the message up.
TEST_F(KernelConnect, FindsAModemThatWasPulledOutWhileItSentAMessage)
{
    EXPECT_EQ(walk().of("in a message that is sent"),
              "/tmp/sms/failed:\nreply\n\n/tmp/sms/sent:\nThe modem did not answer (expected OK)\n"
              "write_to_modem: error 5\nSending SMS to 441632960009 failed\nEP06\n");
}

} // namespace connect_test
