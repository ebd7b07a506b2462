#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "drivers/quectel_config.h"
#include "tests/paths.h"
#include "tests/system/harness.h"

// Every model's simulated modem with everything the command line can ask of it, and the operations that no command word
// reaches, with their bytes on the wire.

namespace models_test {

using Lines = std::vector<std::string>;

// What every command prints, in the form of a terminal session.
std::string session_of(const std::string &model)
{
    std::string session;
    for (const char *command :
         {"sim-status", "check_register", "get_mode", "carrier", "signal", "cells", "thermal", "iccid"})
        session += "$ modemctl " + std::string{command} + "\n" +
                   run_in_router({"--modem", model, "--put-text", "/usr/share/modem/operator.dat=00101,Test"},
                                 {"modemctl", command})
                       .out;
    return session;
}

// The profiles that are a model, and not what several models share. Those of the models file and the 5G ones are in
// models_file_test.cpp.
Lines simulated_models()
{
    Lines models;
    for (const auto &entry : std::filesystem::directory_iterator{SOURCE_ROOT "/simulator/profiles"}) {
        const std::string text = read_text(entry.path());
        if (text.find("\nmodel ") != std::string::npos && text.find(", 5G") == std::string::npos &&
            text.find("(not in the built-in table)") == std::string::npos)
            models.push_back(entry.path().stem());
    }
    std::sort(models.begin(), models.end());
    return models;
}

class Model : public testing::TestWithParam<std::string> {};

// A changed output is looked at, and kept with UPDATE_GOLDEN=1.
TEST_P(Model, PrintsWhatItAlwaysPrinted)
{
    const std::string golden = std::string{TEST_DATA "/golden/"} + GetParam() + ".txt";
    const std::string session = session_of(GetParam());
    if (getenv("UPDATE_GOLDEN") != nullptr)
        std::ofstream{golden} << session;
    EXPECT_EQ(session, read_text(golden));
}

INSTANTIATE_TEST_SUITE_P(All, Model, testing::ValuesIn(simulated_models()), [](const auto &row) { return row.param; });

// Thermal limits

const char thermal_settings[] =
    "/etc/config/devconf=config service 'modem'\n\toption en_limt '1'\n\toption tigger '100'\n"
    "\toption clear '85'\n";

TEST(Thermal, WritesItsDefaults)
{
    const RouterRun run = run_in_router({"--modem", "EC25"}, {"modemctl", "thermal"});
    EXPECT_EQ(run.out, "thermal setting  success\n");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "AT+QCFG=\"thermal/limit_rates\",0\r\nAT+QCFG=\"thermal/modem\",1,95,90\r\n");
}

TEST(Thermal, WritesWhatIsConfigured)
{
    const RouterRun run = run_in_router({"--modem", "EC25", "--put-text", thermal_settings}, {"modemctl", "thermal"});
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
        const RouterRun run = call_operation(options, words);
        EXPECT_EQ(run.out, row.out) << row.what;
        EXPECT_EQ(run.sent_to("ttyUSB2"), row.sent) << row.what;
    }
}

TEST(PdpContext, OfAFibocomNeedsNoSimFile)
{
    const RouterRun run = call_operation({"--modem", "NL678E"}, {"40", "1-1.2", "set_apn", "internet"});
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
        const RouterRun run = call_operation({"--modem", std::string{"EC25,revision="} + row.revision},
                                             {"3", "1-1.2", "set_band_by_revision"});
        EXPECT_EQ(run.out, row.command == nullptr ? "-2 \n" : "0 OK\n") << row.revision;
        EXPECT_EQ(run.sent_to("ttyUSB2"),
                  row.command == nullptr ? "ATI\r\n" : std::string{"ATI\r\n"} + row.command + "\r\n");
    }
}

TEST(LteBand, IsTheFixedOneWhereThereIsOne)
{
    const RouterRun fixed = call_operation(
        {"--modem", "EC25", "--put-text", "/etc/config/devconf=config service modem\n\toption dev1 '40'"},
        {"3", "1-1.2", "get_lte_band", "devconf.modem.dev1"});
    EXPECT_EQ(fixed.out, "40 \n");
    EXPECT_EQ(fixed.sent_to("ttyUSB2"), "");
    EXPECT_EQ(call_operation({"--modem", "EC25"}, {"3", "1-1.2", "get_lte_band", "devconf.modem.dev1"}).out, "3 \n");
    EXPECT_EQ(call_operation({"--modem", "EC25,rat=WCDMA"}, {"3", "1-1.2", "get_lte_band", "devconf.modem.dev1"}).out,
              "0 \n");
}

TEST(Bands, AreListedWithTheirMask)
{
    const std::string out = call_operation({"--modem", "EG91"}, {"8", "1-1.2", "get_bands"}).out;
    EXPECT_EQ(out.find("0 {\"EGPRS\":\"850MHz 900MHz 1800Mhz 1900MHz \",\"LTE\":\"B"), 0u) << out;
}

// Operations of a port number

TEST(ScanMode, IsWrittenByItsNumberAndReadsBack)
{
    const char *const commands[] = {"\"nwscanmode\",0", "\"nwscanmode\",0", "\"nwscanmode\",1",
                                    "\"nwscanmode\",2", "\"nwscanmode\",3", "\"nwscanmode\",0"};
    for (int mode = 0; mode < 6; mode++) {
        const RouterRun run =
            call_operation({"--modem", "EC25"}, {"3", "1-1.2", "set_scan_mode", "2", std::to_string(mode)});
        EXPECT_EQ(run.out, "0 \n") << mode;
        EXPECT_EQ(run.sent_to("ttyUSB2"), std::string{"AT+QCFG="} + commands[mode] + "\r\n");
    }
}

TEST(Creg, IsTheDigitOfThatPort)
{
    EXPECT_EQ(call_operation({"--modem", "EC25,registration=5"}, {"3", "1-1.2", "get_creg", "2"}).out, "5 \n");
    EXPECT_EQ(call_operation({"--modem", "EC25"}, {"3", "1-1.2", "get_creg", "9"}).out, "-1 \n");
}

// The Sierra modem while its interface is coming up

TEST(SierraModem, IsLeftAloneWhileItsInterfaceIsPending)
{
    const std::string network =
        "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=directip; "
        "uci commit network; ubus call network reload; ubus call network.interface.modem_1_1_2 up; ";
    const RouterRun run = run_shell({"--modem", "MC7430", "--link", "modem_1_1_2,setup=never"},
                                    network + "modemctl sim-status; modemctl check_register; " +
                                        built_word("call_operation") + " 5 1-1.2 get_csq");
    EXPECT_EQ(run.out, "READY\ncheck_register=0\n-1 -77\n");
    for (const char *port : {"ttyUSB0", "ttyUSB1", "ttyUSB2", "ttyUSB3"})
        EXPECT_EQ(run.sent_to(port), "") << port;
    EXPECT_EQ(run.journal_of("syslog", "modemctl"), (Lines{"debug modem device busy,can't check SIM status",
                                                           "debug modem device busy,can't check register status",
                                                           "debug modem device busy,can't check register status"}));
    EXPECT_EQ(run.journal_of("syslog", "call_operation"), Lines{"debug modem device busy,can't to get signal"});
}

} // namespace models_test
