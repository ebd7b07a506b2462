#include "online.h"

// The network functions of modems that are standards, with the kernel's drivers for them, and the product's connections
// over them.

namespace network_test {

/// No model in the profiles speaks NCM.
std::string ncm_profile()
{
    return own_modem("ncm", "include EC200T\n"
                            "model NCM\n"
                            "usb 2c7c:6026\n"
                            "interface 0 none ncm netdev usb0\n"
                            "interface 2 ttyUSB silent\n"
                            "interface 3 ttyUSB at\n"
                            "interface 4 ttyUSB at\n");
}

/// DHCP on a network device of its own is no built-in model's way to connect.
std::string dhcp_profile()
{
    return own_modem("dhcp", "include NL678E\n"
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
                             "OK\n");
}

/// What every network device has to do: fetch DEVICE.
constexpr const char *helpers =
    "carrier() { cat /sys/class/net/$1/carrier; }\n"
    "fetch() { ip route add 10.99.0.0/24 dev $1; busybox ping -A -c 2 -W 60 10.99.0.1 | grep received\n"
    "    timeout 200 wget -q -O - http://10.99.0.1/3000000 | md5sum; ip route del 10.99.0.0/24 dev $1; }\n"
    "printf '%s\\n' '#!/bin/sh' '[ \"$1\" != bound ] || { ip addr add $ip/$mask dev $interface; "
    "echo $ip/$mask $router $dns; }' >/tmp/leased; chmod +x /tmp/leased\n"
    "address() { busybox udhcpc -q -n -t 20 -f -s /tmp/leased -i $1 2>/dev/null; }\n";

std::string ethernet(const std::string &bus, const std::string &device)
{
    return "readlink /sys/class/net/" + device + "/device/driver | grep -o '[^/]*$'\n" + "ip link set " + device +
           " up; modemctl " + bus + " AT 'AT+CGDCONT=1,\"IP\",\"wrong\"' >/dev/null\nmodemctl " + bus +
           " AT AT+QNETDEVCTL=1,1,1 >/dev/null; sleep 1; carrier " + device + "\nmodemctl " + bus +
           " AT 'AT+CGDCONT=1,\"IP\",\"internet\"' >/dev/null\nmodemctl " + bus +
           " AT AT+QNETDEVCTL=1,1,1 >/dev/null; wait_until '[ $(carrier " + device + ") = 1 ]'; carrier " + device +
           "\naddress " + device + "; fetch " + device + "\nmodemctl " + bus +
           " AT AT+QNETDEVCTL=0,1,1 >/dev/null; wait_until '[ $(carrier " + device + ") = 0 ]'; carrier " + device +
           "\n";
}

struct NetworkFunctions {
    static Lines options()
    {
        return with_online_files({"--modem", "EC200T", "--modem", ncm_profile() + "@1-1.3", "--modem", "EM9190@1-1.4",
                                  "--modem", dhcp_profile() + "@1-1.5", "--link", "apn=internet"});
    }
    static std::vector<Script> scripts()
    {
        return {{"ECM", helpers + ethernet("1-1.2", "usb0")},
                {"NCM", ethernet("1-1.3", "usb1")},
                {"MBIM",
                 "m() { timeout 200 mbimcli -d /dev/cdc-wdm0 \"$@\" 2>&1 | sed 's/^\\[[^]]*\\] *//; s/^[ \\t]*//'; }\n"
                 "m --query-device-caps; m --query-subscriber-ready-status; m --query-registration-state; "
                 "m --query-signal-state; m --query-home-provider; m --query-pin-state"},
                {"MBIM refused", "m --connect=access-string=wrong"},
                {"MBIM connected",
                 "m --attach-packet-service | grep state; m --connect=access-string=internet --no-close >/tmp/call; "
                 "cat /tmp/call\nip link set wwan0 up; ip addr add 10.64.3.2/30 dev wwan0; fetch wwan0\n"
                 "m --no-open=$(grep -o 'TRID: .*' /tmp/call | tr -dc 0-9) --disconnect | grep state\n"
                 "busybox ping -c 1 -W 2 -I wwan0 10.64.3.1 | grep received; ip addr flush dev wwan0"},
                {"online",
                 online_functions + std::string("online 1-1.4 qmi 0 internet\n"
                                                "modemctl 1-1.5 AT 'AT+CGDCONT=1,\"IP\",\"internet\"' >/dev/null\n"
                                                "online 1-1.5 serial 1 internet")}};
    }
};
using KernelNetworkFunctions = OnKernelWithClients<NetworkFunctions>;

const std::string fetched =
    "2 packets transmitted, 2 packets received, 0% packet loss\n3cd33ccdd83d586323c6a4699d77c81c  -\n";

TEST_F(KernelNetworkFunctions, ComeOnlineByEcm)
{
    EXPECT_EQ(walk().of("ECM"), "cdc_ether\n0\n1\n10.64.1.2/30 10.64.1.1 10.99.0.53 10.99.0.54\n" + fetched + "0\n");
}

TEST_F(KernelNetworkFunctions, ComeOnlineByNcm)
{
    EXPECT_EQ(walk().of("NCM"), "cdc_ncm\n0\n1\n10.64.2.2/30 10.64.2.1 10.99.0.53 10.99.0.54\n" + fetched + "0\n");
}

TEST_F(KernelNetworkFunctions, AnswerMbim)
{
    EXPECT_EQ(walk().of("MBIM"), "Device capabilities retrieved:\n"
                                 "Device type: 'embedded'\n"
                                 "Cellular class: 'gsm'\n"
                                 "Voice class: 'no-voice'\n"
                                 "SIM class: 'removable'\n"
                                 "Data class: 'gprs, edge, umts, hsdpa, hsupa, lte'\n"
                                 "SMS caps: 'pdu-receive, pdu-send'\n"
                                 "Ctrl caps: 'none'\n"
                                 "Max sessions: '1'\n"
                                 "Custom data class: 'unknown'\n"
                                 "Device ID: '359072061234562'\n"
                                 "Firmware info: 'SWIX55C_03.09.11.00'\n"
                                 "Hardware info: 'EM9190'\n"
                                 "Subscriber ready status retrieved:\n"
                                 "Ready state: 'initialized'\n"
                                 "Subscriber ID: '505011234567890'\n"
                                 "SIM ICCID: '89610180001234567890'\n"
                                 "Ready info: 'none'\n"
                                 "Telephone numbers: (0) 'unknown'\n"
                                 "Registration status:\n"
                                 "Network error: 'none'\n"
                                 "Register state: 'home'\n"
                                 "Register mode: 'automatic'\n"
                                 "Available data classes: 'lte'\n"
                                 "Current cellular class: 'gsm'\n"
                                 "Provider ID: '50501'\n"
                                 "Provider name: 'Telstra'\n"
                                 "Roaming text: 'unknown'\n"
                                 "Registration flags: 'none'\n"
                                 "Signal state:\n"
                                 "RSSI [0-31,99]: '25'\n"
                                 "Error rate [0-7,99]: '99'\n"
                                 "Signal strength interval: '5'\n"
                                 "RSSI threshold: '1'\n"
                                 "Error rate threshold: '99'\n"
                                 "Home provider:\n"
                                 "Provider ID: '50501'\n"
                                 "Provider name: 'Telstra'\n"
                                 "State: 'home'\n"
                                 "Cellular class: 'gsm'\n"
                                 "RSSI: '99'\n"
                                 "Error rate: '99'\n"
                                 "PIN info:\n"
                                 "PIN state: 'unlocked'\n");
}

TEST_F(KernelNetworkFunctions, DemandTheApnByMbim)
{
    EXPECT_EQ(walk().of("MBIM refused"), "error: operation failed: InvalidAccessString\n");
}

TEST_F(KernelNetworkFunctions, ComeOnlineByMbim)
{
    EXPECT_EQ(walk().of("MBIM connected"), "Packet service state: 'attached'\n"
                                           "Successfully connected\n"
                                           "\n"
                                           "Connection status:\n"
                                           "Session ID: '0'\n"
                                           "Activation state: 'activated'\n"
                                           "Voice call state: 'none'\n"
                                           "IP type: 'ipv4'\n"
                                           "Context type: 'internet'\n"
                                           "Network error: 'none'\n"
                                           "\n"
                                           "IPv4 configuration available: 'address, gateway, dns, mtu'\n"
                                           "IP [0]: '10.64.3.2/30'\n"
                                           "Gateway: '10.64.3.1'\n"
                                           "DNS [0]: '10.99.0.53'\n"
                                           "DNS [1]: '10.99.0.54'\n"
                                           "MTU: '1500'\n"
                                           "\n"
                                           "IPv6 configuration available: 'none'\n"
                                           "Session not closed:\n"
                                           "TRID: '4'\n"
                                           "2 packets transmitted, 2 packets received, 0% packet loss\n"
                                           "3cd33ccdd83d586323c6a4699d77c81c  -\n"
                                           "Activation state: 'deactivated'\n"
                                           "Voice call state: 'none'\n"
                                           "1 packets transmitted, 0 packets received, 100% packet loss\n");
}

TEST_F(KernelNetworkFunctions, ServeTheProductByMbimAndByDhcpOnADeviceOfItsOwn)
{
    EXPECT_EQ(walk().of("online"), was_online("1-1.4", "mbim", "10.64.3.2") + was_online("1-1.5", "dhcp", "10.64.4.2"));
}

} // namespace network_test
