#include <filesystem>

#include "tests/paths.h"
#include "walk.h"

// Debian's ModemManager with the daemons that it needs: it finds the modem by the kernel's events, asks it by QMI and
// AT, and connects.

namespace modemmanager_test {

namespace fs = std::filesystem;

const std::string programs = std::string(SOURCE_ROOT) + "/build/modemmanager";

const std::string start_daemons =
    ". '" + std::string(SOURCE_ROOT) + "/tests/kernel/modemmanager.sh'\nstart_manager '" + programs + "'\n";

struct ModemManager {
    static Lines options()
    {
        return {
            "--modem", "EC25", "--sms", "+441632960001:Hello", "--link", "apn=internet,username=guest,password=secret"};
    }
    static std::vector<Script> scripts()
    {
        return {
            {"found", start_daemons +
                          "until_state disabled; until_known generic.plugin quectel\n"
                          "value generic.manufacturer; value generic.model; value generic.equipment-identifier\n"
                          "value generic.plugin; value 'generic.ports.value.*' | sort"},
            {"registered", "m --enable; until_state registered; until_known 3gpp.operator-name 'T-Mobile A'\n"
                           "until_known generic.access-technologies.value.* lte; until_known "
                           "generic.signal-quality.value 100\n"
                           "value generic.state; value 'generic.access-technologies.value.*'\n"
                           "value generic.signal-quality.value; value 3gpp.operator-code; value 3gpp.operator-name\n"
                           "value 3gpp.registration-state; mmcli -i any | grep -o 'imsi: .*'"},
            {"messages",
             "wait_until \"m --messaging-list-sms | grep -o -m 1 'SMS/0'\"; mmcli -s 0 | grep -o -e 'number: "
             ".*' -e 'text: .*'"},
            {"refused", "m --simple-connect=apn=wrong,ip-type=ipv4 >/dev/null 2>&1 || echo refused\n"
                        "grep -o -m 1 unknown-apn /tmp/log"},
            {"connected",
             "m --simple-connect=apn=internet,user=guest,password=secret,ip-type=ipv4\n"
             "m -K >/tmp/modem; value generic.state\n"
             "for bearer in 1 2 3; do mmcli -b $bearer -K 2>/dev/null; done | "
             "sed -n 's/^bearer.ipv4-config.address *: *10/10/p' >/tmp/address; cat /tmp/address\n"
             "ip addr add $(cat /tmp/address)/30 dev wwan0; ip link set wwan0 up; ip route add 10.99.0.0/24 dev wwan0\n"
             "busybox ping -A -c 2 -W 60 10.99.0.1 | grep received; timeout 200 wget -q -O - http://10.99.0.1/1000000 "
             "| md5sum\n"
             "m --simple-disconnect"},
        };
    }
};

class KernelModemManager : public OnKernel<ModemManager> {
  protected:
    void SetUp() override
    {
        if (!fs::exists(programs + "/usr/sbin/ModemManager") || !fs::exists("/usr/bin/qmicli"))
            GTEST_SKIP() << "ModemManager is missing: tools/setup.sh kernel fetches it";
        OnKernel::SetUp();
    }
};

TEST_F(KernelModemManager, FindsTheModemAndItsPorts)
{
    EXPECT_EQ(walk().of("found"), "Quectel\nEC25\n861536030123456\nquectel\ncdc-wdm0 (qmi)\nttyUSB1 (gps)\nttyUSB2 "
                                  "(at)\nttyUSB3 (at)\nwwan0 (net)\n");
}

TEST_F(KernelModemManager, SeesTheNetworkAndTheCard)
{
    EXPECT_EQ(walk().of("registered"),
              "successfully enabled the modem\nregistered\nlte\n100\n23203\nT-Mobile A\nhome\nimsi: 232031234567890\n");
}

TEST_F(KernelModemManager, ListsTheMessages)
{
    EXPECT_EQ(walk().of("messages"), "SMS/0\nnumber: +441632960001\ntext: Hello\n");
}

TEST_F(KernelModemManager, ConnectsWithTheRightApnOnly)
{
    EXPECT_EQ(walk().of("refused"), "refused\nunknown-apn\n");
    EXPECT_EQ(walk().of("connected"),
              "successfully connected the modem\nconnected\n10.64.1.2\n2 packets transmitted, 2 packets received, 0% "
              "packet loss\n6aa9a3b9b00ebbb8de878ced935dc80c  -\nsuccessfully disconnected all bearers in the modem\n");
}

} // namespace modemmanager_test
