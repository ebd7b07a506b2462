#include <gtest/gtest.h>

#include "tests/system/online.h"

// `modemctl apn`: which APNs it lists for the card in the modem, and what it ends with.

namespace apn_test {

const std::string table = BUILD_ROOT "/packaging/apns:/usr/share/modem/apns";

std::string name_file(const std::string &name)
{
    std::string digits = "00";
    for (const char character : name)
        for (const int half : {(character >> 4) & 15, character & 15})
            digits += "0123456789ABCDEF"[half];
    return digits + "FFFF";
}

struct CardRow {
    const char *what;
    std::string modem;
    const char *first; ///< the first line below the head of the page, without the spaces between its columns
};

const CardRow card_rows[] = {
    {"a network", "EC25,imsi=232031234567890", "internet.t-mobile.at t-mobile tm PAP or CHAP ipv4v6 network 23203"},
    {"a network's own card", "EC25,imsi=310260123456789,ef_ad=00000003", "fast.t-mobile.com NONE ipv6 network 310260"},
    {"by the provider's name", "EC25,imsi=234101234567890,ef_spn=" + name_file("giffgaff"),
     "giffgaff.com gg p PAP ipv4v6 SPN giffgaff"},
    {"by the group", "SIMCOM7600,imsi=310260123456789,ef_ad=00000003,ef_gid1=756DFFFFFF",
     "wholesale NONE ipv4v6 GID1 756D"},
    {"by the IMSI", "MC7430,imsi=262075001234567,iccid=89492000000000000000", "webmobil1 NONE ipv4v6 IMSI 26207500"},
    {"by the ICCID", "EC25,imsi=901405101234567,iccid=89882806660012345678", "iot.1nce.net NONE ipv4v6 ICCID 8988280"},
    {"a modem that refuses AT+CRSM",
     "BG95,imsi=234101234567890,ef_ad=", "mobile.o2.co.uk o2web password PAP ipv4v6 network 23410"},
};

std::string first_choice(const std::string &page)
{
    const std::string line = lines_of(page).at(1);
    std::string words;
    for (const char character : line)
        if (character != ' ' || (!words.empty() && words.back() != ' '))
            words += character;
    return words;
}

TEST(Apn, ListsWhatFitsTheCard)
{
    std::vector<std::function<RouterRun()>> runs;
    for (const CardRow &row : card_rows)
        runs.emplace_back([&row] { return run_shell({"--modem", row.modem, "--put", table}, "modemctl apn"); });
    const auto results = run_at_once(runs);
    for (size_t i = 0; i < results.size(); i++) {
        ASSERT_GE(lines_of(results[i].out).size(), 3U) << card_rows[i].what << results[i].err;
        EXPECT_EQ(first_choice(results[i].out), card_rows[i].first) << card_rows[i].what;
        EXPECT_NE(lines_of(results[i].out).back().find("the network may choose"), std::string::npos);
    }
}

TEST(Apn, PrintsJsonForPrograms)
{
    const RouterRun run = run_shell({"--modem", "EC25,imsi=001010123456789", "--put", table}, "modemctl apn --json");
    EXPECT_EQ(run.out, R"([
  {
    "apn":"",
    "username":"",
    "password":"",
    "auth":"NONE",
    "ip":"ipv4v6",
    "why":"the network may choose"
  }
]
)") << run.err;
}

TEST(Apn, PutsTheUsersChoiceFirstAndThenWhatWorked)
{
    const std::string script =
        "{ mkdir -p /etc/modemctl; printf '89882806660012345678\\tworked.example\\tme\\tpw\\tchap\\tipv4\\n' "
        ">/etc/modemctl/worked-apns; modemctl apn | sed -n 2p; uci set network.modem_1_1_2=interface; "
        "uci set network.modem_1_1_2.apn=own.example; uci commit network; modemctl apn | sed -n 2,3p; "
        "uci delete network.modem_1_1_2.apn; uci set network.modem_1_1_2.device=/dev/cdc-wdm0; uci commit network; "
        "modemctl apn | sed -n 2p; }";
    const RouterRun run = run_shell({"--modem", "EC25,imsi=901405101234567,iccid=89882806660012345678", "--put", table},
                                    script + " | tr -s ' '");
    EXPECT_EQ(run.out, "worked.example me pw CHAP ipv4 worked before\nown.example NONE ipv4v6 set by the user\n"
                       "worked.example me pw CHAP ipv4 worked before\n- NONE ipv4v6 set by the user\n")
        << run.err;
}

TEST(Apn, TakesTheWebInterfacesDatabaseWithoutTheTable)
{
    const RouterRun run = run_online({"--modem", "EC25,imsi=232031234567890"}, "modemctl apn | sed -n 2p | tr -s ' '");
    EXPECT_EQ(run.out, "gprsinternet t-mobile tm PAP or CHAP ipv4v6 network 23203\n") << run.err;
}

TEST(Apn, EndsAsInfoDoes)
{
    EXPECT_EQ(run_in_router({"--modem", "EC25"}, {"modemctl", "apn"}).status, 0);
    EXPECT_EQ(run_in_router({}, {"modemctl", "apn"}).status, 1);
    EXPECT_EQ(run_in_router({"--modem", "EC25"}, {"modemctl", "apn", "--xml"}).status, 64);
    EXPECT_EQ(run_in_router({"--modem", "EC25"}, {"modemctl", "apn", "--json", "--json"}).status, 64);
    EXPECT_EQ(run_in_router({"--modem", "EC25,pin=NOSIM"}, {"modemctl", "apn"}).status, 0);
    EXPECT_EQ(run_in_router({"--modem", "EC25", "--fault", "silence"}, {"modemctl", "apn"}).status, 2);
}

} // namespace apn_test
