#include <filesystem>
#include <fstream>

#include "online.h"

// Going online with the product over the kernel's drivers: each model in its way, what the network refuses, what is
// pulled out, and two modems at once.

namespace connect_test {

namespace fs = std::filesystem;

/// DHCP on a network device of its own is no built-in model's way to connect.
std::string dhcp_profile()
{
    static const TemporaryFolder folder;
    std::string path = folder.path() + "/dhcp.modem";
    std::ofstream(path) << "include NL678E\n"
                           "model NL668\n"
                           "usb 1508:1001\n"
                           "interface 0 ttyUSB silent\n"
                           "interface 1 ttyUSB at\n"
                           "interface 2 ttyUSB at\n"
                           "interface 3 ttyUSB silent\n"
                           "interface 4 none ecm netdev usb0\n"
                           "> AT+GTRNDIS=<state:0-1>,<cid:1-16>\n"
                           "@ data open $cid\n"
                           "\n"
                           "OK\n";
    return path;
}

// The handlers for Sierra and SIMCom are those of QMI where the kernel's driver is that of QMI.
struct OldModelsOnline {
    static Lines options()
    {
        Lines options = with_online_files(in_hub({"EC20", "EC25", "EP06", "UC20", "MC7430", "SIMCOM7600"}));
        options.insert(options.end(), {"--link", "apn=internet"});
        return options;
    }
    static std::vector<Script> scripts()
    {
        return {{"online",
                 online_functions + std::string("online 1-1.2 qmi 4 internet; online 1-1.3 serial 3 internet\n"
                                                "online 1-1.4 qmi 4 internet; online 1-1.5 serial 3 internet\n"
                                                "online 1-1.6 serial 3 internet; online 1-1.7 serial 3 internet")}};
    }
};

struct NewModelsOnline {
    static Lines options()
    {
        Lines options = with_online_files(in_hub({"ME3630", "EC200T", "BG95", "EG91", "EC100Y", "NL678E"}));
        options.insert(options.end(), {"--link", "apn=internet"});
        return options;
    }
    static std::vector<Script> scripts()
    {
        return {
            {"online", online_functions + std::string("online 1-1.2 serial 2 internet; online 1-1.3 serial 4 internet\n"
                                                      "online 1-1.4 serial 2 internet; online 1-1.5 qmi 4 internet\n"
                                                      "online 1-1.6 serial 1 internet; online 1-1.7 qmi 4 internet")}};
    }
};

struct OtherWaysOnline {
    static Lines options()
    {
        return with_online_files({"--modem", "EM9190", "--modem", dhcp_profile() + "@1-1.3", "--link", "apn=internet"});
    }
    static std::vector<Script> scripts()
    {
        return {{"online",
                 online_functions + std::string("online 1-1.2 qmi 0 internet\n"
                                                "modemctl 1-1.3 AT 'AT+CGDCONT=1,\"IP\",\"internet\"' >/dev/null\n"
                                                "online 1-1.3 serial 1 internet")}};
    }
};

// The kernel counts its devices, so that a machine too busy to see it away knows that it was.
const std::string note_number = "before=$(cat /sys/bus/usb/devices/1-1.2/devnum)\n";
const std::string until_back = "wait_until '[ -e /sys/bus/usb/devices/1-1.2/port ] && "
                               "[ $(cat /sys/bus/usb/devices/1-1.2/devnum) != $before ]' 2>/dev/null\n";

const std::string names = std::string(online_functions) +
                          "first=modem_1_1_2; second=modem_1_1_3\n"
                          "with_user() { uci set network.$1.username=guest; uci set network.$1.password=$2\n"
                          "    uci commit network; ubus call network reload; }\n";

struct Connect {
    static Lines options()
    {
        return with_online_files({"--modem", "EC25", "--modem", "EP06@1-1.3", "--link",
                                  "apn=internet,username=guest,password=secret", "--fault",
                                  "1-1.2/gone-during=3000:AT+CSQ"});
    }
    static std::vector<Script> scripts()
    {
        return {
            {"wrong APN", names + "connect 1-1.2 qmi 4 wrong\n"
                                  "wait_until 'status $first | grep -q CALL_FAILED'; status $first; echo\n"
                                  "ip -4 -o addr show dev wwan0"},
            {"wrong password", "connect 1-1.2 serial 3 internet; with_user $first wrong\n"
                               "wait_until 'status $first | grep -q AUTH_FAILED'; status $first; echo\n"
                               "with_user $first secret; until_up $first; status $first | cut -d, -f 1"},
            {"another one beside it", "connect 1-1.3 qmi 4 internet; with_user $second secret; until_up $second\n"
                                      "use $second; use $first\n"
                                      "modemctl 1-1.3 signal >/dev/null && echo asked; modemctl disconnect"},
            // The call goes with the port, and the handler dials again when the port is back.
            {"pulled out while connected",
             note_number +
                 "modemctl 1-1.2 AT AT+CSQ >/dev/null; wait_until 'is_pending $first'; is_pending $first && echo "
                 "pending\nis_up $second && echo the other one is up\n" +
                 until_back + "until_up $first; use $first"},
        };
    }
};

struct PulledOut {
    static Lines options()
    {
        return with_online_files({"--modem", "EC25", "--link", "apn=internet", "--fault", "gone-during=3000:AT+CMGR=1",
                                  "--fault", "gone-during=3000:AT+CGDCONT=1,\"IP\",\"cut\"", "--sms",
                                  "+441632960001:Hello"});
    }
    static std::vector<Script> scripts()
    {
        const std::string start = note_number + "start=$(cut -d. -f1 /proc/uptime)\n";
        const std::string in_time = "[ $(($(cut -d. -f1 /proc/uptime) - start)) -lt 30 ] && echo in time\n";
        return {
            {"in a connect",
             names + start + "connect 1-1.2 qmi 4 cut\n" + in_time + until_back +
                 "wait_until 'status $first | grep -q CALL_FAILED'; status $first | grep -o CALL_FAILED\n"
                 "connect 1-1.2 qmi 4 internet; until_up $first; use $first; ifdown $first"},
            // A program that holds a port makes the modem come back under other numbers.
            {"in a message", start + "exec 9<>/dev/ttyUSB3; modemctl AT AT+CMGR=1 | tr -d '\\r' | grep -v '^$'\n" +
                                 in_time + until_back +
                                 "device 1-1.2 3; modemctl AT ATI | grep -o ^EC25\n"
                                 "connect 1-1.2 serial 3 internet; until_up $first; use $first; exec 9<&-"},
        };
    }
};

template <typename Suite> class WithClients : public OnKernel<Suite> {
  protected:
    void SetUp() override
    {
        for (const char *program : {"/usr/bin/qmicli", "/usr/bin/mbimcli", "/usr/sbin/pppd"})
            if (!fs::exists(program))
                GTEST_SKIP() << program << " is missing: tools/setup.sh kernel installs it";
        OnKernel<Suite>::SetUp();
    }
};
using KernelOldModelsOnline = WithClients<OldModelsOnline>;
using KernelNewModelsOnline = WithClients<NewModelsOnline>;
using KernelOtherWaysOnline = WithClients<OtherWaysOnline>;
using KernelConnect = WithClients<Connect>;
using KernelPulledOut = WithClients<PulledOut>;

TEST_F(KernelOldModelsOnline, EachInItsWay)
{
    EXPECT_EQ(walk().of("online"),
              was_online("1-1.2", "qmi", "10.64.1.2") + was_online("1-1.3", "3g", "10.64.2.2") +
                  was_online("1-1.4", "qmi", "10.64.3.2") + was_online("1-1.5", "3g", "10.64.4.2") +
                  was_online("1-1.6", "qmi", "10.64.5.2") + was_online("1-1.7", "qmi", "10.64.6.2"));
}

TEST_F(KernelNewModelsOnline, EachInItsWay)
{
    EXPECT_EQ(walk().of("online"),
              was_online("1-1.2", "ncm", "10.64.1.2") + was_online("1-1.3", "ncm", "10.64.2.2") +
                  was_online("1-1.4", "3g", "10.64.3.2") + was_online("1-1.5", "qmi", "10.64.4.2") +
                  was_online("1-1.6", "3g", "10.64.5.2") + was_online("1-1.7", "qmi", "10.64.6.2"));
}

TEST_F(KernelOtherWaysOnline, ByMbimAndByDhcpOnADeviceOfItsOwn)
{
    EXPECT_EQ(walk().of("online"), was_online("1-1.2", "mbim", "10.64.1.2") + was_online("1-1.3", "dhcp", "10.64.2.2"));
}

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

TEST_F(KernelPulledOut, InAConnectIsFoundAgain)
{
    EXPECT_EQ(walk().of("in a connect"), "connect success\nin time\nCALL_FAILED\nconnect success\n" + used);
}

// What has come is the reply.
TEST_F(KernelPulledOut, InAMessageComesBackUnderOtherNumbers)
{
    EXPECT_EQ(walk().of("in a message"),
              "AT+CMGR=1\n+CMGR: 0,,24\n0791447700090000040C91446123\nin time\n/dev/ttyUSB4\nEC25\nconnect success\n" +
                  used);
}

} // namespace connect_test
