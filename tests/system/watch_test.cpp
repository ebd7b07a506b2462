#include <gtest/gtest.h>

#include <sys/wait.h>

#include "tests/system/online.h"

// The watch in real time. The times of its settings are short here; the tests of one suite run side by side.

namespace {

// A QMI interface that comes up in a tenth of a second, short times, and no probes: the simulated network has no name
// server. What "sh" adds comes before the watch starts.
const std::string set_up = R"(
set_option() { uci set modemctl.watch.$1=$2; uci commit modemctl; }
wait_for() { n=0; until modemctl watch status | grep -q "^state *$1\$"; do n=$((n + 1)); [ $n -gt ${2:-150} ] && break; sleep 0.1; done; }
say() { modemctl watch status | grep -E '^(state|reason) ' | sed 's/^[a-z]* *//' | tr '\n' ';'; echo; }
uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi
uci set network.modem_1_1_2.device=/dev/cdc-wdm0; uci commit network; ubus call network reload
touch /etc/config/modemctl; uci set modemctl.watch=watch
for o in interval=1 probe=none stall=2 grace=3 reset_grace=6 retry=1 settle=60 absent_wait=3 blocked_wait=2 \
    no_service_wait=3 backoff=5; do uci set modemctl.watch.$o; done; uci commit modemctl
)";

RouterRun watch(Lines options, const std::string &script)
{
    options.insert(options.end(), {"--link", "setup=100"});
    return run_shell(options, set_up + script);
}

std::vector<std::string> log_of(const RouterRun &run)
{
    std::vector<std::string> lines;
    for (const std::string &line : run.journal_of("syslog", "modemctl"))
        if (const std::string start = "notice 1-1.2: "; line.starts_with(start))
            lines.push_back(line.substr(start.size()));
    return lines;
}

bool has_line(const RouterRun &run, const std::string &part)
{
    const auto lines = log_of(run);
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string &line) { return line.find(part) != std::string::npos; });
}

std::string all(const RouterRun &run)
{
    std::string text = run.out + run.err;
    for (const std::string &line : log_of(run))
        text += line + "\n";
    return text;
}

struct Fault {
    const char *what;
    Lines options;
    const char *script; ///< after the set-up
    const char *out;    ///< what it prints
    const char *logged; ///< part of a line of the log; empty: no line has "recovering"
};

const Fault faults[] = {
    {"healthy", {"--modem", "EC25"}, "modemctl watch & wait_for online; say", "online;the network answers;\n", ""},
    {"taken down by a person",
     {"--modem", "EC25"},
     "modemctl watch & wait_for online; ubus call network.interface.modem_1_1_2 down; wait_for off; say;"
     "ubus call network.interface.modem_1_1_2 up; wait_for online; say",
     "off;not wanted;\nonline;the network answers;\n",
     ""},
    {"disabled",
     {"--modem", "EC25"},
     "uci set network.modem_1_1_2.disabled=1; uci commit network; ubus call network reload; modemctl watch & wait_for "
     "off; sleep 2; say;"
     "uci set network.modem_1_1_2.disabled=0; uci commit network; ubus call network reload; wait_for online; say",
     "off;;\nonline;the network answers;\n",
     ""},
    {"paused",
     {"--modem", "EC25"},
     "modemctl watch pause 1h; modemctl watch & wait_for off; sleep 2; say; modemctl watch resume; wait_for online; "
     "say",
     "off;;\nonline;the network answers;\n",
     ""},
    {"session dead, interface up",
     {"--modem", "EC25", "--link", "modem_1_1_2,setup=100,traffic=0/3000"},
     "set_option stall_packets 2; set_option stall 6; modemctl watch & wait_for online; wait_for recovering 400; "
     "wait_for online; say",
     "online;the network answers;\n",
     "suspect -> recovering: reconnect, 5 of 6 left this hour"},
    {"the interface fails and is not tried again",
     {"--modem", "EC25", "--link", "modem_1_1_2,error=CALL_FAILED,setup=100"},
     "modemctl watch & wait_for recovering; say",
     "recovering;reconnect, 5 of 6 left this hour;\n",
     "recovering: reconnect"},
    {"settings that the handler refuses",
     {"--modem", "EC25", "--link", "modem_1_1_2,error=INVALID_OPTIONS,setup=100"},
     "modemctl watch & wait_for blocked; sleep 5; say",
     "blocked;the settings are refused;\n",
     ""},
    {"no SIM card",
     {"--modem", "EC25,pin=NOSIM", "--link", "modem_1_1_2,setup=never"},
     "modemctl watch & wait_for blocked; sleep 4; say",
     "blocked;no SIM card;\n",
     ""},
    {"PUK",
     {"--modem", "EC25,pin=SIM PUK", "--link", "modem_1_1_2,setup=never"},
     "modemctl watch & wait_for blocked; sleep 4; say",
     "blocked;the SIM card wants its PUK;\n",
     ""},
    {"PIN not configured",
     {"--modem", "EC25,pin=SIM PIN", "--link", "modem_1_1_2,setup=never"},
     "modemctl watch & wait_for blocked; sleep 4; say",
     "blocked;the PIN is not configured;\n",
     ""},
    {"PIN configured",
     {"--modem", "EC25,pin=SIM PIN"},
     "uci set network.modem_1_1_2.pincode=1234; uci commit network; ubus call network.interface.modem_1_1_2 down;"
     "ubus call network.interface.modem_1_1_2 up; modemctl watch & wait_for online; say",
     "online;the network answers;\n",
     ""},
    {"wrong PIN",
     {"--modem", "EC25,pin=SIM PIN", "--link", "modem_1_1_2,setup=never"},
     "uci set network.modem_1_1_2.pincode=9999; uci commit network; modemctl watch & wait_for blocked; sleep 5; say; "
     "wc -l </etc/modemctl.1-1.2;"
     "kill $!; rm -r /tmp/modem.1-1.2; modemctl watch & wait_for blocked; sleep 3; say",
     "blocked;the PIN was refused;\n3\nblocked;the PIN was refused;\n",
     "the PIN is sent"},
    {"no coverage",
     {"--modem", "EC25,registration=2,ps_registration=2", "--link", "modem_1_1_2,setup=never"},
     "modemctl watch & wait_for no-service; sleep 1; say",
     "no-service;not registered;\n",
     ""},
    {"registration denied",
     {"--modem", "EC25,registration=3,ps_registration=3", "--link", "modem_1_1_2,setup=never"},
     "modemctl watch & wait_for blocked; sleep 3; say",
     "blocked;the network refuses the SIM card;\n",
     ""},
    {"the modem does not answer",
     {"--modem", "EC25", "--fault", "silence", "--link", "modem_1_1_2,setup=never"},
     "modemctl watch & wait_for recovering 400; say",
     "recovering;reconnect, 5 of 6 left this hour;\n",
     "recovering: reconnect"},
    {"the whole ladder",
     {"--modem", "EC25", "--link", "modem_1_1_2,setup=never"},
     "modemctl watch & wait_for slow 500; say",
     "slow;nothing more to try;\n",
     "suspect -> recovering: modem, 1 of 2 left this hour"},
    {"the modem goes for good",
     {"--modem", "EC25", "--fault", "gone-before=0:AT+CGPADDR"},
     "modemctl watch & wait_for online; (echo AT+CGPADDR >/dev/ttyUSB3; echo -e 'AT+CGPADDR\\r' >/dev/ttyUSB2) "
     "2>/dev/null; wait_for absent; sleep 4; say",
     "absent;no modem on the bus;\n",
     ""},
    {"the modem restarts by itself",
     {"--modem", "EC25", "--fault", "gone-before=2000:AT+CGPADDR"},
     "modemctl watch & wait_for online; echo -e 'AT+CGPADDR\\r' >/dev/ttyUSB2; wait_for absent; wait_for online 300; "
     "say",
     "online;the network answers;\n",
     ""},
    {"another program holds the port",
     {"--modem", "EC25"},
     "exec 9<>/dev/ttyUSB2; flock 9; modemctl watch & wait_for online 300; say",
     "online;the network answers;\n",
     ""},
    {"roaming is not allowed",
     {"--modem", "EC25,registration=5,ps_registration=5"},
     "set_option roaming deny; modemctl watch & wait_for blocked; sleep 3; say;"
     "ifstatus modem_1_1_2 | grep '\"up\"'",
     "blocked;roaming is not allowed;\n\t\"up\": false,\n",
     ""},
    {"the network daemon is away",
     {"--modem", "EC25", "--ubus", "silent=network.interface.modem_1_1_2"},
     "modemctl watch & sleep 8; modemctl watch status | grep -c state",
     "1\n",
     ""},
};

TEST(SlowWatch, BringsBackWhatAPersonCouldAndLeavesTheRestAlone)
{
    std::vector<std::function<RouterRun()>> runs;
    for (const Fault &fault : faults)
        runs.emplace_back([&fault] { return watch(fault.options, fault.script); });
    const auto results = run_at_once(runs);
    for (size_t i = 0; i < results.size(); i++) {
        const std::string logged = faults[i].logged;
        EXPECT_EQ(results[i].out, faults[i].out) << faults[i].what << "\n" << all(results[i]);
        EXPECT_TRUE(logged.empty() ? !has_line(results[i], "-> recovering") : has_line(results[i], logged))
            << faults[i].what << "\n"
            << all(results[i]);
    }
}

TEST(Watch, TakesOneStepAndRemembersIt)
{
    const RouterRun run =
        watch({"--modem", "EC25"}, "sleep 0.3; modemctl watch 1-1.2 --once; echo $?; say; modemctl watch --once; say;"
                                   "stat -c '%a %s' /tmp/modem.1-1.2/watch.lock");
    EXPECT_EQ(run.out, "0\nonline;the network answers;\nonline;the network answers;\n600 0\n") << all(run);
    EXPECT_EQ(log_of(run).size(), 2U) << "a line for each change, and none for a step: " << all(run);
}

TEST(Watch, RunsOnceForEachModem)
{
    EXPECT_EQ(watch({"--modem", "EC25"}, "modemctl watch & wait_for online; modemctl watch --once; echo $?").out,
              "3\n");
}

TEST(Watch, EndsAtOnceAndKeepsASnapshot)
{
    const RouterRun run =
        watch({"--modem", "EC25"},
              "modemctl watch & wait_for online; modemctl info --cached --json | grep -c '\"iccid\"';"
              "start=$(date +%s%N); kill $!; wait $!; echo $?; echo $((($(date +%s%N) - start) / 1000000000))");
    EXPECT_EQ(run.out, "1\n143\n0\n") << all(run);
}

TEST(Watch, LeavesAHistoryAndCountsBytes)
{
    const RouterRun run =
        watch({"--modem", "EC25", "--link", "modem_1_1_2,setup=100,traffic=3000/500"},
              "modemctl history; echo $?; set_option usage_limit 1; modemctl watch & wait_for online; sleep 2; "
              "modemctl history --json --since 1h;"
              "modemctl history | cut -d ' ' -f 3-4; modemctl history --since 5x; echo $?; kill $!; wait $!;"
              "sleep 1; modemctl watch --once; modemctl usage --json; modemctl usage | cut -c 1-21; stat -c '%a' "
              "/tmp/modem.1-1.2/history");
    const auto lines = lines_of(run.out);
    ASSERT_EQ(lines.size(), 7U) << all(run);
    EXPECT_EQ(lines[0], "1") << "nothing yet";
    EXPECT_NE(lines[1].find(R"("state":)"), std::string::npos) << lines[1];
    EXPECT_EQ(lines[3], "64");
    EXPECT_NE(lines[4].find(R"("rx_bytes":3000,"tx_bytes":500)"), std::string::npos) << lines[4];
    EXPECT_EQ(lines[5], "89430300001234567890 ");
    EXPECT_EQ(lines[6], "600");
}

TEST(Watch, TakesTheInterfaceDownAtTheDataLimit)
{
    const RouterRun run =
        watch({"--modem", "EC25", "--link", "modem_1_1_2,setup=100"},
              "echo '89430300001234567890 '$(date +%Y%m)' 999000 2000' >/etc/modemctl.usage; set_option usage_limit 1;"
              "set_option usage_warn '80'; set_option usage_action disconnect; modemctl watch & wait_for blocked; say;"
              "ifstatus modem_1_1_2 | grep '\"up\"'; set_option usage_limit 5; wait_for online; say");
    EXPECT_EQ(run.out, "blocked;the data limit is reached;\n\t\"up\": false,\nonline;the network answers;\n")
        << all(run);
    EXPECT_TRUE(has_line(run, "100 per cent of the data limit")) << all(run);
}

TEST(Watch, RefusesWhatItDoesNotUnderstand)
{
    for (const char *words : {"--twice", "pause 30x", "pause -5", "pause 99999999999999999999", "status --yaml",
                              "1-1.2/.. --once", "status --json more"})
        EXPECT_EQ(run_shell({"--modem", "EC25"}, std::string("modemctl watch ") + words + "; echo $?").out, "64\n")
            << words;
    EXPECT_EQ(run_shell({"--modem", "EC25"}, "modemctl watch status; echo $?").out, "1\n");
}

} // namespace
