#include <future>

#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// SIM cards from all over the world go online with the APN database that is shipped.

namespace shipped_apns_test {

struct Card {
    const char *country;
    const char *imsi;
    const char *apn; ///< what the network wants, and the first that is tried
};

const Card cards[] = {
    {"Argentina", "722310123456789", "gprs.claro.com.ar"},
    {"Australia", "505011234567890", "telstra.wap"},
    {"Austria", "232031234567890", "gprsinternet"},
    {"Belgium", "206011234567890", "internet.proximus.be"},
    {"Brazil", "724051234567890", "claro.com.br"},
    {"Canada", "302220123456789", "isp.telus.com"},
    {"China", "460011234567890", "3gnet"},
    {"Denmark", "238011234567890", "internet"},
    {"Finland", "244051234567890", "internet"},
    {"France", "208011234567890", "orange.fr"},
    {"Germany", "262011234567890", "internet.t-d1.de"},
    {"Greece", "202051234567890", "internet"},
    {"India", "404101234567890", "airtelgprs.com"},
    {"Italy", "222101234567890", "mobile.vodafone.it"},
    {"Japan", "440101234567890", "mopera.ne.jp"},
    {"Korea", "450051234567890", "web.sktelecom.com"},
    {"Netherlands", "204081234567890", "prepaidinternet"},
    {"New Zealand", "530051234567890", "internet.telecom.co.nz"},
    {"Norway", "242011234567890", "telenor.smart"},
    {"Poland", "260031234567890", "internet"},
    {"Portugal", "268061234567890", "internet"},
    {"Russia", "250011234567890", "internet.mts.ru"},
    {"South Africa", "655011234567890", "internet"},
    {"Spain", "214071234567890", "telefonica.es"},
    {"Sweden", "240081234567890", "internet.telenor.se"},
    {"Switzerland", "228011234567890", "gprs.swisscom.ch"},
    {"Turkey", "286011234567890", "internet"},
    {"United Arab Emirates", "424021234567890", "mnet"},
    {"United Kingdom", "234151234567890", "internet"},
    {"United States", "310260123456789", "fast.t-mobile.com"},
};

RouterRun connect(const std::string &imsi, const std::string &apn)
{
    return run_shell({"--modem", "EC25,imsi=" + imsi, "--link", "setup=100,apn=" + apn, "--put",
                      BUILD_ROOT "/packaging/apn-config.js:/www/src/lib/apn-config.js"},
                     "modemctl connect-auto; uci get network.modem_1_1_2.apn; "
                     "ubus -S call network.interface.modem_1_1_2 status | cut -c 1-26");
}

TEST(ShippedApns, BringCardsOfThirtyCountriesOnline)
{
    constexpr size_t side_by_side = 10;
    for (size_t first = 0; first < std::size(cards); first += side_by_side) {
        std::vector<std::future<RouterRun>> runs;
        for (size_t i = first; i < first + side_by_side; i++)
            runs.push_back(std::async(std::launch::async, connect, cards[i].imsi, cards[i].apn));
        for (size_t i = 0; i < runs.size(); i++) {
            const Card &card = cards[first + i];
            const RouterRun run = runs[i].get();
            EXPECT_EQ(run.out, std::string("\nconnect success\n") + card.apn + "\n{\"up\":true,\"pending\":false\n")
                << card.country << run.err;
        }
    }
}

TEST(SlowShippedApns, AreTriedUntilOneIsTheNetworks)
{
    // The second of this network's; the first is given up by QMI and by serial, a quarter of a minute each.
    const RouterRun run = connect("310260123456789", "epc.tmobile.com");
    EXPECT_EQ(run.out, "\nconnect success\nepc.tmobile.com\n{\"up\":true,\"pending\":false\n") << run.err;
}

} // namespace shipped_apns_test
