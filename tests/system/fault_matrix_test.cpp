#include <gtest/gtest.h>

#include "tests/system/documented_faults.h"
#include "tests/system/harness.h"

// What goes wrong around a connect, and what is left then: every configuration file is whole, the old one or the new
// one, and where the fault ends, the next connect works. docs/faults.md has these rows for people.

namespace fault_matrix_test {

using Lines = std::vector<std::string>;

struct Fault {
    const char *what;    ///< as in docs/faults.md
    const char *outcome; ///< as it stands there: "written...", or the files are the old ones
    Lines options;
    const char *before; ///< shell commands that bring the fault about
    const char *after;  ///< and those that end it; empty where it lasts

    friend void PrintTo(const Fault &fault, std::ostream *out) { *out << fault.what; }
};

const Fault faults[] = {
    {"ubusd is not there", "written", {"--ubus", "absent"}, "", ""},
    {"ubusd answers a second late", "written", {"--ubus", "delay=1000"}, "", ""},
    {"ubusd loses the connection in a call", "written", {"--ubus", "dying"}, "", ""},
    {"`/etc/config` is full",
     "not written, the files are the old ones",
     {"--config-size", "65536"},
     "dd if=/dev/zero of=/etc/config/fill bs=1k count=100 2>/dev/null; ",
     "rm /etc/config/fill; "},
    {"`/etc/config` is read-only",
     "not written, the files are the old ones",
     {},
     "remount ro /etc/config; ",
     "remount rw /etc/config; "},
    {"the caller's file size limit is small and SIGXFSZ ignored",
     "not written, the files are the old ones",
     {},
     "trap '' XFSZ; ulimit -S -f 8; ",
     "ulimit -S -f unlimited; "},
    {"another process keeps the writer's lock",
     "written, after 5 s for each package",
     {},
     "mkdir -p /var/lock; exec 9>/var/lock/modemctl.network.lock; flock 9; ",
     "flock -u 9; "},
    {"another process keeps the lock of a file of UCI for 2 s",
     "written, after 2 s",
     {},
     "exec 9</etc/config/network; flock 9; (sleep 2; flock -u 9) & ",
     ""},
    {"`/tmp` is full",
     "not written, the files are the old ones",
     {},
     "remount size=$(($(df -k /tmp | awk 'NR == 2 {print $3}') + 256))k / && dd if=/dev/zero of=/tmp/fill bs=1k "
     "count=1000 2>/dev/null; ",
     "rm /tmp/fill; "},
    {"the folder of saved changes is a file",
     "not written, the files are the old ones",
     {},
     "rm -rf /tmp/.uci; echo x >/tmp/.uci; ",
     "rm -rf /tmp/.uci; "},
    {"the port is locked for ever",
     "written; the APN is not in the modem",
     {},
     "exec 8</dev/ttyUSB2; flock 8; ",
     "flock -u 8; "},
    {"the modem is silent", "written; the APN is not in the modem", {"--fault", "silence"}, "", ""},
    {"the modem goes away at its first command",
     "written; the APN is not in the modem",
     {"--fault", "gone-during"},
     "",
     ""},
    {"it comes back under other numbers meanwhile",
     "written; the APN is not in the modem",
     {"--fault", "gone-during=300", "--renumber"},
     "",
     ""},
};

// Without its options mode, mount hands an ordinary user's ids back to the kernel, which refuses them.
const std::string remount = "remount() { mount --options-mode=ignore -o remount,$1 $2; }; ";

class FaultMatrix : public testing::TestWithParam<Fault> {};

TEST_P(FaultMatrix, LeavesWholeFilesBehind)
{
    const Fault &fault = GetParam();
    EXPECT_EQ(documented_faults("## A connect")[fault.what], fault.outcome) << fault.what;
    const bool is_written = std::string_view{fault.outcome}.starts_with("written");
    const bool ends = *fault.after != '\0';
    Lines options = {"--modem", "EC25", "--put-text", "/tmp/sim_status=ready", "--put-text", "/tmp/sim_type=x"};
    options.insert(options.end(), fault.options.begin(), fault.options.end());
    const std::string connect = "modemctl connect serial /dev/ttyUSB3 '*99#' internet >/dev/null 2>&1 9<&-; ";
    const RouterRun run = run_shell(
        options,
        remount + "cp -r /etc/config /tmp/before; " + fault.before + connect + "echo status $?; " + fault.after +
            "for p in network mwan3 system devconf cellconf firewall; do uci -q show $p >/dev/null || echo $p is "
            "broken; done; uci get network.lan.proto; uci -q get network.modem_1_1_2.apn; cd /etc/config; for f in "
            "*; do [ -s $f ] || [ ! -s /tmp/before/$f ] || echo $f is empty; done; " +
            (is_written ? "" : "diff -r /tmp/before /etc/config && echo unchanged; ") +
            (ends ? connect + "uci get network.modem_1_1_2.apn" : ""));
    EXPECT_EQ(run.out, std::string("status 0\nstatic\n") + (is_written ? "internet\n" : "unchanged\n") +
                           (ends ? "internet\n" : ""))
        << run.err;
}

INSTANTIATE_TEST_SUITE_P(Slow, FaultMatrix, testing::ValuesIn(faults),
                         [](const auto &row) { return test_name_of(row.param.what); });

// It takes its time then: 100 s for a question of the program, and longer for the command that brings the interface up.
TEST(FaultMatrix, ADeafUbusdIsWaitedForWithTheSettingsWritten)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25", "--ubus", "deaf", "--put-text", "/tmp/sim_status=ready", "--put-text", "/tmp/sim_type=x"},
        "modemctl connect serial /dev/ttyUSB3 '*99#' internet >/dev/null 2>&1 & pid=$!; until uci -q get "
        "network.modem_1_1_2.apn && uci -q get network.modem_1_1_2.disabled; do sleep 0.2; done; sleep 1; "
        "kill $pid && echo still waiting; uci get network.lan.proto");
    EXPECT_EQ(run.out, "internet\n0\nstill waiting\nstatic\n") << run.err;
}

TEST(FaultMatrix, ABrokenConfigurationStaysAsItIs)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25"}, "echo 'config interface \"broken' >>/etc/config/network; md5sum /etc/config/network "
                             ">/tmp/sum; modemctl connect serial /dev/ttyUSB3 '*99#' internet >/dev/null 2>&1; "
                             "echo status $?; md5sum -c /tmp/sum");
    EXPECT_EQ(run.out, "status 0\n/etc/config/network: OK\n");
}

TEST(FaultMatrix, ADatabaseThatIsCutConnectsWithoutAnApn)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25", "--link", "setup=1", "--put-text",
         "/www/src/lib/apn-config.js=/www/src/lib/apn-config={\"apns\":{\"apn\":[{\"-mcc\":\"232\",\"-mnc\":\"03\","
         "\"-apn\":\"a\"}"},
        "modemctl connect-auto 2>/dev/null; echo status $?; uci -q get network.modem_1_1_2.apn; uci get "
        "network.modem_1_1_2.proto");
    EXPECT_EQ(run.out, "\nconnect success\nstatus 0\n3g\n");
}

TEST(FaultMatrixTable, HasNoRowWithoutATest)
{
    std::set<std::string> tested = {
        "ubusd is deaf",                            // below
        "the configuration cannot be parsed",       // below
        "the APN database is cut (`connect-auto`)", // below
        // PlatformUci.KeepsTheOldFileWhicheverCallFails
        "the flash reports an error to a write, fsync, close or rename of ours",
        "the power fails at any moment", // SlowPowerFailure
        "killed at any system call",     // SlowKill
    };
    for (const Fault &fault : faults)
        tested.insert(fault.what);
    EXPECT_EQ(names_of(documented_faults("## A connect")), tested);
}

} // namespace fault_matrix_test
