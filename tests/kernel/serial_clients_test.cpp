#include <filesystem>

#include "walk.h"

// Debian's own programs at a modem's serial ports: pppd dials, gammu and smsd ask and send.

namespace serial_clients_test {

namespace fs = std::filesystem;

/// Settings of pppd, and what it does with chat before. The network wants the APN, the user and the password.
constexpr const char *dial_files =
    "printf '%s\\n' \"ABORT 'NO CARRIER' ABORT ERROR TIMEOUT 20 '' AT OK "
    "'AT+CGDCONT=1,\\\"IP\\\",\\\"\\$APN\\\"' OK 'ATD*99***1#' CONNECT\" >/tmp/chat\n"
    "printf '%s\\n' /dev/ttyUSB3 115200 nodetach noauth noipdefault nodefaultroute usepeerdns crtscts modem "
    "'ifname 3g-modem' 'user guest' 'connect \"chat -E -s -f /tmp/chat\"' >/tmp/dial\n"
    "printf '%s\\n' '#!/bin/sh' 'echo \"$1 $4 $5 $DNS1 $DNS2\" >/tmp/up' >/etc/ppp/ip-up; chmod +x /etc/ppp/ip-up\n"
    "final() { tr -dc '[:print:]\\n' | grep -o -e '^OK$' -e '^CONNECT' -e '^NO CARRIER$'; }\n";

struct SerialClients {
    static Lines options()
    {
        return {"--modem", "EC25",
                "--link",  "apn=internet,username=guest,password=secret",
                "--sms",   "+441632960001:Hello at 8?"};
    }
    static std::vector<Script> scripts()
    {
        return {
            {"wrong APN", std::string(dial_files) + "APN=wrong pppd file /tmp/dial >/tmp/log 2>&1\necho $?\n"
                                                    "modemctl AT /dev/ttyUSB3 AT+CGDCONT?"},
            {"wrong password",
             "APN=internet pppd file /tmp/dial password wrong >/tmp/log 2>&1\necho $?\n"
             "grep -m 1 -o 'CHAP authentication failed' /tmp/log; modemctl AT /dev/ttyUSB3 AT | final"},
            {"call", "APN=internet pppd file /tmp/dial password secret >/tmp/log 2>&1 &\ncall=$!\n"
                     "wait_until '[ -e /tmp/up ]'; cat /tmp/up\n"
                     "ip route add 10.99.0.0/24 dev 3g-modem; busybox ping -c 2 -W 10 10.99.0.1 | grep received\n"
                     "wget -q -O - http://10.99.0.1/2000000 | md5sum; seq 400000 | head -c 2000000 | md5sum\n"
                     "kill $call; wait $call; echo $?; modemctl AT /dev/ttyUSB3 AT | final"},
            // Not pppd: the other side only asks in vain.
            {"escape", "(printf 'ATE0\\r'; sleep 1; printf 'ATD*99***1#\\r'; sleep 3; printf +++; sleep 3; "
                       "printf 'AT\\r'; sleep 1; printf 'ATO\\r'; sleep 3; printf +++; sleep 3; printf 'ATH\\r'; "
                       "sleep 1; printf 'ATO\\r'; sleep 1) | microcom -t 30000 /dev/ttyUSB3 | final"},
            {"DTR", "(printf 'ATD*99***1#\\r'; sleep 2) | microcom -t 4000 /dev/ttyUSB3 | final\n"
                    "(sleep 1; printf 'AT\\r'; sleep 1) | microcom -t 3000 /dev/ttyUSB3 | final"},
            {"gammu", "printf '[gammu]\\ndevice = /dev/ttyUSB2\\nconnection = at115200\\n' >/tmp/gammurc\n"
                      "ask() { timeout 60 gammu -c /tmp/gammurc \"$@\" 2>&1; }\n"
                      "ask identify | grep -e ^Manu -e ^IMEI -e ^'SIM IMSI'; ask networkinfo; ask getallsms | grep -e "
                      "Hello -e ^'Remote number'"},
            // After gammu: it takes what it has received out of the modem.
            {"smsd",
             "mkdir -p /tmp/sms; cd /tmp/sms; mkdir incoming outgoing checked sent failed\n"
             "printf 'devices = GMS99\\nlogfile = /tmp/sms/log\\ninfofile = /tmp/sms/info\\npidfile = "
             "/tmp/sms/pid\\ndelaytime = 1\\nloglevel = 6\\n' >conf\n"
             "for folder in incoming outgoing checked sent failed; do echo $folder = $PWD/$folder >>conf; done\n"
             "printf '[GMS99]\\ndevice = /dev/ttyUSB2\\nincoming = yes\\n' >>conf\n"
             "printf 'To: 441632960009\\n\\nOn my way' >outgoing/reply\n"
             "smsd -c/tmp/sms/conf -t >/dev/null 2>&1 &\nserver=$!\n"
             "wait_until '[ -e sent/reply ] && [ -n \"$(ls incoming)\" ]'; kill $server; ls sent failed\n"
             "grep ^From: incoming/*; tail -n 1 incoming/*; echo"},
        };
    }
};

class KernelSerialClients : public OnKernel<SerialClients> {
  protected:
    void SetUp() override
    {
        if (!fs::exists("/usr/sbin/pppd"))
            GTEST_SKIP() << "pppd is missing: tools/setup.sh kernel installs it";
        OnKernel::SetUp();
    }
};

// Status 8 of pppd: chat, which was to dial, has failed.
TEST_F(KernelSerialClients, HearNoCarrierForAWrongApn)
{
    EXPECT_EQ(walk().of("wrong APN").substr(0, 2), "8\n");
    EXPECT_NE(walk().of("wrong APN").find("+CGDCONT: 1,\"IP\",\"wrong\""), std::string::npos);
}

TEST_F(KernelSerialClients, AreRefusedWithAWrongPassword)
{
    EXPECT_EQ(walk().of("wrong password"), "19\nCHAP authentication failed\nOK\n");
}

TEST_F(KernelSerialClients, CarryDataThroughACall)
{
    EXPECT_EQ(walk().of("call"), "3g-modem 10.64.1.2 10.64.1.1 10.99.0.53 10.99.0.54\n"
                                 "2 packets transmitted, 2 packets received, 0% packet loss\n"
                                 "eff0fc7451f6bb0a307cbb18a92c5c00  -\neff0fc7451f6bb0a307cbb18a92c5c00  -\n"
                                 "5\nOK\n");
}

TEST_F(KernelSerialClients, InterruptACallAndHangUp)
{
    EXPECT_EQ(walk().of("escape"), "OK\nCONNECT\nOK\nOK\nCONNECT\nOK\nOK\nNO CARRIER\n");
}

TEST_F(KernelSerialClients, EndTheirCallWhenTheyCloseThePort)
{
    EXPECT_EQ(walk().of("DTR"), "CONNECT\nNO CARRIER\nOK\n");
}

// gammu reads the memory of the card and that of the modem, which are one here.
TEST_F(KernelSerialClients, AskTheModemAndItsNetwork)
{
    if (!fs::exists("/usr/bin/gammu"))
        GTEST_SKIP() << "gammu is missing: tools/setup.sh kernel installs it";
    EXPECT_EQ(walk().of("gammu"), "Manufacturer         : Quectel\n"
                                  "IMEI                 : 861536030123456\n"
                                  "SIM IMSI             : 232031234567890\n"
                                  "Network state        : home network\n"
                                  "Network              : 232 03 (T-Mobile AT, Austria), LAC 2616, CID 1D6A50B\n"
                                  "Name in phone        : \"T-Mobile A\"\n"
                                  "Packet network state : home network\n"
                                  "Packet network       : 232 03 (T-Mobile AT, Austria), LAC 2616, CID 1D6A50B\n"
                                  "Name in phone        : \"T-Mobile A\"\n"
                                  "GPRS                 : attached\n"
                                  "Remote number        : \"+441632960001\"\n"
                                  "Hello at 8?\n"
                                  "Remote number        : \"+441632960001\"\n"
                                  "Hello at 8?\n");
}

TEST_F(KernelSerialClients, SendAndReceiveMessages)
{
    if (!fs::exists("/usr/sbin/smsd"))
        GTEST_SKIP() << "smsd is missing: tools/setup.sh kernel installs it";
    EXPECT_EQ(walk().of("smsd"), "failed:\n"
                                 "\n"
                                 "sent:\n"
                                 "reply\n"
                                 "From: 441632960001\n"
                                 "Hello at 8?\n");
}

} // namespace serial_clients_test
