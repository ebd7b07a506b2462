#include <filesystem>

#include "walk.h"

// Debian's own programs at a modem's ports: pppd dials, gammu and smsd ask and send at the serial ones, and qmicli
// speaks QMI at the control channel, with packets through the network device.

namespace clients_test {

namespace fs = std::filesystem;

constexpr const char *functions =
    "q() { timeout 200 qmicli -d /dev/cdc-wdm0 \"$@\" 2>&1 | sed 's/^\\[[^]]*\\] *//; s/^[ \\t]*//'; }\n"
    "use_address() { ip addr add 10.64.1.2/30 dev wwan0; ip link set wwan0 up; ip route add 10.99.0.0/24 via "
    "10.64.1.1; }\n"
    "use_network() { busybox ping -A -c 2 -W 60 10.99.0.1 | grep received; busybox ping -c 1 -s 1400 -W 60 10.64.1.1 | "
    "grep received; timeout 200 wget -q -O - http://10.99.0.1/3000000 | md5sum; }\n"
    // The kernel gives one device in eight an address that its driver may take for the beginning of a packet.
    "use_awkward_address() { for try in $(seq 60); do\n"
    "    case $(cat /sys/class/net/wwan0/address) in [46]*) return ;; esac\n"
    "    for change in unbind bind; do echo 1-1.2:1.4 >/sys/bus/usb/drivers/qmi_wwan/$change; done\n"
    "    wait_until '[ -e /sys/class/net/wwan0/address ] && [ -e /dev/cdc-wdm0 ]'\n"
    "done; }\n";

constexpr const char *network_used = "2 packets transmitted, 2 packets received, 0% packet loss\n"
                                     "1 packets transmitted, 1 packets received, 0% packet loss\n"
                                     "3cd33ccdd83d586323c6a4699d77c81c  -\n";

/// Settings of pppd, and what it does with chat before. The network wants the APN, the user and the password.
constexpr const char *dial_files =
    "printf '%s\\n' \"ABORT 'NO CARRIER' ABORT ERROR TIMEOUT 120 '' AT OK "
    "'AT+CGDCONT=1,\\\"IP\\\",\\\"\\$APN\\\"' OK 'ATD*99***1#' CONNECT\" >/tmp/chat\n"
    "printf '%s\\n' /dev/ttyUSB3 115200 nodetach noauth noipdefault nodefaultroute usepeerdns crtscts modem "
    "'ifname 3g-modem' 'user guest' 'connect \"chat -E -s -f /tmp/chat\"' >/tmp/dial\n"
    "printf '%s\\n' '#!/bin/sh' 'echo \"$1 $4 $5 $DNS1 $DNS2\" >/tmp/up' >/etc/ppp/ip-up; chmod +x /etc/ppp/ip-up\n"
    "final() { tr -dc '[:print:]\\n' | grep -o -e '^OK$' -e '^CONNECT' -e '^NO CARRIER$'; }\n";

/// A person at the modem's port: open_line, say COMMAND RESULT prints that result, escape RESULT, close_line.
constexpr const char *person = R"sh(
open_line() { exec 5<>/dev/ttyUSB3; stty raw -echo <&5; : >/tmp/heard; cat <&5 >>/tmp/heard & listener=$!; }
close_line() { kill $listener; wait $listener 2>/dev/null; exec 5>&-; }
hears() { final </tmp/heard | grep "^$1\$"; }
say() { : >/tmp/heard; printf '%s\r' "$1" >&5; wait_until "hears '$2'"; }
escape() { sleep 1.2; : >/tmp/heard; printf +++ >&5; wait_until "hears '$1'"; }
)sh";

struct Clients {
    static Lines options()
    {
        return {"--modem", "EC25",
                "--link",  "apn=internet,username=guest,password=secret",
                "--sms",   "+441632960001:Hello at 8?"};
    }
    static std::vector<Script> scripts()
    {
        return {
            {"wrong APN", std::string(dial_files) + person +
                              "APN=wrong pppd file /tmp/dial >/tmp/log 2>&1\necho $?\n"
                              "modemctl AT /dev/ttyUSB3 AT+CGDCONT?"},
            {"wrong password",
             "APN=internet pppd file /tmp/dial password wrong >/tmp/log 2>&1\necho $?\n"
             "grep -m 1 -o 'CHAP authentication failed' /tmp/log; modemctl AT /dev/ttyUSB3 AT | final | tail -n 1"},
            {"call",
             "APN=internet pppd file /tmp/dial password secret >/tmp/log 2>&1 &\ncall=$!\n"
             "wait_until '[ -s /tmp/up ]'; cat /tmp/up\n"
             "ip route add 10.99.0.0/24 dev 3g-modem; busybox ping -A -c 2 -W 60 10.99.0.1 | grep received\n"
             "timeout 200 wget -q -O - http://10.99.0.1/2000000 | md5sum; seq 400000 | head -c 2000000 | md5sum\n"
             "kill $call; wait $call; echo $?; modemctl AT /dev/ttyUSB3 AT | final | tail -n 1"},
            // Not pppd: the other side only asks in vain. A modem wants a second of silence on both sides of "+++".
            {"escape", "open_line; say ATE0 OK; say 'ATD*99***1#' CONNECT; escape OK; say AT OK; say ATO CONNECT\n"
                       "escape OK; say ATH OK; say ATO 'NO CARRIER'; close_line"},
            // What the modem says when the port is closed may get lost, so it is asked: there is no call to go on with.
            {"DTR", "open_line; say 'ATD*99***1#' CONNECT; close_line\n"
                    "open_line; say AT OK; say ATO 'NO CARRIER'; close_line"},
            {"gammu", "printf '[gammu]\\ndevice = /dev/ttyUSB2\\nconnection = at115200\\n' >/tmp/gammurc\n"
                      "ask() { timeout 200 gammu -c /tmp/gammurc \"$@\" 2>&1; }\n"
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
            {"device", std::string(functions) +
                           "q --dms-get-manufacturer; q --dms-get-model; q --dms-get-revision; q --dms-get-ids"},
            {"card", "q --uim-get-card-status | grep -e 'Application state' -e 'PIN1 retries'\n"
                     "q --uim-read-transparent=0x3F00,0x7FFF,0x6F07 | grep ^08; q "
                     "--uim-get-file-attributes=0x3F00,0x2FE2 | grep File.size"},
            {"network",
             "q --nas-get-signal-info; q --nas-get-serving-system; q --nas-get-system-info | grep -A 3 ^LTE"},
            {"refused", "q --wds-start-network=apn=wrong,ip-type=4\n"
                        "q --wds-start-network=apn=internet,username=guest,password=wrong,ip-type=4\n"
                        "q --wds-get-packet-service-status; ip link set wwan0 up\n"
                        "busybox ping -I wwan0 -c 1 -W 2 10.64.1.1 2>&1 | grep -c '1 packets received'"},
            {"connected",
             "use_awkward_address; q --wds-start-network=apn=internet,username=guest,password=secret,ip-type=4 "
             "--client-no-release-cid >/tmp/call\n"
             "head -n 1 /tmp/call; q --wds-get-packet-service-status; q --wds-get-current-settings\n"
             "use_address; use_network"},
            {"stopped", "q --wds-stop-network=$(grep -o \"[0-9]\\{6,\\}\" /tmp/call) --client-cid=1; q "
                        "--wds-get-packet-service-status\n"
                        "busybox ping -c 1 -W 2 10.64.1.1 | grep received"},
            {"raw", "ip link set wwan0 down; echo Y >/sys/class/net/wwan0/qmi/raw_ip\n"
                    "q --wda-set-data-format=raw-ip | grep -i 'link layer'\n"
                    "q --wds-start-network=apn=internet,username=guest,password=secret,ip-type=4 "
                    "--client-no-release-cid | head -n 1\n"
                    "use_address 2>/dev/null; use_network"},
            {"switched off",
             "modemctl AT AT+CFUN=4 | grep -o ^OK; q --dms-get-operating-mode | head -n 2; q "
             "--wds-get-packet-service-status\n"
             "q --wds-start-network=apn=internet,ip-type=4 | grep -v '^$'; q --nas-get-serving-system | grep state"},
        };
    }
};

class KernelClients : public OnKernelWithClients<Clients> {
  protected:
    void SetUp() override
    {
        for (const char *program : {"/usr/bin/gammu", "/usr/sbin/smsd"})
            if (!fs::exists(program))
                GTEST_SKIP() << program << " is missing: tools/setup.sh kernel installs it";
        OnKernelWithClients::SetUp();
    }
};

// Status 8 of pppd: chat, which was to dial, has failed.
TEST_F(KernelClients, HearNoCarrierForAWrongApn)
{
    EXPECT_EQ(walk().of("wrong APN").substr(0, 2), "8\n");
    EXPECT_NE(walk().of("wrong APN").find("+CGDCONT: 1,\"IP\",\"wrong\""), std::string::npos);
}

TEST_F(KernelClients, AreRefusedWithAWrongPassword)
{
    EXPECT_EQ(walk().of("wrong password"), "19\nCHAP authentication failed\nOK\n");
}

TEST_F(KernelClients, CarryDataThroughACall)
{
    EXPECT_EQ(walk().of("call"), "3g-modem 10.64.1.2 10.64.1.1 10.99.0.53 10.99.0.54\n"
                                 "2 packets transmitted, 2 packets received, 0% packet loss\n"
                                 "eff0fc7451f6bb0a307cbb18a92c5c00  -\neff0fc7451f6bb0a307cbb18a92c5c00  -\n"
                                 "5\nOK\n");
}

TEST_F(KernelClients, InterruptACallAndHangUp)
{
    EXPECT_EQ(walk().of("escape"), "OK\nCONNECT\nOK\nOK\nCONNECT\nOK\nOK\nNO CARRIER\n");
}

TEST_F(KernelClients, EndTheirCallWhenTheyCloseThePort)
{
    EXPECT_EQ(walk().of("DTR"), "CONNECT\nOK\nNO CARRIER\n");
}

// gammu reads the memory of the card and that of the modem, which are one here.
TEST_F(KernelClients, AskTheModemAndItsNetwork)
{
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

TEST_F(KernelClients, SendAndReceiveMessages)
{
    EXPECT_EQ(walk().of("smsd"), "failed:\n"
                                 "\n"
                                 "sent:\n"
                                 "reply\n"
                                 "From: 441632960001\n"
                                 "Hello at 8?\n");
}

TEST_F(KernelClients, KnowsTheModemAndItsCard)
{
    EXPECT_EQ(walk().of("device"), "Device manufacturer retrieved:\nManufacturer: 'Quectel'\n"
                                   "Device model retrieved:\nModel: 'EC25'\n"
                                   "Device revision retrieved:\nRevision: 'EC25EFAR06A03M4G'\n"
                                   "Device IDs retrieved:\nESN: '0'\nIMEI: '861536030123456'\nMEID: 'unknown'\n");
    EXPECT_EQ(walk().of("card"),
              "Application state: 'ready'\nPIN1 retries: '3'\n08:29:23:30:21:43:65:87:09\nFile size: 10\n");
}

TEST_F(KernelClients, KnowsTheNetwork)
{
    EXPECT_EQ(walk().of("network"),
              "Successfully got signal info\nLTE:\nRSSI: '-51 dBm'\nRSRQ: '-11 dB'\nRSRP: '-86 dBm'\nSNR: '3.6 dB'\n"
              "Successfully got serving system:\nRegistration state: 'registered'\nCS: 'attached'\nPS: 'attached'\n"
              "Selected network: '3gpp'\nRadio interfaces: '1'\n[0]: 'lte'\nRoaming status: 'off'\n"
              "Data service capabilities: '1'\n[0]: 'lte'\nCurrent PLMN:\nMCC: '232'\nMNC: '3'\n"
              "Description: 'T-Mobile A'\n3GPP cell ID: '30844171'\nLTE tracking area code: '9750'\n"
              "LTE service:\nStatus: 'available'\nTrue Status: 'available'\nPreferred data path: 'yes'\n");
}

TEST_F(KernelClients, IsRefusedWithAWrongApnOrPassword)
{
    EXPECT_EQ(walk().of("refused"), "error: couldn't start network: QMI protocol error (14): 'CallFailed'\n"
                                    "call end reason (1): generic-unspecified\n"
                                    "verbose call end reason (6,27): [3gpp] unknown-apn\n"
                                    "error: couldn't start network: QMI protocol error (14): 'CallFailed'\n"
                                    "call end reason (10): generic-authentication-failed\n"
                                    "verbose call end reason (6,29): [3gpp] authentication-failed\n"
                                    "Connection status: 'disconnected'\n0\n");
}

TEST_F(KernelClients, CarriesDataInEthernetFrames)
{
    EXPECT_EQ(walk().of("connected"),
              std::string("Network started\nConnection status: 'connected'\n"
                          "Current settings retrieved:\nIP Family: IPv4\nIPv4 address: 10.64.1.2\n"
                          "IPv4 subnet mask: 255.255.255.252\nIPv4 gateway address: 10.64.1.1\n"
                          "IPv4 primary DNS: 10.99.0.53\nIPv4 secondary DNS: 10.99.0.54\nMTU: 1500\n") +
                  network_used);
    EXPECT_EQ(walk().of("stopped"),
              "Network cancelled... releasing resources\nNetwork stopped\n"
              "Connection status: 'disconnected'\n1 packets transmitted, 0 packets received, 100% packet loss\n");
}

TEST_F(KernelClients, CarriesDataAsRawPackets)
{
    EXPECT_EQ(walk().of("raw"), std::string("Link layer protocol: 'raw-ip'\nNetwork started\n") + network_used);
}

TEST_F(KernelClients, LosesItsCallWhenTheRadioIsSwitchedOff)
{
    EXPECT_EQ(walk().of("switched off"),
              "OK\nOperating mode retrieved:\nMode: 'low-power'\nConnection status: 'disconnected'\n"
              "error: couldn't start network: QMI protocol error (14): 'CallFailed'\n"
              "call end reason (3): generic-no-service\n"
              "verbose call end reason (3,2001): [cm] no-service\n"
              "Registration state: 'not-registered'\n");
}

} // namespace clients_test
