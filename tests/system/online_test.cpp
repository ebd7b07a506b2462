#include <gtest/gtest.h>

#include "tests/system/online.h"

// Automatic connection against networks that let only the right APN in.

namespace online_test {

const std::string show_network = "cat /etc/config/network";

struct ModelRow {
    const char *modem; ///< with the SIM's number
    const char *link;  ///< what the SIM's network demands
    const char *section;
};

const ModelRow model_rows[] = {
    {"EC20,imsi=250011234567890", "setup=100,apn=internet.mts.ru,context=internet.mts.ru,username=mts,password=mts", R"(
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

)"},
    {"EC25,imsi=302370123456789", "setup=100,apn=ltemobile.apn,context=ltemobile.apn,username=,password=", R"(
config interface 'modem_1_1_2'
	option ifname 'wwan0'
	option service 'fdd_lte'
	option apn 'ltemobile.apn'
	option proto 'qmi'
	option device '/dev/cdc-wdm0'
	option node '1-1.2:1.4'
	option metric '40'
	option disabled '0'

)"},
    {"EP06,imsi=342750123456789", "setup=100,apn=isp.digicelbarbados.com,context=isp.digicelbarbados.com", R"(
config interface 'modem_1_1_2'
	option ifname 'wwan0'
	option service 'fdd_lte'
	option apn 'isp.digicelbarbados.com'
	option proto 'qmi'
	option device '/dev/cdc-wdm0'
	option node '1-1.2:1.4'
	option metric '40'
	option disabled '0'

)"},
    {"UC20,imsi=732101123456789", "setup=100,apn=internet.comcel.com.co,username=COMCELWEB,password=COMCELWEB", R"(
config interface 'modem_1_1_2'
	option ifname 'wwan0'
	option service 'fdd_lte'
	option apn 'internet.comcel.com.co'
	option proto 'qmi'
	option device '/dev/cdc-wdm0'
	option node '1-1.2:1.4'
	option username 'COMCELWEB'
	option password 'COMCELWEB'
	option metric '40'
	option disabled '0'

)"},
    {"MC7430,imsi=213031234567890", "setup=100,apn=internetand", R"(
config interface 'modem_1_1_2'
	option ifname 'eth2'
	option service 'fdd_lte'
	option apn 'internetand'
	option proto 'directip'
	option device '/dev/ttyUSB2'
	option node '1-1.2:1.3'
	option metric '40'
	option disabled '0'

)"},
    {"SIMCOM7600,imsi=424021234567890", "setup=100,apn=mnet,username=mnet,password=mnet", R"(
config interface 'modem_1_1_2'
	option ifname 'xxx'
	option service 'fdd_lte'
	option apn 'mnet'
	option proto 'ncm'
	option device '/dev/ttyUSB3'
	option node '1-1.2:1.3'
	option username 'mnet'
	option password 'mnet'
	option metric '40'
	option disabled '0'

)"},
    {"ME3630,imsi=338050123456789", "setup=100,apn=web.digiceljamaica.com,username=wapuser,password=wap03jam", R"(
config interface 'modem_1_1_2'
	option ifname 'usb0'
	option service 'fdd_lte'
	option apn 'web.digiceljamaica.com'
	option proto 'ncm'
	option device '/dev/ttyUSB2'
	option node '1-1.2:1.2'
	option username 'wapuser'
	option password 'wap03jam'
	option metric '40'
	option disabled '0'

)"},
    {"EC200T,imsi=364390123456789", "setup=100,apn=internet.btcbahamas.com,context=internet.btcbahamas.com", R"(
config interface 'modem_1_1_2'
	option ifname 'usb0'
	option service 'fdd_lte'
	option apn 'internet.btcbahamas.com'
	option proto 'ncm'
	option device '/dev/ttyUSB2'
	option node '1-1.2:1.4'
	option metric '40'
	option disabled '0'

)"},
    {"BG95,imsi=262021234567890", "setup=100,apn=access.vodafone.de,context=access.vodafone.de", R"(
config interface 'modem_1_1_2'
	option ifname '3g-modem'
	option service 'fdd_lte'
	option apn 'access.vodafone.de'
	option proto '3g'
	option device '/dev/ttyUSB2'
	option node '1-1.2:1.2'
	option metric '40'
	option disabled '0'

)"},
    {"EG91,imsi=234151234567890", "setup=100,apn=internet,context=internet,username=web,password=web", R"(
config interface 'modem_1_1_2'
	option ifname 'wwan0'
	option service 'fdd_lte'
	option apn 'internet'
	option proto 'qmi'
	option device '/dev/cdc-wdm0'
	option node '1-1.2:1.4'
	option username 'web'
	option password 'web'
	option metric '40'
	option disabled '0'

)"},
    {"EC100Y,imsi=358110123456789", "setup=100,apn=internet,context=internet", R"(
config interface 'modem_1_1_2'
	option ifname '3g-modem'
	option service 'fdd_lte'
	option apn 'internet'
	option proto '3g'
	option device '/dev/ttyUSB1'
	option node '1-1.2:1.1'
	option metric '40'
	option disabled '0'

)"},
    {"NL678E,imsi=722341123456789", "setup=100,apn=gprs.personal.com,context=gprs.personal.com,password=adgj", R"(
config interface 'modem_1_1_2'
	option ifname 'wwan0'
	option service 'fdd_lte'
	option apn 'gprs.personal.com'
	option proto 'qmi'
	option device '/dev/cdc-wdm0'
	option node '1-1.2:1.4'
	option username 'gprs'
	option password 'adgj'
	option raw_ip '1'
	option metric '40'
	option disabled '0'

)"},
    {"unlisted,imsi=405799123456789", "setup=100,apn=internet", R"(
config interface 'modem_1_1_2'
	option ifname '3g-modem'
	option service 'fdd_lte'
	option apn 'internet'
	option proto '3g'
	option device '/dev/ttyUSB0'
	option node '1-1.2:1.0'
	option metric '40'
	option disabled '0'

)"},
};

TEST(ConnectAuto, GoesOnlineOnEveryModelWithARealDatabase)
{
    std::vector<std::function<RouterRun()>> runs;
    for (const ModelRow &row : model_rows)
        runs.emplace_back([&row] {
            return run_online({"--modem", row.modem, "--link", row.link}, "modemctl connect-auto; " + show_network);
        });
    const auto results = run_at_once(runs);
    for (size_t i = 0; i < results.size(); i++)
        EXPECT_EQ(results[i].out, "\nconnect success\n" + factory_network() + model_rows[i].section)
            << model_rows[i].modem;
}

struct CarrierRow {
    const char *imsi;
    const char *apn;
};

const CarrierRow carrier_rows[] = {
    {"901461234567890", "globalnet"},
    {"228621234567890", "globalnet"},
    {"222013068612345", "globalnet"},
    {"222013090123456", "globalnet"},
    {"204043896211234", "globalnet"},
    {"204046999012345", "globalnet"},
    {"234030208212345", "globalnet"},
    {"234553300012345", "globalnet"},
    {"400029999112345", "globalnet"},
    {"424020075912345", "globalnet"},
    {"515030202912345", "globalnet"},
    {"730013010012345", "globalnet"},
    {"311480123456789", "vzwinternet"},
    {"311270123456789", "vzwinternet"},
    // Only a whole prefix counts: the network's own APN otherwise.
    {"222013068712345", "ibox.tim.it"},
    {"424020075812345", "mnet"},
};

TEST(ConnectAuto, KnowsTheFixedApnOfEachCarrierOfItsTable)
{
    std::vector<std::function<RouterRun()>> runs;
    for (const CarrierRow &row : carrier_rows)
        runs.emplace_back([&row] {
            return run_online({"--modem", std::string("EC25,imsi=") + row.imsi, "--link",
                               std::string("setup=100,context=") + row.apn},
                              "modemctl connect-auto; uci get network.modem_1_1_2.apn");
        });
    const auto results = run_at_once(runs);
    for (size_t i = 0; i < results.size(); i++)
        EXPECT_EQ(results[i].out, std::string("\nconnect success\n") + carrier_rows[i].apn + "\n")
            << carrier_rows[i].imsi;
}

TEST(ConnectAuto, SkipsEntriesForMessages)
{
    // mms.tn stands before it, among messages' entries of that network.
    const RouterRun run = run_online({"--modem", "EC25,imsi=605021234567890", "--link", "setup=100,apn=gprs.tn"},
                                     "modemctl connect-auto; uci get network.modem_1_1_2.username");
    EXPECT_EQ(run.out, "\nconnect success\ngprs\n");
    EXPECT_EQ(attempts(run), 1);
}

TEST(ConnectAuto, LeavesARouterAloneWhoseNetworkHasMessagesOnly)
{
    const RouterRun run =
        run_online({"--modem", "EC25,imsi=310590123456789"}, "modemctl connect-auto; echo $?; " + show_network);
    EXPECT_EQ(run.out, "0\n" + factory_network());
    EXPECT_EQ(run.journal_of("shell", "modemctl"), (Lines{"echo \"310590123456789\" >/tmp/modem.1-1.2/cimi"}));
    EXPECT_EQ(run.journal_of("run"), Lines{});
}

TEST(ConnectAuto, EndsBeforeAnythingIsDoneWithoutADatabase)
{
    const Lines databases[] = {
        {"--put-text", "/tmp/no=database"},
        {"--put-text", "/www/src/lib/apn-config.js=var apn_config_default"},  // 23 bytes with its newline
        {"--put-text", "/www/src/lib/apn-config.js=var apn_config_default "}, // 24
    };
    for (const Lines &database : databases) {
        Lines options{"--modem", "EC25,imsi=250011234567890"};
        options.insert(options.end(), database.begin(), database.end());
        const RouterRun run = run_shell(options, "modemctl connect-auto; echo $?; " + show_network);
        EXPECT_EQ(run.out, "255\n" + factory_network()) << database[1];
        EXPECT_EQ(run.journal_of("shell", "modemctl"), Lines{}) << database[1];
    }
}

const std::string plain_serial_section = R"(
config interface 'modem_1_1_2'
	option ifname '3g-modem'
	option service 'fdd_lte'
	option proto '3g'
	option device '/dev/ttyUSB3'
	option node '1-1.2:1.3'
	option metric '40'
	option disabled '0'

)";

TEST(ConnectAuto, ConnectsOncePlainlyWithADatabaseThatHasNoEntries)
{
    const char *databases[] = {"var apn_config_default ={\"apns\":{\"apn\":[", "var apn_config_default ={\"apns\":{}}",
                               "var apn_config_default =[]", "var apn_config_default =x"};
    std::vector<std::function<RouterRun()>> runs;
    for (const char *database : databases)
        runs.emplace_back([database] {
            return run_shell({"--modem", "EC25,imsi=250011234567890", "--link", "setup=100", "--put-text",
                              std::string("/www/src/lib/apn-config.js=") + database},
                             "modemctl connect-auto; " + show_network);
        });
    const auto results = run_at_once(runs);
    for (size_t i = 0; i < results.size(); i++) {
        EXPECT_EQ(results[i].out, "\nconnect success\n" + factory_network() + plain_serial_section) << databases[i];
        EXPECT_EQ(attempts(results[i]), 1) << databases[i];
    }
}

TEST(ConnectAuto, NeedsNoSerialConnectWhereQmiWorks)
{
    const RouterRun run = run_online({"--modem", "EC25,imsi=250011234567890", "--link", "setup=100,needs=qmi"},
                                     "modemctl connect-auto; uci get network.modem_1_1_2.proto");
    EXPECT_EQ(run.out, "\nconnect success\nqmi\n");
    EXPECT_EQ(attempts(run), 1);
}

TEST(ConnectAuto, GoesOnBySerialWithoutAControlDevice)
{
    const RouterRun run = run_online({"--modem", "EC25,imsi=250011234567890", "--link", "setup=100,needs=serial"},
                                     "rm -r /sys/devices/platform/soc/*/*/*/usb1/1-1/1-1.2/1-1.2:1.4/usbmisc;"
                                     "modemctl connect-auto; uci get network.modem_1_1_2.proto");
    EXPECT_EQ(run.out, "\nconnect success\n3g\n");
    EXPECT_EQ(attempts(run), 1);
}

TEST(ConnectAuto, GivesANetworkTheUserAndThePasswordThatItWants)
{
    const RouterRun run = run_online(
        {"--modem", "EC25,imsi=234151234567890", "--link", "setup=100,apn=internet,username=web,password=web"},
        "modemctl connect qmi /dev/cdc-wdm0 any internet; ifstatus modem_1_1_2 | sed -n 2,3p;"
        "modemctl connect-auto; ifstatus modem_1_1_2 | sed -n 2,3p");
    EXPECT_EQ(run.out, "\nconnect success\n\t\"up\": false,\n\t\"pending\": true,\n"
                       "\nconnect success\n\t\"up\": true,\n\t\"pending\": false,\n");
}

TEST(Connect, UsesTheUserAndThePasswordThatTheModemHas)
{
    const RouterRun run = run_online({"--modem", "EC25", "--link", "setup=100,username=me,password=secret"},
                                     built_word("call_operation") + " 3 1-1.2 set_auth internet me secret pap;"
                                                                    "modemctl connect serial /dev/ttyUSB3 any internet;"
                                                                    "ifstatus modem_1_1_2 | sed -n 2p");
    EXPECT_EQ(run.out, "0 \n\nconnect success\n\t\"up\": true,\n");
}

} // namespace online_test
