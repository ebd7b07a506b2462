#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// Models that a text file lists, and modems of today in the simulated router: served with a row, and without one.

namespace models_file_test {

using Lines = std::vector<std::string>;

const Lines shipped_models = {"--put", SOURCE_ROOT "/packaging/data/models:/usr/share/modemctl/models"};

RouterRun run_with_models(const std::string &modem, const Lines &command, Lines options = shipped_models)
{
    options.insert(options.end(), {"--modem", modem});
    return run_in_router(options, command);
}

bool has(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos;
}

struct ModernRow {
    const char *modem;
    const char *facts[5];
};
const ModernRow modern_rows[] = {
    {"RM520N",
     {R"("model":{"id":105,"name":"RM520N-GL","dialect":"quectel"})", R"("technology":"NR5G-NSA")",
      R"("nr":{"band":"n78",)", R"("cell_id":52962847)", R"("missing":[])"}},
    {"RM520N,cell=SA",
     {R"("id":105)", R"("technology":"NR5G-SA")", R"("cell_id":12761628673)", R"("band":"n78")", R"("rsrp_dbm":-95)"}},
    {"FM160",
     {R"("dialect":"fibocom")", R"("technology":"NR5G-SA")", R"("model":"FM160-EAU")", R"("arfcn":647232)",
      R"("sinr_db":21)"}},
    {"SIM8200",
     {R"("dialect":"simcom")", R"("technology":"NR5G-SA")", R"("cell_id":4955280)", R"("rsrp_dbm":-77)",
      R"("sinr_db":29)"}},
    {"SIM8200,cell=NSA",
     {R"("technology":"NR5G-NSA")", R"("band":"B3")", R"("nr":{)", R"("pci":257)", R"("mnc":"11")"}},
    {"EM9190",
     {R"("model":{"id":123,"name":"EM9190","dialect":"sierra"})", R"("technology":"NR5G-SA")", R"("cell_id":6576)",
      R"("rsrp_dbm":-111)", R"("temperature_c":40)"}},
};

// What a connection leaves in UCI and sends to the AT port.
struct ConnectRow {
    const char *modem;
    const char *command;
    const char *settings;
    const char *sent;
};
const ConnectRow connect_rows[] = {
    {"EM9190", "connect qmi /dev/cdc-wdm0 lte internet",
     "ifname='wwan0' service='lte' apn='internet' proto='mbim' device='/dev/cdc-wdm0' ", ""},
    {"EM9190", "connect serial /dev/cdc-wdm0 lte internet",
     "ifname='wwan0' service='lte' apn='internet' proto='mbim' device='/dev/cdc-wdm0' ", ""},
    {"EM9190,imsi=262011234567890", "connect-auto",
     "ifname='wwan0' service='fdd_lte' apn='internet.t-d1.de' proto='mbim' device='/dev/cdc-wdm0' ",
     "AT+CIMI\r\nAT+CIMI\r\n"},
    {"FM350", "connect serial /dev/ttyUSB3 lte internet",
     "ifname='usb0' service='lte' apn='internet' proto='dhcp' device='usb0' ",
     "AT+CGDCONT=1,\"IP\",\"internet\"\r\nAT+GTRNDIS=1,1\r\nAT+CGACT=1,1\r\n"},
    {"FM350,imsi=262011234567890", "connect-auto",
     "ifname='usb0' service='fdd_lte' apn='internet.t-d1.de' proto='dhcp' device='usb0' ",
     "AT+CIMI\r\nAT+CIMI\r\nAT+CGDCONT=1,\"IP\",\"internet.t-d1.de\"\r\nAT+GTRNDIS=1,1\r\nAT+CGACT=1,1\r\n"},
    {"RM520N", "connect qmi /dev/cdc-wdm0 lte internet",
     "ifname='wwan0' service='lte' apn='internet' proto='qmi' device='/dev/cdc-wdm0' ",
     "AT+CGDCONT=1,\"IP\",\"internet\"\r\n"},
    {"FM160", "connect qmi /dev/cdc-wdm0 lte internet",
     "ifname='wwan0' service='lte' apn='internet' proto='qmi' device='/dev/cdc-wdm0' ",
     "AT+CGDCONT=1,\"IP\",\"internet\"\r\n"},
    {"SIM8200", "connect serial /dev/ttyUSB3 lte internet",
     "ifname='xxx' service='lte' apn='internet' proto='ncm' device='/dev/ttyUSB3' ", ""},
};

// The AT port of each of these modems in the router.
const char *at_port_of(const std::string &modem)
{
    return modem.starts_with("EM9190") ? "ttyUSB0" : modem.starts_with("FM350") ? "ttyUSB3" : "ttyUSB2";
}

TEST(ModernModem, ConnectsByTheProtocolOfItsRow)
{
    for (const auto &row : connect_rows) {
        Lines options = shipped_models;
        options.insert(options.end(),
                       {"--link", "setup=100", "--put-text", "/tmp/sim_type=att", "--put-text", "/tmp/sim_status=ready",
                        "--put", TEST_DATA "/apn/apn-config.js:/www/src/lib/apn-config.js"});
        const std::string script = std::string{"modemctl "} + row.command +
                                   "; uci show network.modem_1_1_2 | cut -d. -f3- | grep -v "
                                   "'node=\\|metric=\\|disabled=\\|raw_ip=\\|mtu=\\|password=' | "
                                   "tail -n +2 | tr '\\n' ' '";
        const RouterRun run = run_with_models(row.modem, {"sh", "-c", script}, options);
        EXPECT_EQ(run.out, std::string{"\nconnect success\n"} + row.settings)
            << row.modem << " " << row.command << run.err;
        EXPECT_EQ(run.sent_to(at_port_of(row.modem)), row.sent) << row.modem << " " << row.command;
    }
}

// Its section has no port that could have moved to another number.
TEST(ModernModem, IsShownByItsNetworkDeviceWhereItHasNoPort)
{
    Lines options = shipped_models;
    options.insert(options.end(), {"--link", "setup=100"});
    const RouterRun run = run_with_models(
        "FM350",
        {"sh", "-c",
         "mkdir -p $(readlink -f /sys/bus/usb/devices/1-1.2)/1-1.2:1.0/net/usb0; "
         "modemctl connect serial /dev/ttyUSB3 lte internet >/dev/null; uci -q get network.modem_1_1_2.node; "
         "modemapi get /modem/get '{\"modem_id\":116,\"bus\":\"1-1.2\"}'"},
        options);
    EXPECT_TRUE(run.out.starts_with("0\n{")) << run.out << run.err;
    EXPECT_NE(run.out.find("\"device\":\"usb0\""), std::string::npos) << run.out;
}

TEST(ModernModem, IsReportedWithItsCells)
{
    for (const auto &row : modern_rows) {
        const RouterRun run = run_with_models(row.modem, {"modemctl", "info", "--json"});
        EXPECT_EQ(run.status, 0) << row.modem;
        for (const char *fact : row.facts)
            EXPECT_TRUE(has(run.out, fact)) << row.modem << " " << fact << "\n" << run.out;
    }
}

// On a busy machine a port can be later than the 300 ms for which it is asked; then one asks again.
TEST(ModernModem, IsReportedTheSameWithoutARow)
{
    const std::string script = "for i in 1 2 3 4 5 6 7 8; do modemctl info --json && break; done | tail -n 1";
    const RouterRun run = run_with_models("RM520N", {"sh", "-c", script}, {});
    EXPECT_TRUE(has(run.out, R"("model":{"id":255,"dialect":"quectel"})")) << run.out;
    EXPECT_TRUE(has(run.out, R"("technology":"NR5G-NSA")")) << run.out;
}

// The kernel can give the ports other names, and a modem can move its AT port.
TEST(ModernModem, IsFoundAgainWhenItsPortNoLongerAnswers)
{
    const RouterRun run =
        run_with_models("RM520N",
                        {"sh", "-c",
                         "modemctl info >/dev/null; for i in 1 2 3 4 5 6 7 8; do "
                         "sed -i s/ttyUSB[0-9]/ttyUSB0/ /tmp/modem.1-1.2/at-port; modemctl info --json >/tmp/told; "
                         "grep -q ttyUSB2 /tmp/modem.1-1.2/at-port && break; done; "
                         "grep -o '\"dialect\":\"[a-z]*\"' /tmp/told; tail -n 1 /tmp/modem.1-1.2/at-port"},
                        {});
    EXPECT_EQ(run.out, "\"dialect\":\"quectel\"\n/dev/ttyUSB2\n");
}

TEST(ModelsFile, MakesTheFixedCommandsServeItsModels)
{
    EXPECT_EQ(run_with_models("RM520N", {"modemctl", "get_mode"}).out, "get_mode: 5G\n");
    EXPECT_EQ(run_with_models("RM520N,cell=SA", {"modemctl", "get_mode"}).out, "get_mode: 5G\n");
    EXPECT_EQ(run_with_models("RM520N,cell=LTE", {"modemctl", "get_mode"}).out, "get_mode: 4G\n");
    // Its reply is long. On a busy machine the end of it, which names NR, can be later than a command waits.
    const std::string script = "for i in 1 2 3 4 5 6 7 8; do modemctl get_mode | grep 5G && break; done";
    EXPECT_EQ(run_with_models("EM9190", {"sh", "-c", script}).out, "get_mode: 5G\n");
    EXPECT_EQ(run_with_models("RM520N", {"modemctl", "check_register"}).out, "check_register=0\n");
    EXPECT_TRUE(has(run_with_models("RM520N", {"modemctl", "modems"}).out, "RM520N-GL"));
}

TEST(ModelsFile, CannotChangeABuiltInModel)
{
    const Lines own = {"--put-text", "/etc/modemctl/models=Mine 2c7c:0125 120 0 - - ppp 3gpp"};
    EXPECT_TRUE(
        has(run_with_models("EC25", {"modemctl", "info", "--json"}, own).out, R"("model":{"id":3,"name":"EC25")"));
}

TEST(ModelsFile, TakesTheUsersRowBeforeThePackages)
{
    Lines both = shipped_models;
    both.insert(both.end(), {"--put-text", "/etc/modemctl/models=broken row\nMine 2c7c:0801 120 2 - - ppp quectel"});
    EXPECT_TRUE(has(run_with_models("RM520N", {"modemctl", "info", "--json"}, both).out,
                    R"("model":{"id":120,"name":"Mine","dialect":"quectel"})"));
}

TEST(ModelsFile, NamesItsWrongRowsInTheLog)
{
    const Lines own = {"--put-text", "/etc/modemctl/models=broken row\n\nMine 2c7c:0125 120 2 - - ppp quectel"};
    EXPECT_EQ(run_with_models("RM520N", {"modemctl", "modems"}, own).journal_of("syslog", "modemctl"),
              (Lines{"warning /etc/modemctl/models:1: the USB ids are not like 2c7c:0125",
                     "warning /etc/modemctl/models:3: a built-in model has these USB ids and comes first"}));
}

// However the user's file is spoilt, the modem is found by the package's row, soon.
TEST(ModelsFile, IsPassedOverIfItCannotBeRead)
{
    constexpr const char *spoils[] = {
        "mkfifo $file",
        "mkdir $file",
        "ln -s /dev/zero $file",
        "ln -s $file $file",
        "head -c 100000 /dev/urandom >$file",
        "yes Mine 2c7c:0801 99 2 - - ppp quectel | head -n 100000 >$file",
        "yes Mine | tr -d '\\n' | head -c 1000000 >$file",
        ": >$file && chown 1:1 $file && chmod 666 $file",
    };
    std::string script = "file=/etc/modemctl/models; mkdir -p ${file%/*}\n";
    for (const char *spoil : spoils)
        script += std::string{spoil} + "; timeout 5 modemctl get_mode; rm -rf $file\n";
    const RouterRun run = run_with_models("RM520N", {"sh", "-c", script});
    std::string expected;
    for (size_t i = 0; i < std::size(spoils); i++)
        expected += "get_mode: 5G\n";
    EXPECT_EQ(run.out, expected) << run.err;
    EXPECT_LE(run.journal_of("syslog", "modemctl").size(), 8 * std::size(spoils));
}

TEST(ModelsFile, MayBeALinkToAFile)
{
    const RouterRun run =
        run_with_models("RM520N", {"sh", "-c",
                                   "mkdir -p /etc/modemctl; echo 'Mine 2c7c:0801 120 2 - - ppp quectel' >/tmp/models;"
                                   "ln -s /tmp/models /etc/modemctl/models; modemctl info --json"});
    EXPECT_TRUE(has(run.out, R"("model":{"id":120,"name":"Mine","dialect":"quectel"})")) << run.out;
}

} // namespace models_file_test
