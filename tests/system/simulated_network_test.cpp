#include <gtest/gtest.h>

#include "tests/system/online.h"

// The simulated router's network: what its devices, counters and status tell.

namespace simulated_network_test {

const std::string counters = "grep modem /proc/net/dev | tr -s ' ' | cut -d ' ' -f 2,3,11; ";

std::string configure(const std::string &options)
{
    return "uci set network.modem=interface; for option in " + options +
           "; do uci set network.modem.$option; done; uci commit network; ubus call network reload; ";
}
const std::string wait_until_up = "until ifstatus modem | grep -q '\"up\": true'; do sleep 0.01; done; ";

TEST(SimulatedNetwork, CountsADialUpConnectionsTrafficOnAPointToPointDevice)
{
    if (!has_tunnels())
        GTEST_SKIP() << "TUN devices are not allowed here";
    const RouterRun run = run_online(
        {"--modem", "EC25", "--link", "modem,setup=1,traffic=123456/7890"},
        configure("proto=3g device=/dev/ttyUSB3 metric=40") + wait_until_up +
            "grep modem /proc/net/dev | tr -s ' ' | cut -d ' ' -f 1,2,10; grep modem /proc/net/route | cut -f 1-3,7;"
            "ifconfig 3g-modem | grep -o 'Link encap:[A-Z]*\\|inet addr:[0-9.]*\\|POINTOPOINT'");
    EXPECT_EQ(run.out, "3g-modem: 123456 7890\n3g-modem\t00000000\t0101400A\t40\n3g-modem\t0101400A\t00000000\t0\n"
                       "Link encap:UNSPEC\ninet addr:10.64.1.2\nPOINTOPOINT\n");
}

TEST(SimulatedNetwork, CountsAnEthernetDevicesTrafficOverAllItsConnections)
{
    const std::string show = wait_until_up + "grep wwan0 /proc/net/dev | tr -s ' ' | cut -d ' ' -f 2,3,11; ";
    const RouterRun run =
        run_online({"--modem", "EC25", "--link", "modem,setup=1,traffic=3000000/14,address=10.9.8.2/29,gateway="},
                   configure("proto=qmi device=/dev/cdc-wdm0") + show + "ubus call network.interface.modem down;" +
                       "grep wwan0 /proc/net/route; ubus call network.interface.modem up; " + show +
                       "grep wwan0 /proc/net/route | cut -f 1-3,8;"
                       "ifconfig wwan0 | grep -o 'Link encap:[A-Za-z]*\\|inet addr:[0-9.]*\\|POINTOPOINT'");
    EXPECT_EQ(run.out, "wwan0: 3000000 14\nwwan0: 6000000 28\nwwan0\t0008090A\t00000000\tF8FFFFFF\n"
                       "Link encap:Ethernet\ninet addr:10.9.8.2\n");
}

TEST(SimulatedNetwork, TakesADialUpConnectionsDeviceAwayWithIt)
{
    const RouterRun run = run_online(
        {"--modem", "EC25", "--link", "modem,setup=1"},
        configure("proto=3g device=/dev/ttyUSB3") + wait_until_up +
            "grep -c modem /proc/net/dev; ubus call network.interface.modem down; grep -c modem /proc/net/dev");
    EXPECT_EQ(run.out, "1\n0\n");
}

TEST(SimulatedNetwork, GivesACompanionTheAddress)
{
    const RouterRun run = run_online(
        {"--modem", "EC25", "--link", "modem,setup=1,companion=1"},
        configure("proto=qmi device=/dev/cdc-wdm0") + wait_until_up +
            "ubus list 'network.interface.modem*'; for interface in modem modem_4; do ubus -S call "
            "network.interface.$interface status | grep -o '\"dynamic.*' | sed 's/\"uptime\":[0-9]*,//'; done");
    const std::string lists = R"("ipv6-address":[],"ipv6-prefix":[],"ipv6-prefix-assignment":[],)";
    const std::string inactive =
        R"("inactive":{"ipv4-address":[],"ipv6-address":[],"route":[],"dns-server":[],"dns-search":[],"neighbors":[]},)";
    EXPECT_EQ(run.out,
              "network.interface.modem\nnetwork.interface.modem_4\n"
              R"("dynamic":false,"l3_device":"wwan0","proto":"qmi","metric":0,"dns_metric":0,"delegation":true,)"
              R"("ipv4-address":[],)" +
                  lists + R"("route":[],"dns-server":[],"dns-search":[],"neighbors":[],)" + inactive +
                  "\"data\":{}}\n" +
                  R"("dynamic":true,"l3_device":"wwan0","proto":"dhcp","device":"wwan0",)"
                  R"("updated":["addresses","routes"],"metric":0,"dns_metric":0,"delegation":true,)"
                  R"("ipv4-address":[{"address":"10.64.1.2","mask":30}],)" +
                  lists +
                  R"("route":[{"target":"0.0.0.0","mask":0,"nexthop":"10.64.1.1","source":"0.0.0.0/0"}],)"
                  R"("dns-server":["10.64.1.1"],"dns-search":[],"neighbors":[],)" +
                  inactive + "\"data\":{}}\n");
}

TEST(SimulatedNetwork, KeepsAConnectionWaitingUntilItsDemandIsMet)
{
    const std::string ask_modem = ask("/dev/ttyUSB2", "AT+CGDCONT=1,\"IP\",\"internet\"\\r\\n");
    const RouterRun run = run_online({"--modem", "EC25,echo=0", "--link", "modem,setup=1,apn=internet,needs=serial"},
                                     configure("proto=qmi device=/dev/cdc-wdm0 apn=internet") + "sleep 0.1;" +
                                         "ubus -S call network.interface.modem status; uci delete network.modem.apn;" +
                                         configure("proto=3g device=/dev/ttyUSB3") + "sleep 0.1;" +
                                         "ubus -S call network.interface.modem status;" + ask_modem + "ifup modem; " +
                                         wait_until_up + "echo up");
    const std::string pending =
        R"({"up":false,"pending":true,"available":true,"autostart":true,"dynamic":false,"proto")";
    EXPECT_EQ(run.out, pending + ":\"qmi\",\"data\":{}}\n" + pending + ":\"3g\",\"data\":{}}\n\r\nOK\r\nup\n");
}

} // namespace simulated_network_test
