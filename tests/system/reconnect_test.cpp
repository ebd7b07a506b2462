#include <gtest/gtest.h>

#include "tests/system/online.h"

// Connecting again from what is configured, and disconnecting.

namespace reconnect_test {

struct ReconnectRow {
    const char *modem;
    const char *connect; ///< before new-connect-auto
    const char *section;
};

const ReconnectRow reconnect_rows[] = {
    {"EC25", "modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet", R"(
config interface 'modem_1_1_2'
	option ifname 'wwan0'
	option service 'fdd_lte'
	option apn 'internet'
	option proto 'qmi'
	option device '/dev/cdc-wdm0'
	option node '1-1.2:1.4'
	option metric '40'
	option disabled '0'

)"},
    {"EC25", "modemctl connect qmi /dev/cdc-wdm0 fdd_lte", R"(
config interface 'modem_1_1_2'
	option ifname 'wwan0'
	option service 'fdd_lte'
	option proto 'qmi'
	option device '/dev/cdc-wdm0'
	option node '1-1.2:1.4'
	option metric '40'
	option disabled '0'

)"},
    {"BG95", "modemctl connect serial /dev/ttyUSB2 umts iot", R"(
config interface 'modem_1_1_2'
	option ifname '3g-modem'
	option service 'umts'
	option apn 'iot'
	option proto '3g'
	option device '/dev/ttyUSB2'
	option node '1-1.2:1.2'
	option metric '40'
	option disabled '0'

)"},
    {"ME3630", "modemctl connect serial /dev/ttyUSB2 umts iot", R"(
config interface 'modem_1_1_2'
	option ifname 'usb0'
	option service 'umts'
	option apn 'iot'
	option proto 'ncm'
	option device '/dev/ttyUSB2'
	option node '1-1.2:1.2'
	option metric '40'
	option disabled '0'

)"},
    {"EC25",
     "modemctl connect serial /dev/ttyUSB3 umts iot;"
     "for o in pincode=1234 dialnumber=*99# username=me password=secret auth=chap mtu=1400;"
     "do uci set network.modem_1_1_2.$o; done; uci commit network; uci set devconf.modem.operator=Visible;"
     "uci commit devconf; modemctl new-connect-auto",
     R"(
config interface 'modem_1_1_2'
	option ifname '3g-modem'
	option service 'umts'
	option apn 'iot'
	option proto '3g'
	option device '/dev/ttyUSB3'
	option node '1-1.2:1.3'
	option pincode '1234'
	option dialnumber '*99#'
	option username 'me'
	option password 'secret'
	option auth 'chap'
	option mtu '1400'
	option metric '40'
	option disabled '0'

)"},
};

TEST(NewConnectAuto, GivesTheSameConfigurationAgain)
{
    std::vector<std::function<RouterRun()>> runs;
    for (const ReconnectRow &row : reconnect_rows)
        runs.emplace_back([&row] {
            return run_online({"--modem", row.modem, "--link", "setup=100"},
                              std::string("{ ") + row.connect +
                                  "; } >/dev/null; cp -r /etc/config /tmp/before; modemctl new-connect-auto;"
                                  "diff -r /tmp/before /etc/config; cat /etc/config/network");
        });
    const auto results = run_at_once(runs);
    for (size_t i = 0; i < results.size(); i++)
        EXPECT_EQ(results[i].out, "\nconnect success\n" + factory_network() + reconnect_rows[i].section)
            << reconnect_rows[i].connect;
}

TEST(Disconnect, ActsOnTheInterfaceThatTheModelsNameAndOnNoOther)
{
    const std::string show = "ifstatus modem_1_1_2 | sed -n 2p; ifstatus modem | sed -n 1,2p; cat /etc/config/network;";
    const RouterRun run =
        run_online({"--modem", "EC25", "--link", "setup=100"},
                   "modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet >/dev/null; uci set network.modem=interface;"
                   "uci set network.modem.proto=static; uci set network.modem.device=eth0; uci commit network;"
                   "ubus call network reload; modemctl disconnect;" +
                       show);
    EXPECT_EQ(run.out, "\nmodem disconnect\n\t\"up\": true,\nInterface modem not found\n" + factory_network() + R"(
config interface 'modem_1_1_2'
	option ifname 'wwan0'
	option service 'fdd_lte'
	option apn 'internet'
	option proto 'qmi'
	option device '/dev/cdc-wdm0'
	option node '1-1.2:1.4'
	option metric '40'
	option disabled '0'

config interface 'modem'
	option proto 'static'
	option device 'eth0'
	option disabled '1'

)");
}

} // namespace reconnect_test
