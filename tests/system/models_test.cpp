#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/system/harness.h"

// Every model's simulated modem with everything the command line can ask of it, and the operations that no command word
// reaches, with their bytes on the wire.

namespace {

using Lines = std::vector<std::string>;

RouterRun operation(const Lines &options, Lines words)
{
    words.insert(words.begin(), built("call_operation"));
    return run_in_router({.options = options, .input = "", .deadline = std::chrono::seconds{60}}, words);
}

// What every command prints, in the form of a terminal session.
std::string session_of(const std::string &model)
{
    std::string session;
    for (const char *command :
         {"sim-status", "check_register", "get_mode", "carrier", "signal", "cells", "thermal", "iccid"})
        session +=
            "$ modemctl " + std::string{command} + "\n" +
            run_in_router({.options = {"--modem", model, "--put-text", "/usr/share/modem/operator.dat=00101,Test"},
                           .input = "",
                           .deadline = std::chrono::seconds{60}},
                          {"modemctl", command})
                .out;
    return session;
}

class Model : public testing::TestWithParam<const char *> {};

// A changed output is looked at, and kept with UPDATE_GOLDEN=1.
TEST_P(Model, PrintsWhatItAlwaysPrinted)
{
    const std::string golden = std::string{TEST_DATA "/golden/"} + GetParam() + ".txt";
    const std::string session = session_of(GetParam());
    if (getenv("UPDATE_GOLDEN") != nullptr)
        std::ofstream{golden} << session;
    EXPECT_EQ(session, read_text(golden));
}

INSTANTIATE_TEST_SUITE_P(All, Model,
                         testing::Values("EC20", "EC25", "EP06", "UC20", "MC7430", "SIMCOM7600", "ME3630", "EC200T",
                                         "BG95", "EG91", "EC100Y", "NL678E", "unlisted"),
                         [](const auto &row) { return std::string{row.param}; });

// Thermal limits

const char thermal_settings[] =
    "/etc/config/devconf=config service 'modem'\n\toption en_limt '1'\n\toption tigger '100'\n"
    "\toption clear '85'\n";

TEST(Thermal, WritesItsDefaults)
{
    const RouterRun run = run_in_router(
        {.options = {"--modem", "EC25"}, .input = "", .deadline = std::chrono::seconds{60}}, {"modemctl", "thermal"});
    EXPECT_EQ(run.out, "thermal setting  success\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+QCFG=\"thermal/limit_rates\",0\r\nAT+QCFG=\"thermal/modem\",1,95,90\r\n");
}

TEST(Thermal, WritesWhatIsConfigured)
{
    const RouterRun run = run_in_router({.options = {"--modem", "EC25", "--put-text", thermal_settings},
                                         .input = "",
                                         .deadline = std::chrono::seconds{60}},
                                        {"modemctl", "thermal"});
    EXPECT_EQ(run.out, "thermal setting  success\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+QCFG=\"thermal/limit_rates\",1\r\nAT+QCFG=\"thermal/modem\",1,100,85\r\n");
}

// APN and authentication

struct ContextRow {
    const char *what;
    Lines files;
    Lines call;
    const char *out;
    const char *sent;
};
const Lines ready{"--put-text", "/tmp/sim_status=ready"};
const Lines ready_verizon{"--put-text", "/tmp/sim_status=ready", "--put-text", "/tmp/sim_type=verizon"};
const ContextRow context_rows[] = {
    {"APN", ready, {"set_apn", "internet"}, "0 \n", "AT+CGDCONT=1,\"IP\",\"internet\"\r\n"},
    {"APN at Verizon",
     ready_verizon,
     {"set_apn", "vzwinternet"},
     "0 \n",
     "AT+CGDCONT=3,\"IPV4V6\",\"vzwinternet\"\r\n"},
    {"authentication",
     ready,
     {"set_auth", "internet", "me", "secret", "CHAP"},
     "0 \n",
     "AT+QICSGP=1,1,\"internet\",\"me\",\"secret\",2\r\n"},
    {"authentication at Verizon",
     ready_verizon,
     {"set_auth", "internet", "me", "secret", "PAP or CHAP"},
     "0 \n",
     "AT+QICSGP=3,3,\"internet\",\"me\",\"secret\",3\r\n"},
    {"an unknown method counts as none",
     ready,
     {"set_auth", "a", "b", "c", "EAP"},
     "0 \n",
     "AT+QICSGP=1,1,\"a\",\"b\",\"c\",0\r\n"},
    {"a SIM that is not ready", {"--put-text", "/tmp/sim_status=pin"}, {"set_apn", "internet"}, "-1 \n", ""},
    {"a SIM of which nothing is known", {}, {"set_auth", "a", "b", "c", "PAP"}, "-1 \n", ""},
    {"a quote would end the text", ready, {"set_apn", "a\",\"b"}, "-1 \n", ""},
};

TEST(PdpContext, IsWrittenOnlyForASimThatIsReady)
{
    for (const auto &row : context_rows) {
        Lines options{"--modem", "EC25"};
        options.insert(options.end(), row.files.begin(), row.files.end());
        Lines words{"3", "1-1.2"};
        words.insert(words.end(), row.call.begin(), row.call.end());
        const RouterRun run = operation(options, words);
        EXPECT_EQ(run.out, row.out) << row.what;
        EXPECT_EQ(run.sent_to("ttyUSB2"), row.sent) << row.what;
    }
}

TEST(PdpContext, OfAFibocomNeedsNoSimFile)
{
    const RouterRun run = operation({"--modem", "NL678E"}, {"40", "1-1.2", "set_apn", "internet"});
    EXPECT_EQ(run.out, "0 \n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+CGDCONT=1,\"IP\",\"internet\"\r\n");
}

// Band locks

struct LockRow {
    const char *revision;
    const char *command; // null: none is sent
};
const LockRow lock_rows[] = {
    {"EC25AFFAR07A08M4G", "AT+QCFG=\"band\",0,42000000000000381a,0"},
    {"EC25AFXDR08A01M4G", "AT+QCFG=\"band\",0,42000000000000381a,0"},
    {"EC25AFAR05A06M4G", "AT+QCFG=\"band\",0,80a,0"},
    {"EC20CEFRSGR08A03M2G", "AT+QCFG=\"band\",0,1e200000095,0"},
    {"EC25EUXGAR08A03M1G", "AT+QCFG=\"band\",0,1a0080800c5,0"},
    {"EC25EFAR06A01M4G", "AT+QCFG=\"band\",0,1a0000800d5,0"},
    {"EP06ELAR03A08M4G", "AT+QCFG=\"band\",0,7e00000000000000000000000000000000000000000000ff000001a0880800d5,0"},
    {"EP06ALAR02A09M4G", "AT+QCFG=\"band\",0,2000000003300185a,0"},
    {"EC25AUXGAR08A03M1G", "AT+QCFG=\"band\",0,80080000df,0"},
    {"EG25GGBR07A08M2G", "AT+QCFG=\"band\",0,1e00b0e18df,0"},
    {"EC21EFAR06A03M4G", nullptr},
};

TEST(BandLock, IsChosenByTheFirmwareRevision)
{
    for (const auto &row : lock_rows) {
        const RouterRun run = operation({"--modem", std::string{"EC25,revision="} + row.revision},
                                        {"3", "1-1.2", "set_band_by_revision"});
        EXPECT_EQ(run.out, row.command == nullptr ? "-2 \n" : "0 OK\n") << row.revision;
        EXPECT_EQ(run.sent_to("ttyUSB2"),
                  row.command == nullptr ? "ATI\r\n" : std::string{"ATI\r\n"} + row.command + "\r\n");
    }
}

TEST(LteBand, IsTheFixedOneWhereThereIsOne)
{
    const RouterRun fixed =
        operation({"--modem", "EC25", "--put-text", "/etc/config/devconf=config service modem\n\toption dev1 '40'"},
                  {"3", "1-1.2", "get_lte_band", "devconf.modem.dev1"});
    EXPECT_EQ(fixed.out, "40 \n");
    EXPECT_EQ(fixed.sent_to("ttyUSB2"), "");
    EXPECT_EQ(operation({"--modem", "EC25"}, {"3", "1-1.2", "get_lte_band", "devconf.modem.dev1"}).out, "3 \n");
    EXPECT_EQ(operation({"--modem", "EC25,rat=WCDMA"}, {"3", "1-1.2", "get_lte_band", "devconf.modem.dev1"}).out,
              "0 \n");
}

TEST(Bands, AreListedWithTheirMask)
{
    const std::string out = operation({"--modem", "EG91"}, {"8", "1-1.2", "get_bands"}).out;
    EXPECT_EQ(out.find("0 {\"EGPRS\":\"850MHz 900MHz 1800Mhz 1900MHz \",\"LTE\":\"B"), 0u) << out;
}

// Operations of a port number

TEST(ScanMode, IsWrittenByItsNumberAndReadsBack)
{
    const char *const commands[] = {"\"nwscanmode\",0", "\"nwscanmode\",0", "\"nwscanmode\",1",
                                    "\"nwscanmode\",2", "\"nwscanmode\",3", "\"nwscanmode\",0"};
    for (int mode = 0; mode < 6; mode++) {
        const RouterRun run =
            operation({"--modem", "EC25"}, {"3", "1-1.2", "set_scan_mode", "2", std::to_string(mode)});
        EXPECT_EQ(run.out, "0 \n") << mode;
        EXPECT_EQ(run.sent_to("ttyUSB2"), std::string{"AT+QCFG="} + commands[mode] + "\r\n");
    }
}

TEST(Creg, IsTheDigitOfThatPort)
{
    EXPECT_EQ(operation({"--modem", "EC25,registration=5"}, {"3", "1-1.2", "get_creg", "2"}).out, "5 \n");
    EXPECT_EQ(operation({"--modem", "EC25"}, {"3", "1-1.2", "get_creg", "9"}).out, "-1 \n");
}

// What is kept in the state directory

TEST(ModelName, IsAskedOnceAndKept)
{
    const RouterRun run =
        run_shell({"--modem", "EC25"}, built("call_operation") + " 3 1-1.2 get_model | od -c | head -3; " +
                                           built("call_operation") +
                                           " 3 1-1.2 get_model >/dev/null; od -c "
                                           "/tmp/modem.1-1.2/modem-name | tail -2");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "ATI\r\n");
    EXPECT_NE(run.out.find("\\r"), std::string::npos) << run.out;
}

TEST(Imei, IsAskedOnceAndKept)
{
    const RouterRun run =
        run_shell({"--modem", "EC25"}, built("call_operation") + " 3 1-1.2 get_imei; " + built("call_operation") +
                                           " 3 1-1.2 get_imei; wc -c </tmp/modem.1-1.2/modem-imei");
    const auto lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], lines[1]);
    EXPECT_EQ(lines[0].size(), 17u);
    EXPECT_EQ(lines[2], "15");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+GSN\r\n");
}

TEST(Imei, ThrowsAFileAwayThatIsNotFifteenDigits)
{
    for (const char *content : {"862708041234567", "86270804123456x", "", "8627080412345678901"}) {
        const RouterRun run =
            run_shell({"--modem", "EC25", "--put-text", std::string{"/tmp/modem.1-1.2/modem-imei="} + content},
                      built("call_operation") + " 3 1-1.2 get_imei; ls /tmp/modem.1-1.2");
        EXPECT_EQ(run.out, "-1 \n") << content; // the file ends with a newline
        EXPECT_EQ(run.sent_to("ttyUSB2"), "") << content;
    }
}

TEST(Imsi, ComesFromTheCacheWhereThatHoldsSixBytes)
{
    const auto imsi_with = [](const char *cache) {
        return operation({"--modem", "EC25", "--put-text", std::string{"/tmp/modem.1-1.2/cimi="} + cache},
                         {"3", "1-1.2", "get_imsi"});
    };
    EXPECT_EQ(imsi_with("262019999999999").out, "0 262019999999999\n");
    EXPECT_EQ(imsi_with("262019999999999").sent_to("ttyUSB2"), "");
    EXPECT_EQ(imsi_with("2620").sent_to("ttyUSB2"), "AT+CIMI\r\n");
}

// The Sierra modem while its interface is coming up

TEST(SierraModem, IsLeftAloneWhileItsInterfaceIsPending)
{
    const std::string network =
        "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=directip; "
        "uci commit network; ubus call network reload; ubus call network.interface.modem_1_1_2 up; ";
    const RouterRun run = run_shell({"--modem", "MC7430", "--link", "modem_1_1_2,setup=never"},
                                    network + "modemctl sim-status; modemctl check_register; " +
                                        built("call_operation") + " 5 1-1.2 get_csq");
    EXPECT_EQ(run.out, "READY\ncheck_register=0\n-1 -77\n");
    for (const char *port : {"ttyUSB0", "ttyUSB1", "ttyUSB2", "ttyUSB3"})
        EXPECT_EQ(run.sent_to(port), "") << port;
}

// Bringing an interface up and down

const std::string make_interface =
    "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi; uci commit "
    "network; uci set firewall.@zone[1].network=\"$ZONE\"; uci commit firewall; exec ";

RouterRun control(const char *zone, Lines options, const std::string &call)
{
    options.insert(options.end(), {"--modem", "EC25"});
    return run_shell(options, std::string{"ZONE='"} + zone + "'; " + make_interface + built("call_operation") +
                                  " 3 1-1.2 " + call);
}

TEST(InterfaceUp, EntersTheInterfaceIntoItsZone)
{
    const RouterRun run = control("wan wan6", {}, "iface_up 15 modem_1_1_2");
    EXPECT_EQ(run.out, "0 \n");
    EXPECT_EQ(run.journal_of("shell", "call_operation"),
              (Lines{"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network",
                     "uci set firewall.@zone[1].network=\"wan wan6 modem_1_1_2\"", "uci commit firewall",
                     "/etc/init.d/firewall reload"}));
}

TEST(InterfaceUp, SyncsThePuffinsFlash)
{
    const auto shell =
        control("wan wan6", {"--board", "puffin"}, "iface_up 15 modem_1_1_2").journal_of("shell", "call_operation");
    ASSERT_GT(shell.size(), 3u);
    EXPECT_EQ(shell[3], "uci commit firewall;sync");
}

TEST(InterfaceUp, LeavesAZoneAloneThatHoldsTheInterface)
{
    const RouterRun run = control("wan wan6 modem_1_1_2", {}, "iface_up 15 modem_1_1_2");
    EXPECT_EQ(run.journal_of("shell", "call_operation"),
              (Lines{"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network", "zonewall"}));
}

TEST(InterfaceUp, LeavesAZoneAloneWhoseListDoesNotFitItsCommand)
{
    const std::string zone(90, 'w');
    const RouterRun run = control(zone.c_str(), {}, "iface_up 15 modem_1_1_2");
    EXPECT_EQ(run.out, "0 \n");
    EXPECT_EQ(run.journal_of("shell", "call_operation"),
              (Lines{"ubus call network.interface.modem_1_1_2 up", "uci get firewall.@zone[1].network"}));
}

TEST(InterfaceUp, WaitsForItsBudgetAndAsksOnceMore)
{
    EXPECT_EQ(control("wan", {"--link", "modem_1_1_2,setup=3000"}, "iface_up 1 modem_1_1_2").out, "1 \n");
    EXPECT_EQ(control("wan", {"--link", "modem_1_1_2,setup=3000"}, "iface_up 15 modem_1_1_2").out, "0 \n");
    EXPECT_EQ(control("wan", {"--link", "modem_1_1_2,setup=never"}, "iface_up 2 modem_1_1_2").out, "1 \n");
    EXPECT_EQ(control("wan", {}, "iface_up 0 no_such_interface").out, "2 \n");
}

TEST(InterfaceDown, TakesTheInterfaceOutOfItsZone)
{
    const RouterRun run = control("wan modem_1_1_2 wan6", {}, "iface_down 5 modem_1_1_2");
    EXPECT_EQ(run.out, "2 \n");
    EXPECT_EQ(run.journal_of("shell", "call_operation"),
              (Lines{"uci set network.modem_1_1_2.disabled=\"1\"", "uci commit network",
                     "uci get firewall.@zone[1].network | sed -e \"s/modem_1_1_2//g\"",
                     "uci set firewall.@zone[1].network=\"wan  wan6\"", "uci commit firewall",
                     "/etc/init.d/firewall reload"}));
}

TEST(InterfaceDown, StopsTheCondorsShortcutsFirst)
{
    const auto shell =
        control("wan", {"--board", "condor"}, "iface_down 5 modem_1_1_2").journal_of("shell", "call_operation");
    ASSERT_FALSE(shell.empty());
    EXPECT_EQ(shell[0], "/etc/init.d/shortcut-fe stop");
}

TEST(InterfaceDown, SyncsThePuffinsFlash)
{
    const auto shell =
        control("wan", {"--board", "puffin"}, "iface_down 5 modem_1_1_2").journal_of("shell", "call_operation");
    ASSERT_EQ(shell.size(), 6u);
    EXPECT_EQ(shell[1], "uci commit network;sync");
    EXPECT_EQ(shell[4], "uci commit firewall;sync");
}

TEST(InterfaceDown, CutsTheNameOutOfLongerOnesToo)
{
    const auto shell =
        control("wan modem_1_1_22", {}, "iface_down 5 modem_1_1_2").journal_of("shell", "call_operation");
    ASSERT_EQ(shell.size(), 6u);
    EXPECT_EQ(shell[3], "uci set firewall.@zone[1].network=\"wan 2\"");
}

TEST(InterfaceDown, CountsAStateThatCannotBeHadAsDown)
{
    const RouterRun run = control("wan", {"--ubus", "absent"}, "iface_down 5 modem_1_1_2");
    EXPECT_EQ(run.out, "2 \n");
}

// The SMS spool

const Lines spool{"--put-text", "/etc/spool/sms/incoming/GMS99.a=new", "--put-text",
                  "/etc/spool/sms/storage/GMS99.b=seen"};

RouterRun in_spool(const std::string &call)
{
    return run_shell(spool,
                     built("call_operation") + " 3 1-1.2 " + call + "; cd /etc/spool/sms; ls incoming storage | sort");
}

TEST(SmsRemove, TakesAMessageFromWhicheverFolderHasIt)
{
    EXPECT_EQ(in_spool("sms_remove GMS99.a").out, "0 \n\nGMS99.b\nincoming:\nstorage:\n");
    EXPECT_EQ(in_spool("sms_remove GMS99.b").out, "0 \n\nGMS99.a\nincoming:\nstorage:\n");
    EXPECT_EQ(in_spool("sms_remove GMS99.c").out, "-1 \n\nGMS99.a\nGMS99.b\nincoming:\nstorage:\n");
}

TEST(SmsRemove, StaysInItsFolders)
{
    EXPECT_EQ(in_spool("sms_remove ../storage/GMS99.b").out, "-1 \n\nGMS99.a\nGMS99.b\nincoming:\nstorage:\n");
    EXPECT_EQ(in_spool("sms_remove ''").out, "-1 \n\nGMS99.a\nGMS99.b\nincoming:\nstorage:\n");
}

TEST(SmsRemoveAll, EmptiesBothFolders)
{
    const RouterRun run = in_spool("sms_remove_all");
    EXPECT_EQ(run.out, "0 \n\nincoming:\nstorage:\n");
    EXPECT_EQ(run.journal_of("shell", "call_operation"),
              (Lines{"rm /etc/spool/sms/incoming/*", "rm /etc/spool/sms/storage/*"}));
}

TEST(SmsRemoveAll, RemovesNothingWhereAFolderIsMissing)
{
    const RouterRun run = run_shell(spool, "rm -r /etc/spool/sms/storage; " + built("call_operation") +
                                               " 3 1-1.2 sms_remove_all; ls /etc/spool/sms/incoming");
    EXPECT_EQ(run.out, "-1 \nGMS99.a\n");
}

} // namespace
