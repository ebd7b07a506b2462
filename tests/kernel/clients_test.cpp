#include <filesystem>

#include "walk.h"

// Debian's own program for QMI at a modem's control channel, and packets through its network device.

namespace qmi_clients_test {

namespace fs = std::filesystem;

constexpr const char *functions =
    "q() { timeout 60 qmicli -d /dev/cdc-wdm0 \"$@\" 2>&1 | sed 's/^\\[[^]]*\\] *//; s/^[ \\t]*//'; }\n"
    "use_address() { ip addr add 10.64.1.2/30 dev wwan0; ip link set wwan0 up; ip route add 10.99.0.0/24 via "
    "10.64.1.1; }\n"
    "use_network() { busybox ping -c 2 -W 10 10.99.0.1 | grep received; busybox ping -c 1 -s 1400 -W 10 10.64.1.1 | "
    "grep received; wget -q -O - http://10.99.0.1/3000000 | md5sum; }\n"
    // The kernel gives one device in eight an address that its driver may take for the beginning of a packet.
    "use_awkward_address() { for try in $(seq 60); do\n"
    "    case $(cat /sys/class/net/wwan0/address) in [46]*) return ;; esac\n"
    "    for change in unbind bind; do echo 1-1.2:1.4 >/sys/bus/usb/drivers/qmi_wwan/$change; done\n"
    "    wait_until '[ -e /sys/class/net/wwan0/address ] && [ -e /dev/cdc-wdm0 ]'\n"
    "done; }\n";

constexpr const char *network_used = "2 packets transmitted, 2 packets received, 0% packet loss\n"
                                     "1 packets transmitted, 1 packets received, 0% packet loss\n"
                                     "3cd33ccdd83d586323c6a4699d77c81c  -\n";

struct QmiClient {
    static Lines options() { return {"--modem", "EC25", "--link", "apn=internet,username=guest,password=secret"}; }
    static std::vector<Script> scripts()
    {
        return {
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

class KernelQmiClient : public OnKernel<QmiClient> {
  protected:
    void SetUp() override
    {
        if (!fs::exists("/usr/bin/qmicli"))
            GTEST_SKIP() << "qmicli is missing: tools/setup.sh kernel installs it";
        OnKernel::SetUp();
    }
};

TEST_F(KernelQmiClient, KnowsTheModemAndItsCard)
{
    EXPECT_EQ(walk().of("device"), "Device manufacturer retrieved:\nManufacturer: 'Quectel'\n"
                                   "Device model retrieved:\nModel: 'EC25'\n"
                                   "Device revision retrieved:\nRevision: 'EC25EFAR06A03M4G'\n"
                                   "Device IDs retrieved:\nESN: '0'\nIMEI: '861536030123456'\nMEID: 'unknown'\n");
    EXPECT_EQ(walk().of("card"),
              "Application state: 'ready'\nPIN1 retries: '3'\n08:29:23:30:21:43:65:87:09\nFile size: 10\n");
}

TEST_F(KernelQmiClient, KnowsTheNetwork)
{
    EXPECT_EQ(walk().of("network"),
              "Successfully got signal info\nLTE:\nRSSI: '-51 dBm'\nRSRQ: '-11 dB'\nRSRP: '-86 dBm'\nSNR: '3.6 dB'\n"
              "Successfully got serving system:\nRegistration state: 'registered'\nCS: 'attached'\nPS: 'attached'\n"
              "Selected network: '3gpp'\nRadio interfaces: '1'\n[0]: 'lte'\nRoaming status: 'off'\n"
              "Data service capabilities: '1'\n[0]: 'lte'\nCurrent PLMN:\nMCC: '232'\nMNC: '3'\n"
              "Description: 'T-Mobile A'\n3GPP cell ID: '30844171'\nLTE tracking area code: '9750'\n"
              "LTE service:\nStatus: 'available'\nTrue Status: 'available'\nPreferred data path: 'yes'\n");
}

TEST_F(KernelQmiClient, IsRefusedWithAWrongApnOrPassword)
{
    EXPECT_EQ(walk().of("refused"), "error: couldn't start network: QMI protocol error (14): 'CallFailed'\n"
                                    "call end reason (1): generic-unspecified\n"
                                    "verbose call end reason (6,27): [3gpp] unknown-apn\n"
                                    "error: couldn't start network: QMI protocol error (14): 'CallFailed'\n"
                                    "call end reason (10): generic-authentication-failed\n"
                                    "verbose call end reason (6,29): [3gpp] authentication-failed\n"
                                    "Connection status: 'disconnected'\n0\n");
}

TEST_F(KernelQmiClient, CarriesDataInEthernetFrames)
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

TEST_F(KernelQmiClient, CarriesDataAsRawPackets)
{
    EXPECT_EQ(walk().of("raw"), std::string("Link layer protocol: 'raw-ip'\nNetwork started\n") + network_used);
}

TEST_F(KernelQmiClient, LosesItsCallWhenTheRadioIsSwitchedOff)
{
    EXPECT_EQ(walk().of("switched off"),
              "OK\nOperating mode retrieved:\nMode: 'low-power'\nConnection status: 'disconnected'\n"
              "error: couldn't start network: QMI protocol error (14): 'CallFailed'\n"
              "call end reason (3): generic-no-service\n"
              "verbose call end reason (3,2001): [cm] no-service\n"
              "Registration state: 'not-registered'\n");
}

} // namespace qmi_clients_test
