#include <gtest/gtest.h>

#include "tests/system/online.h"

// Two modems in one router, each with a SIM of its own network.

namespace two_modems_test {

const Lines two_modems{"--board",
                       "condor",
                       "--modem",
                       "EC25@1-1.2,imsi=250011234567890",
                       "--modem",
                       "EP06@2-1.2,imsi=234151234567890",
                       "--link",
                       "modem_1_1_2,setup=100,apn=internet.mts.ru,context=internet.mts.ru,traffic=1000/2000",
                       "--link",
                       "modem_2_1_2,setup=100,apn=internet,context=internet,username=web,traffic=3000/4000,"
                       "address=10.65.1.2/30,gateway=10.65.1.1"};

const char *const both_online = "modemctl connect-auto; modemctl 2-1.2 connect-auto; ";

TEST(TwoModems, GoOnlineEachWithItsOwnConfiguration)
{
    const RouterRun run = run_online(two_modems, std::string(both_online) + "cat /etc/config/network;"
                                                                            "uci get firewall.@zone[1].network;"
                                                                            "uci get mwan3.default_poli.use_member");
    EXPECT_EQ(run.out, "\nconnect success\n\nconnect success\n" + factory_network() + R"(
config interface 'modem_1_1_2'
	option ifname 'wwan0'
	option service 'fdd_lte'
	option apn 'internet.mts.ru'
	option proto 'qmi'
	option device '/dev/cdc-wdm0'
	option node '1-1.2:1.4'
	option username 'mts'
	option password 'mts'
	option metric '40'
	option disabled '0'

config interface 'modem_2_1_2'
	option ifname 'wwan0'
	option service 'fdd_lte'
	option apn 'internet'
	option proto 'qmi'
	option device '/dev/cdc-wdm1'
	option node '2-1.2:1.4'
	option username 'web'
	option password 'web'
	option metric '60'
	option disabled '0'

wan wan6 modem_1_1_2 modem_2_1_2
wan_only modem_1_1_2_only modem_2_1_2_only
)");
    EXPECT_EQ(run.journal_of("run", "sh"), Lines{});
    EXPECT_EQ(run.sent_to("ttyUSB2").find("internet\""), std::string::npos);
    EXPECT_NE(run.sent_to("ttyUSB2").find("AT+CGDCONT=1,\"IP\",\"internet.mts.ru\"\r\n"), std::string::npos);
    EXPECT_NE(run.sent_to("ttyUSB6").find("AT+CGDCONT=1,\"IP\",\"internet\"\r\n"), std::string::npos);
}

TEST(TwoModems, HaveNetworkDevicesAndRoutesOfTheirOwn)
{
    const RouterRun run =
        run_online(two_modems, "{ " + std::string(both_online) +
                                   "} >/dev/null; grep wwan /proc/net/dev | tr -s ' ' | cut -d ' ' -f 2,3,11;"
                                   "grep wwan /proc/net/route | cut -f 1-3,7");
    EXPECT_EQ(run.out, "wwan0: 1000 2000\nwwan1: 3000 4000\n"
                       "wwan0\t00000000\t0101400A\t40\nwwan1\t00000000\t0101410A\t60\n"
                       "wwan0\t0001400A\t00000000\t40\nwwan1\t0001410A\t00000000\t60\n");
}

// As the kernel does at netifd's order.
TEST(TwoModems, ShareOneDefaultRouteIfTheyHaveTheSameMetric)
{
    Lines options = two_modems;
    options[1] = "stoat"; // a board that knows of no second modem
    const RouterRun run = run_online(options, "{ " + std::string(both_online) +
                                                  "} >/dev/null; uci get network.modem_1_1_2.metric; "
                                                  "uci get network.modem_2_1_2.metric; "
                                                  "grep -P 'wwan.\\t00000000' /proc/net/route | cut -f 1-3,7");
    EXPECT_EQ(run.out, "40\n40\nwwan1\t00000000\t0101410A\t40\n");
}

TEST(TwoModems, StayConnectedWhenTheOtherOneGoesDown)
{
    const RouterRun run = run_online(
        two_modems, "{ " + std::string(both_online) + "} >/dev/null; " + built_word("call_operation") +
                        " 1 2-1.2 iface_down 5 modem_2_1_2; ifstatus modem_1_1_2 | sed -n 2p; ifstatus modem_2_1_2;"
                        "uci get firewall.@zone[1].network; grep -c wwan1 /proc/net/route");
    EXPECT_EQ(run.out, "2 \n\t\"up\": true,\nInterface modem_2_1_2 not found\nwan wan6 modem_1_1_2\n0\n");
}

} // namespace two_modems_test
