#include <gtest/gtest.h>

#include <sys/wait.h>

#include "tests/paths.h"
#include "tests/system/documented_faults.h"
#include "tests/system/online.h"

// The watch in real time. The times of its settings are short here; the tests of one suite run side by side.

namespace watch_test {

// A QMI interface that comes up in a tenth of a second, short times, and no probes: nothing answers them unless a test
// asks for it. A state that lasts for a moment is found in the watch's log.
const std::string set_up = R"(
set_option() { uci set modemctl.watch.$1=$2; uci commit modemctl; }
seen=0
has_been() { case $1 in suspect|recovering) ;; *) return 1 ;; esac; line=$(tail -n +$((seen + 1)) /tmp/modem.1-1.2/watch.log 2>/dev/null | grep -n -m 1 -e "-> $1:" -e "-> $1\$" | cut -d: -f1); seen=$((seen + ${line:-0})); [ "$line" ]; }
wait_for() { n=0; until has_been $1 || modemctl watch status | grep -q "^state *$1\$"; do n=$((n + 1)); [ $n -gt 1200 ] && break; sleep 0.1; done; }
say() { modemctl watch status | grep -E '^(state|reason) ' | sed 's/^[a-z]* *//' | tr '\n' ';'; echo; }
start_until() { modemctl watch & watch=$!; wait_for $1; }
rests_in() { start_until $1; sleep $2; say; }
probe_by() { set_option probe $1; set_option idle 1; set_option retry 2; }
send_packets() { while kill -0 $watch; do ip neigh flush dev wwan0; bash -c "for i in \$(seq $1); do echo >/dev/udp/10.64.1.1/9; done"; sleep 0.4; done 2>/dev/null; }
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

Lines ec25(const std::string &variables, const std::string &link, Lines more = {})
{
    more.insert(more.begin(), {"--modem", "EC25" + variables, "--link", "modem_1_1_2," + link});
    return more;
}

struct Fault {
    const char *what;
    Lines options;
    const char *script; ///< after the set-up
    const char *out;    ///< what it prints
    const char *logged; ///< part of a line of the log; empty: no line has "recovering"
    friend void PrintTo(const Fault &fault, std::ostream *out) { *out << fault.what; }
};

// An EC25 that is told what happens to it, or one of the other files beside it.
Lines profile(const std::string &name, const std::string &link)
{
    return {"--modem", TEST_DATA "/watch/" + name, "--link", "modem_1_1_2," + link};
}

// clang-format off
const Fault faults[] = {
    {"healthy", ec25("", "setup=100"), "rests_in online 0", "online;the network answers;\n", ""},
    {"taken down by a person", ec25("", "setup=100"),
     "start_until online; ubus call network.interface.modem_1_1_2 down; wait_for off; say; ubus call network.interface.modem_1_1_2 up; wait_for online; say",
     "off;not wanted;\nonline;the network answers;\n", ""},
    {"disabled", ec25("", "setup=100"),
     "uci set network.modem_1_1_2.disabled=1; uci commit network; ubus call network reload; rests_in off 2;"
     "uci set network.modem_1_1_2.disabled=0; uci commit network; ubus call network reload; wait_for online; say",
     "off;;\nonline;the network answers;\n", ""},
    {"paused", ec25("", "setup=100"), "modemctl watch pause 1h; rests_in off 2; modemctl watch resume; wait_for online; say",
     "off;;\nonline;the network answers;\n", ""},
    {"no interface for it", ec25("", "setup=never"), "uci delete network.modem_1_1_2; uci commit network; ubus call network reload; rests_in off 5",
     "off;;\n", ""},
    // The session is gone, or not.
    {"session dead, interface up", ec25("", "setup=100,traffic=0/3000"),
     "set_option stall_packets 2; set_option stall 6; start_until online; wait_for recovering; wait_for online; say",
     "online;the network answers;\n", "suspect -> recovering: reconnect, 5 of 6 left this hour"},
    {"session dead on a silent line", ec25("", "setup=100,dns=2/0"), "probe_by dns; start_until online; wait_for recovering; wait_for online; say",
     "online;the network answers;\n", "suspect -> recovering: reconnect, 5 of 6 left this hour"},
    {"session dead, but the modem answers ARP", ec25("", "setup=100,dns=1/0"),
     "set_option probe dns; set_option idle 600; start_until online; send_packets 10 & wait_for recovering; wait_for online; say",
     "online;the network answers;\n", "online -> suspect: packets out and none in"},
    {"session dead on a silent line with stray packets", ec25("", "setup=100,dns=1/0"),
     "probe_by dns; set_option idle 3; set_option stall 600; start_until online; send_packets 1 & wait_for recovering; wait_for online; say",
     "online;the network answers;\n", "online -> suspect: no name server answers"},
    {"a line that only sends", ec25("", "setup=100,dns=answer"),
     "set_option probe dns; set_option idle 4; start_until online; send_packets 10 & sleep 10; say; grep -c suspect /tmp/modem.1-1.2/watch.log", "online;the network answers;\n0\n", ""},
    {"the network's name server is silent", ec25("", "setup=100,dns=silent/answer"), "probe_by dns; rests_in online 8", "online;the network answers;\n", ""},
    {"all name servers fail", ec25("", "setup=100,dns=fail"), "probe_by dns; rests_in online 4", "online;the network answers;\n", ""},
    {"no name server, but echoes", ec25("", "setup=100,dns=silent"), "probe_by ping; rests_in online 4", "online;the network answers;\n", ""},
    {"nothing answers", ec25("", "setup=100,dns=0"), "probe_by both; start_until recovering; say", "recovering;reconnect, 5 of 6 left this hour;\n", "recovering: reconnect"},
    {"the interface fails and is not tried again", ec25("", "error=CALL_FAILED,setup=100"), "rests_in recovering 0",
     "recovering;reconnect, 5 of 6 left this hour;\n", "recovering: reconnect"},
    // A person is needed.
    {"settings that the handler refuses", ec25("", "error=INVALID_OPTIONS,setup=100"), "rests_in blocked 5", "blocked;the settings are refused;\n", ""},
    {"no SIM card", ec25(",pin=NOSIM", "setup=never"), "rests_in blocked 4", "blocked;no SIM card;\n", ""},
    {"a SIM card that fails", ec25(",pin=FAILURE", "setup=never"), "start_until slow; say", "slow;nothing more to try;\n", "suspect -> recovering: modem, 1 of 2 left this hour"},
    {"PUK", ec25(",pin=SIM PUK", "setup=never"), "rests_in blocked 4", "blocked;the SIM card wants its PUK;\n", ""},
    {"PIN not configured", ec25(",pin=SIM PIN", "setup=never"), "rests_in blocked 4", "blocked;the PIN is not configured;\n", ""},
    {"PIN configured", ec25(",pin=SIM PIN", "setup=100"),
     "uci set network.modem_1_1_2.pincode=1234; uci commit network; ubus call network.interface.modem_1_1_2 down;"
     "ubus call network.interface.modem_1_1_2 up; rests_in online 0",
     "online;the network answers;\n", ""},
    {"wrong PIN", ec25(",pin=SIM PIN", "setup=never"),
     "uci set network.modem_1_1_2.pincode=9999; uci commit network; rests_in blocked 5; wc -l </etc/modemctl.1-1.2;"
     "kill $watch; wait $watch; rm -r /tmp/modem.1-1.2; rests_in blocked 3",
     "blocked;the PIN was refused;\n3\nblocked;the PIN was refused;\n", "the PIN is sent"},
    {"registration denied", ec25(",registration=3,ps_registration=3", "setup=never"), "rests_in blocked 3", "blocked;the network refuses the SIM card;\n", ""},
    {"roaming is not allowed", ec25(",registration=5,ps_registration=5", "setup=100"),
     "set_option roaming deny; rests_in blocked 3; ubus call network.interface.modem_1_1_2 up; sleep 5; ifstatus modem_1_1_2 | grep '\"up\"'",
     "blocked;roaming is not allowed;\n\t\"up\": false,\n", ""},
    // The modem.
    {"no coverage", ec25(",registration=2,ps_registration=2", "setup=never"), "rests_in no-service 1", "no-service;not registered;\n", ""},
    {"the modem does not answer", ec25("", "setup=never", {"--fault", "silence"}), "start_until recovering; say",
     "recovering;reconnect, 5 of 6 left this hour;\n", "recovering: reconnect"},
    {"the whole ladder", ec25("", "setup=never"), "start_until slow; say", "slow;nothing more to try;\n", "suspect -> recovering: modem, 1 of 2 left this hour"},
    {"a deaf modem", ec25("", "setup=never", {"--fault", "silence"}), "start_until slow; say", "slow;nothing more to try;\n", "suspect -> recovering: usb, 1 of 2 left this hour"},
    {"a deaf modem and no other way out", ec25("", "setup=never", {"--fault", "silence"}), "uci delete network.wan; uci delete network.wan6; uci commit network; ubus call network reload; set_option last_stage router; start_until slow; say", "slow;nothing more to try;\n", "suspect -> recovering: router, 0 of 1 left this hour"},
    {"a deaf modem beside another way out", ec25("", "setup=never", {"--fault", "silence"}),
     "set_option last_stage router; start_until slow; say; grep -c router: /tmp/modem.1-1.2/watch.log", "slow;nothing more to try;\n0\n", "suspect -> recovering: usb, 1 of 2 left this hour"},
    {"the modem goes for good", ec25("", "setup=100", {"--fault", "gone-before=0:AT+CGPADDR"}),
     "start_until online; (echo AT+CGPADDR >/dev/ttyUSB3; echo -e 'AT+CGPADDR\\r' >/dev/ttyUSB2) 2>/dev/null; wait_for absent; sleep 4; say",
     "absent;no modem on the bus;\n", ""},
    {"the modem restarts by itself", ec25("", "setup=100", {"--fault", "gone-before=2000:AT+CGPADDR"}),
     "start_until online; echo -e 'AT+CGPADDR\\r' >/dev/ttyUSB2; wait_for absent; wait_for recovering; wait_for online; sleep 2; say", "online;the network answers;\n", "suspect -> recovering: reconnect"},
    {"the modem goes in the middle of a stage", ec25("", "setup=never", {"--fault", "gone-before=8000:AT+CFUN=4"}),
     "start_until recovering; wait_for absent; wait_for starting; sleep 1; modemctl AT ATI | grep -c Revision", "1\n", "recovering -> absent: no modem on the bus"},
    {"another program holds the port", ec25("", "setup=100"), "exec 9<>/dev/ttyUSB2; flock 9; start_until online; say", "online;the network answers;\n", ""},
    // The router.
    {"the network daemon is away", ec25("", "setup=100", {"--ubus", "silent=network.interface.modem_1_1_2"}), "modemctl watch & sleep 8; modemctl watch status | grep -c state", "1\n", ""},
    {"a modem's upgrade under way", ec25("", "setup=never"),
     "echo 50 >/tmp/modem_upgrade_status; rests_in off 4; rm /tmp/modem_upgrade_status; wait_for starting; say", "off;;\nstarting;wanted;\n", ""},
    {"an upgrade of a time to come", ec25("", "setup=100"), "touch -d '2037-01-01 00:00' /tmp/modem_upgrade_status; rests_in online 2", "online;the network answers;\n", ""},
    {"/tmp is full", ec25("", "setup=100"),
     "start_until online; dd if=/dev/zero of=/tmp/full bs=1M 2>/dev/null; ubus call network.interface.modem_1_1_2 down; sleep 3;"
     "ubus call network.interface.modem_1_1_2 up; sleep 2; rm /tmp/full; wait_for online; say; kill -0 $watch && echo alive",
     "online;the network answers;\nalive\n", ""},
    {"broken settings of the watch", ec25("", "setup=100,dns=answer"), "echo \"config 'x\" >/etc/config/modemctl; rests_in online 2", "online;the network answers;\n", ""},
    {"broken settings of the network", ec25("", "setup=100"),
     "start_until online; echo \"config 'x\" >/etc/config/network; sleep 3; say", "online;the network answers;\n", ""},
    {"no room in the flash", ec25("", "setup=never", {"--config-size", "65536"}),
     "dd if=/dev/zero of=/etc/config/full 2>/dev/null; start_until recovering; say", "recovering;reconnect, 5 of 6 left this hour;\n", "recovering: reconnect"},
    {"its memory is rubbish", ec25("", "setup=100"), "start_until online; kill $watch; wait $watch; head -c 3000 /dev/urandom >/tmp/modem.1-1.2/watch; rests_in online 1",
     "online;the network answers;\n", ""},
    {"it was asleep for long", ec25("", "setup=100"), "start_until online; kill -STOP $watch; sleep 5; kill -CONT $watch; sleep 2; say", "online;the network answers;\n", ""},
    // Somebody else is at the interface, the port or the files.
    {"the device is switched off", ec25("", "setup=100,dns=answer"),
     "probe_by dns; start_until online; ip link set wwan0 down; wait_for recovering; wait_for online; say", "online;the network answers;\n", "suspect -> recovering: reconnect"},
    {"the session dies again and again", ec25("", "setup=100,dns=1/0"),
     "probe_by dns; start_until slow; say; modemctl watch status | grep -E 'budgets +(reconnect|modem)' | tr -s ' '", "slow;nothing more to try;\nbudgets reconnect 5\nbudgets modem 1\n", "suspect -> recovering: modem, 1 of 2 left this hour"},
    {"a program steals what the modem says", ec25("", "setup=100"), "cat /dev/ttyUSB2 >/dev/null & start_until online; sleep 8; say", "online;the network answers;\n", ""},
    {"a hook that hangs", ec25("", "setup=100,dns=2/0", {"--put", TEST_DATA "/openwrt/hotplug-call:/usr/sbin/hotplug-call"}),
     "mkdir -p /etc/hotplug.d/modem; echo 'sleep 1000' >/etc/hotplug.d/modem/50; probe_by dns; start_until online; wait_for recovering; wait_for online; say", "online;the network answers;\n", "suspect -> recovering: reconnect"},
    {"its state file is a folder", ec25("", "setup=never"), "mkdir -p /tmp/modem.1-1.2/watch; modemctl watch & sleep 12; kill -0 $! && echo alive", "alive\n", "recovering: reconnect"},
    {"its folder is removed", ec25("", "setup=100"), "start_until online; rm -rf /tmp/modem.1-1.2; sleep 2; say; ubus call network.interface.modem_1_1_2 down; wait_for off; say", "online;the network answers;\noff;not wanted;\n", ""},
    {"it is killed in the middle of a stage", ec25("", "setup=never"), // and started again and again, as procd does
     "start_until recovering; until modemctl watch status | grep -q 'last_stage *radio'; do sleep 0.1; done; kill -9 $watch; wait $watch 2>/dev/null;"
     "while :; do modemctl watch 2>/dev/null; sleep 1; done & wait_for slow; say; modemctl AT AT+CFUN? | grep -o 'CFUN: .'", "slow;nothing more to try;\nCFUN: 1\n",
     "suspect -> recovering: modem, 1 of 2 left this hour"},
    {"taken down in the middle of the ladder", ec25("", "setup=never"),
     "start_until recovering; until modemctl watch status | grep -q 'last_stage *radio'; do sleep 0.1; done; sleep 8; ubus call network.interface.modem_1_1_2 down; wait_for off; say", "off;not wanted;\n", "suspect -> recovering: radio"},
    {"switched off in the middle of the ladder", ec25("", "setup=never"),
     "start_until recovering; set_option enabled 0; wait_for off; say", "off;not wanted;\n", "suspect -> recovering: reconnect"},
    {"the network is restarted", ec25("", "setup=100"), "start_until online; ubus call network restart; sleep 4; wait_for online; say", "online;the network answers;\n", ""},
    {"the interface is made anew", ec25("", "setup=100"),
     "start_until online; uci delete network.modem_1_1_2; uci commit network; ubus call network reload; wait_for off; say;"
     "uci set network.modem_1_1_2=interface; uci set network.modem_1_1_2.proto=qmi; uci set network.modem_1_1_2.device=/dev/cdc-wdm0; uci commit network; ubus call network reload; wait_for online; say", "off;not wanted;\nonline;the network answers;\n", ""},
    // What operators meet.
    {"the network wants another APN", ec25("", "setup=100,apn=new"),
     "uci set network.modem_1_1_2.apn=old; uci commit network; ubus call network reload; start_until slow; say;"
     "uci set network.modem_1_1_2.apn=new; uci commit network; ubus call network reload; wait_for online; say", "slow;nothing more to try;\nonline;the network answers;\n", "suspect -> recovering: modem"},
    {"all name servers are silent, but echoes come", ec25("", "setup=100,dns=silent"),
     "uci delete modemctl.watch.probe; set_option idle 2; rests_in online 12; grep -c suspect /tmp/modem.1-1.2/watch.log", "online;the network answers;\n0\n", ""},
    {"the network daemon connects again by itself", ec25("", "setup=6000"),
     "set_option grace 30; start_until online; ubus call network restart; wait_for suspect; wait_for online; say", "online;the network answers;\n", ""},
    {"only IPv6", ec25("", "setup=100,address=fd64::2/64"), "rests_in online 5", "online;the network answers;\n", ""},
    {"a modem in its boot loader", profile("loader.modem", "setup=never"), "rests_in off 8", "off;;\n", ""},
    {"an upgrade begins in the middle of the ladder", ec25("", "setup=never"),
     "start_until recovering; echo 50 >/tmp/modem_upgrade_status; wait_for off; sleep 6; say", "off;a firmware upgrade;\n", "recovering -> off: a firmware upgrade"},
    {"the registration comes back", profile("told.modem,registration=2,ps_registration=2", "setup=never"),
     "start_until no-service; modemctl AT AT+TREG=1 >/dev/null; wait_for starting; say", "starting;registered;\n", "no-service -> starting: registered"},
    {"a SIM card is pushed in", profile("told.modem,pin=NOSIM", "setup=never"),
     "start_until blocked; modemctl AT AT+TPIN=READY >/dev/null; wait_for starting; say", "starting;the cause is gone;\n", "blocked -> starting"},
    {"a SIM card is pulled and pushed in", profile("told.modem", "setup=100,dns=3/0"),
     "probe_by dns; start_until online; modemctl AT AT+TPIN=NOSIM >/dev/null; wait_for blocked; say; modemctl AT AT+TPIN=READY >/dev/null; wait_for online; say",
     "blocked;no SIM card;\nonline;the network answers;\n", "suspect -> blocked: no SIM card"},
    {"a person enters the PIN after a wrong one", ec25(",pin=SIM PIN", "setup=never"),
     "uci set network.modem_1_1_2.pincode=9999; uci commit network; start_until blocked; say; modemctl AT 'AT+CPIN=\"1234\"' >/dev/null; wait_for starting; say",
     "blocked;the PIN was refused;\nstarting;the cause is gone;\n", "the PIN is sent"},
    {"a person writes another PIN after a wrong one", ec25(",pin=SIM PIN", "setup=never"),
     "uci set network.modem_1_1_2.pincode=9999; uci commit network; start_until blocked; uci set network.modem_1_1_2.pincode=1234; uci commit network; sleep 8; say",
     "blocked;the tries for the PIN are too few;\n", "blocked -> starting: something was changed"},
    {"taken down while the radio restarts", ec25("", "setup=never"),
     "start_until recovering; until modemctl watch status | grep -q 'last_stage *radio'; do sleep 0.1; done; sleep 1; ubus call network.interface.modem_1_1_2 down; wait_for off; sleep 6; say;"
     "ifstatus modem_1_1_2 | grep autostart", "off;not wanted;\n\t\"autostart\": false,\n", "suspect -> recovering: radio"},
    {"paused in the middle of the ladder", ec25("", "setup=never"),
     "start_until recovering; modemctl watch pause 1h; wait_for off; sleep 4; say; modemctl watch resume; wait_for starting; say", "off;paused;\nstarting;wanted;\n", "recovering -> off: paused"},
    {"the options change in the middle of the ladder", ec25("", "setup=never"),
     "start_until recovering; set_option last_stage reconnect; wait_for slow; say; modemctl watch status | grep last_stage", "slow;nothing more to try;\nlast_stage reconnect\n", "recovering: reconnect"},
    {"the interface gets another name", ec25("", "setup=100"),
     "start_until online; uci delete network.modem_1_1_2; uci set network.wwan=interface; uci set network.wwan.proto=qmi; uci set network.wwan.device=/dev/cdc-wdm0; uci commit network; ubus call network reload; wait_for off; say;"
     "uci set modemctl.1_1_2=modem; uci set modemctl.1_1_2.interface=wwan; uci commit modemctl; wait_for online; say", "off;not wanted;\nonline;the network answers;\n", ""},
    {"the network daemon is gone, but not the session", ec25("", "setup=100,dns=answer"),
     "probe_by dns; start_until online; mv /var/run/ubus/ubus.sock /tmp/; ip addr del 10.64.1.2/30 dev wwan0; wait_for suspect; ip addr add 10.64.1.2/30 dev wwan0; sleep 15; say", "online;the network answers;\n", ""},
    {"it is killed in the middle of every stage", ec25("", "setup=never"),
     "while :; do modemctl watch 2>/dev/null & echo $! >/tmp/pid; wait $!; sleep 0.5; done & for stage in reconnect radio modem; do until modemctl watch status 2>/dev/null | grep -q \"last_stage *$stage\"; do sleep 0.1; done;"
     "kill -9 $(cat /tmp/pid); done; wait_for slow; say; modemctl AT AT+CFUN? | grep -o 'CFUN: .'", "slow;nothing more to try;\nCFUN: 1\n", "suspect -> recovering: modem, 1 of 2 left this hour"},
    // Nothing is spent on stages that cannot run.
    {"the port is held through an outage", ec25("", "setup=never"),
     "exec 9<>/dev/ttyUSB2; flock 9; start_until slow; say; modemctl watch status | grep -E 'budgets +(reconnect|radio|modem|usb)' | tr -s ' '",
     "slow;nothing more to try;\nbudgets reconnect 5\nbudgets radio 3\nbudgets modem 2\nbudgets usb 2\n", "suspect -> recovering: reconnect, 5 of 6 left this hour"},
    {"the port is held for a while in an outage", ec25("", "setup=never"),
     "start_until recovering; exec 9<>/dev/ttyUSB2; flock 9; set_option grace 60; wait_for suspect; sleep 4; exec 9>&-; set_option grace 3; wait_for slow; say", "slow;nothing more to try;\n", "suspect -> recovering: modem, 1 of 2 left this hour"},
    {"the port is held while a person is needed", ec25(",pin=SIM PUK", "setup=never"),
     "start_until blocked; exec 9<>/dev/ttyUSB2; flock 9; sleep 6; say; grep -c starting: /tmp/modem.1-1.2/watch.log", "blocked;the SIM card wants its PUK;\n1\n", ""},
    // As by mwan3: what has no mark of its own goes by the way that is preferred, and that is not ours.
    {"another way out is preferred", ec25("", "setup=100,dns=silent/answer"),
     "ubus call network.interface.wan down; start_until online; ip route add unreachable default table 77; ip rule add pref 2001 not fwmark 0x3f00/0x3f00 lookup 77; probe_by dns; sleep 5; say; ip neigh show 9.9.9.9 | wc -l",
     "online;the network answers;\n0\n", ""},
    // A modem that is a router answers questions and echoes to its own address whatever its session does.
    {"session dead behind a modem that is a router", ec25("", "setup=100,address=192.168.225.20/24,gateway=192.168.225.1,server=192.168.225.1,dns=answer/2"),
     "probe_by both; start_until online; wait_for recovering; wait_for online; say",
     "online;the network answers;\n", "online -> suspect: no name server answers"},
    {"a private network behind a modem that is a router", ec25("", "setup=100,address=192.168.225.20/24,gateway=192.168.225.1,server=192.168.225.1,dns=answer/0"),
     "set_option grace 20; probe_by both; rests_in online 10; grep -c . /tmp/modem.1-1.2/watch.log",
     "online;the network answers;\n2\n", ""},
    {"one of two modems is dead", ec25("", "setup=100", {"--modem", "EC25@1-1.3", "--fault", "1-1.3/silence", "--link", "modem_1_1_3,setup=never"}),
     "uci set network.modem_1_1_3=interface; uci set network.modem_1_1_3.proto=qmi; uci set network.modem_1_1_3.device=/dev/cdc-wdm1; uci commit network; ubus call network reload;"
     "modemctl watch 1-1.3 & start_until online; until modemctl watch 1-1.3 status | grep -q '^last_stage *usb'; do sleep 0.2; done; say; grep -c . /tmp/modem.1-1.2/watch.log", "online;the network answers;\n2\n", ""},
    {"another modem's interface is named like a companion", ec25("", "setup=100,dns=2/0", {"--modem", "EC25@1-1.3", "--link", "modem_1_1_2_4,setup=100,dns=answer"}),
     "uci set network.modem_1_1_2_4=interface; uci set network.modem_1_1_2_4.proto=qmi; uci set network.modem_1_1_2_4.device=/dev/cdc-wdm1; uci commit network; ubus call network reload;"
     "probe_by dns; start_until online; wait_for recovering; wait_for online; say", "online;the network answers;\n", "suspect -> recovering: reconnect, 5 of 6 left this hour"},
    {"the address goes, comes and goes again", ec25("", "setup=100"),
     "until_times() { until [ $(grep -c -e \"-> $1:\" /tmp/modem.1-1.2/watch.log) = $2 ]; do sleep 0.1; done; }; set_option retry 5; start_until online; for i in 1 2; do ip addr flush dev wwan0; until_times suspect $i; ip addr add 10.64.1.2/30 dev wwan0; until_times online $((i + 1)); done; say; grep -c suspect: /tmp/modem.1-1.2/watch.log",
     "online;the network answers;\n2\n", ""},
    {"abroad and home again while online", profile("told.modem", "setup=100"),
     "set_option roaming deny; start_until online; modemctl AT AT+TREG=5 >/dev/null; while sleep 1; do modemctl info --cached >/dev/null; done & wait_for blocked; say; modemctl AT AT+TREG=1 >/dev/null; wait_for online; say",
     "blocked;roaming is not allowed;\nonline;the network answers;\n", ""},
    {"paused, and started again", ec25("", "setup=100"),
     "start_until online; modemctl watch pause 1h; wait_for off; kill $watch; wait $watch 2>/dev/null; rests_in off 3; modemctl watch pause 1s; wait_for online; say",
     "off;paused;\nonline;the network answers;\n", ""},
    {"a modem that refuses everything", profile("refuses.modem", "setup=100"), "rests_in online 5", "online;the network answers;\n", ""},
    {"a modem that refuses everything, and no session", profile("refuses.modem", "setup=never"), "start_until slow; say", "slow;nothing more to try;\n", "suspect -> recovering: modem, 1 of 2 left this hour"},
    {"the data limit is reached in an outage", ec25("", "setup=never"),
     "echo '89430300001234567890 '$(date +%Y%m)' 999000 2000' >/etc/modemctl.usage; set_option usage_action disconnect; start_until recovering; set_option usage_limit 1; wait_for blocked; sleep 6; say",
     "blocked;the data limit is reached;\n", "recovering -> blocked: the data limit is reached"},
    {"commands get their answers in an outage", ec25("", "setup=never"),
     "set_option last_stage radio; start_until recovering; for i in 1 2 3 4 5 6 7 8 9 10 11 12; do modemctl AT ATI | grep -q Revision || echo none; sleep 0.7; done; wait_for slow; say", "slow;nothing more to try;\n", "suspect -> recovering: radio"},
    {"two modems fail at once", ec25("", "setup=never", {"--modem", "EC25@1-1.3"}),
     "uci set network.modem_1_1_3=interface; uci set network.modem_1_1_3.proto=qmi; uci set network.modem_1_1_3.device=/dev/cdc-wdm1; uci commit network; ubus call network reload;"
     "set_option last_stage reconnect; modemctl watch 1-1.2 & modemctl watch 1-1.3 & sleep 1; wait_for slow; until modemctl watch 1-1.3 status | grep -q '^state *\\(slow\\|online\\)'; do sleep 0.2; done; say; modemctl watch 1-1.3 status | grep -c ^state",
     "slow;nothing more to try;\n1\n", "recovering: reconnect"},
    // A modem that talks nonsense, while its data flows.
    {"every reply comes late", ec25("", "setup=100", {"--fault", "late=2500"}), "start_until online; sleep 15; say", "online;the network answers;\n", ""},
    {"replies never end", ec25("", "setup=100", {"--fault", "endless"}), "start_until online; sleep 15; say", "online;the network answers;\n", ""},
    {"replies without a last line", ec25("", "setup=100", {"--fault", "no-final"}), "start_until online; sleep 10; say", "online;the network answers;\n", ""},
    {"replies full of garbage", ec25("", "setup=100", {"--fault", "garbage-inside=200", "--fault", "eight-bit=30"}), "start_until online; sleep 6; say", "online;the network answers;\n", ""},
    {"replies with zero bytes", ec25("", "setup=100", {"--fault", "zero=20"}), "start_until online; sleep 6; say", "online;the network answers;\n", ""},
    {"nonsense and no session", ec25("", "setup=never", {"--fault", "garbage-inside=200"}), "set_option last_stage reconnect; start_until slow; say", "slow;nothing more to try;\n", "recovering: reconnect"},
    // What a person would mend by hand.
    {"the default route is removed", ec25("", "setup=100,dns=answer"),
     "probe_by dns; start_until online; sleep 2; ip route del default dev wwan0; wait_for recovering; wait_for online; say; ip route | grep -c default", "online;the network answers;\n1\n",
     "online -> suspect: the interface has no address or no route"},
    {"the device is off for a moment", ec25("", "setup=100,dns=answer"),
     "probe_by dns; start_until online; sleep 2; ip link set wwan0 down; ip link set wwan0 up; wait_for recovering; wait_for online; say; ip route | grep -c default", "online;the network answers;\n1\n",
     "suspect -> recovering: reconnect, 5 of 6 left this hour"},
    {"a program removes the default route again and again", ec25("", "setup=100,dns=answer"),
     "probe_by dns; start_until online; sleep 2; while sleep 0.2; do ip route del default dev wwan0; done 2>/dev/null & wait_for recovering; sleep 20; say; grep -c recovering: /tmp/modem.1-1.2/watch.log", "online;the network answers;\n1\n",
     "suspect -> recovering: reconnect, 5 of 6 left this hour"},
    {"another way out takes the default route", ec25("", "setup=100,dns=answer"),
     "probe_by dns; start_until online; sleep 2; ip route add default via 192.168.1.9 metric 5; ip route del default dev wwan0; sleep 6; say; grep -c . /tmp/modem.1-1.2/watch.log", "online;the network answers;\n2\n", ""},
    {"the radio is refused at first", profile("unready.modem,registration=2,ps_registration=2", "setup=never"),
     "set_option no_service_wait 6; start_until no-service; until grep -q 'radio:' /tmp/modem.1-1.2/watch.log; do sleep 0.1; done; sleep 12; modemctl AT AT+CFUN? | grep -o 'CFUN: .'; grep -c radio: /tmp/modem.1-1.2/watch.log", "CFUN: 1\n1\n",
     "no-service -> no-service: radio"},
    {"the modem is away for long", ec25("", "setup=100", {"--fault", "gone-before=12000:AT+CGPADDR"}),
     "start_until online; echo -e 'AT+CGPADDR\\r' >/dev/ttyUSB2; wait_for absent; wait_for recovering; wait_for online; say", "online;the network answers;\n", "suspect -> recovering: reconnect, 5 of 6 left this hour"},
    {"the protocol has no handler", ec25("", "setup=100,dns=answer"),
     "uci set network.modem_1_1_2.proto=none; uci delete network.modem_1_1_2.device; uci commit network; ubus call network reload; rests_in blocked 5", "blocked;the settings are refused;\n", ""},
    {"a person corrects the usage after the limit", ec25("", "setup=100"),
     "echo '89430300001234567890 '$(date +%Y%m)' 999000 2000' >/etc/modemctl.usage; set_option usage_action disconnect; set_option usage_limit 1; start_until blocked; say; rm /etc/modemctl.usage; wait_for online; say",
     "blocked;the data limit is reached;\nonline;the network answers;\n", ""},
    {"replies come late, and each command has its own", ec25("", "setup=100", {"--fault", "late=2500"}),
     "start_until online; while sleep 1; do modemctl info --cached >/dev/null; done & for i in 1 2 3 4 5 6; do modemctl AT AT+CIMI | tr -d '\\r' | grep -c -x -e 232031234567890; done", "1\n1\n1\n1\n1\n1\n", ""},
    {"the radio is left off", ec25("", "setup=never"), "modemctl AT AT+CFUN=4 >/dev/null; start_until recovering; say; modemctl AT AT+CFUN? | grep -o 'CFUN: .'", "recovering;reconnect, 5 of 6 left this hour;\nCFUN: 1\n",
     "no-service -> no-service: radio"},
};
// clang-format on

class WatchedFaults : public testing::TestWithParam<Fault> {};

TEST_P(WatchedFaults, AreMendedWhereAPersonCouldAndElseLeftAlone)
{
    const Fault &fault = GetParam();
    const RouterRun run = watch(fault.options, fault.script);
    const std::string logged = fault.logged;
    EXPECT_EQ(run.out, fault.out) << all(run);
    EXPECT_TRUE(logged.empty() ? !has_line(run, "-> recovering") : has_line(run, logged)) << all(run);
}

INSTANTIATE_TEST_SUITE_P(Slow, WatchedFaults, testing::ValuesIn(faults),
                         [](const auto &row) { return test_name_of(row.param.what); });

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
              "start_until online; modemctl info --cached --json | grep -c '\"iccid\"';"
              "start=$(date +%s%N); kill $watch; wait $watch; echo $?; echo $((($(date +%s%N) - start) / 1000000000))");
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

// A router without a clock of its own starts with the time of its newest file, or another one; then NTP sets it.
TEST(Watch, CountsForTheRightMonthAndStaysOnlineHoweverTheClockLeaps)
{
    const RouterRun run =
        watch({"--modem", "EC25", "--link", "modem_1_1_2,setup=100,traffic=3000/500"},
              "cp " + built_word("set_clock.so") +
                  " /tmp; ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0; export ASAN_OPTIONS "
                  "LD_PRELOAD=/tmp/set_clock.so; is_counted() { n=0; until grep -q \" $1 3000 500\" "
                  "/tmp/modem.1-1.2/usage || [ $((n += 1)) -gt 300 ]; do sleep 0.1; done; "
                  "grep -c . /tmp/modem.1-1.2/usage; }; month=$(date +%Y%m); "
                  // a year ago, and fifty years ahead
                  "echo -31536000 >/tmp/clock; start_until online; is_counted $((month - 100)); "
                  "echo 1577836800 >/tmp/clock; is_counted $((month + 5000)); rm /tmp/clock; is_counted $month; "
                  "set -- $(modemctl history --json | grep -o '\"time\":[0-9]*' | cut -d : -f 2); now=$(date +%s); "
                  "echo $((now - $1 < 300 && now >= $1)); say; grep -c . /tmp/modem.1-1.2/watch.log; "
                  "grep -c \" $month 3000 500\" /tmp/modem.1-1.2/usage");
    EXPECT_EQ(run.out, "1\n1\n1\n1\nonline;the network answers;\n2\n1\n") << all(run);
}

TEST(Watch, KeepsTheBytesInTheFlashWhenItEnds)
{
    EXPECT_EQ(watch({"--modem", "EC25", "--link", "modem_1_1_2,setup=100,traffic=1500000/0"},
                    "start_until online; sleep 2; kill $watch; wait $watch; sed 's/ 20.... / /' /etc/modemctl.usage;"
                    "modemctl usage --json | grep -o 'rx_bytes.*'")
                  .out,
              "89430300001234567890 1500000 0\nrx_bytes\":1500000,\"tx_bytes\":0}]\n");
}

TEST(Watch, RemembersRestartsOfTheRouter)
{
    EXPECT_EQ(watch({"--modem", "EC25"}, "printf 'reboots 1\\npin 0\\npower 4\\n' >/etc/modemctl.1-1.2;"
                                         "modemctl watch --once; modemctl watch status | grep -E ' (power|router) '")
                  .out,
              "budgets    power      0\nbudgets    router     0\n");
}

TEST(Watch, LeavesAModemAloneWhileAnotherProcessConnectsIt)
{
    const RouterRun run = watch({"--modem", "EC25", "--link", "modem_1_1_2,setup=never"},
                                "exec 9>/var/run/modemctl-reconnect.1-1.2.lock; flock 9; set_option grace 1;"
                                "modemctl watch 9>&- & sleep 6; say; exec 9>&-; wait_for recovering; say");
    EXPECT_EQ(run.out, "starting;wanted;\nrecovering;reconnect, 5 of 6 left this hour;\n") << all(run);
}

TEST(SlowWatch, WaitsNotForEverForAProcessThatConnects)
{
    const RouterRun run = watch({"--modem", "EC25", "--link", "modem_1_1_2,setup=never"},
                                "exec 9>/var/run/modemctl-reconnect.1-1.2.lock; flock 9; set_option grace 1;"
                                "modemctl watch 9>&- & wait_for recovering; say");
    EXPECT_EQ(run.out, "recovering;reconnect, 5 of 6 left this hour;\n") << all(run);
}

TEST(SlowWatch, SwitchesTheRadioOnAgainWhoeverHasThePortMeanwhile)
{
    const RouterRun run =
        watch({"--modem", "EC25", "--link", "modem_1_1_2,setup=never"},
              "start_until recovering; until modemctl watch status | grep -q 'last_stage *radio'; do "
              "sleep 0.1; done; exec 9<>/dev/ttyUSB2; flock 9; sleep 12; exec 9>&-; wait_for slow; say");
    EXPECT_EQ(run.out, "slow;nothing more to try;\n") << all(run);
    EXPECT_NE(run.sent_to("ttyUSB2").find("AT+CFUN=1\r"), std::string::npos) << all(run);
}

// Where the stack begins depends on the environment. Memory that is given back asleep must be nobody's at any place.
TEST(SlowWatch, LivesOnAfterItsSleepWhereverItsStackIs)
{
    EXPECT_EQ(
        watch({"--modem", "EC25"},
              "for size in 1 600 1200 1800 2400 3000 3600; do export X=$(printf \"%0${size}d\" 0); start_until online;"
              "rm -f /tmp/modem.1-1.2/watch; until [ -e /tmp/modem.1-1.2/watch ] || ! kill -0 $watch; do sleep 0.1; "
              "done; sleep 1.2; kill $watch && echo -n 'lives '; wait $watch; done 2>/dev/null")
            .out,
        "lives lives lives lives lives lives lives ");
}

// Processes have numbers in their order, so what the watch starts shows as a gap.
TEST(SlowWatch, StartsNothingAndWakesUpOncePerStepInHealth)
{
    const RouterRun run =
        watch({"--modem", "EC25"},
              "start_until online; sleep 1; read() { grep -h ^voluntary /proc/$watch/status | tr -dc 0-9; };"
              "before=$(read); sleep 0 & first=$!; sleep 10; sleep 0 & last=$!; after=$(read);"
              "echo $((last - first)) $((after - before <= 16))");
    EXPECT_EQ(run.out, "2 1\n") << all(run);
}

// The step goes on with a question that the modem does not answer, for seconds.
TEST(Watch, HasItsNewStateThereForItsHooks)
{
    EXPECT_EQ(watch({"--modem", "EC25", "--link", "modem_1_1_2,setup=never", "--fault", "silence", "--put",
                     TEST_DATA "/openwrt/hotplug-call:/usr/sbin/hotplug-call"},
                    "mkdir -p /etc/hotplug.d/modem; echo 'modemctl watch status | grep ^state >/tmp/seen.$STATE' "
                    ">/etc/hotplug.d/modem/50; start_until starting; sleep 1; cat /tmp/seen.starting")
                  .out,
              "state      starting\n");
}

TEST(Watch, TakesTheInterfaceDownAtTheDataLimit)
{
    const RouterRun run =
        watch({"--modem", "EC25", "--link", "modem_1_1_2,setup=100"},
              "echo '89430300001234567890 '$(date +%Y%m)' 999000 2000' >/etc/modemctl.usage; set_option usage_limit 1;"
              "set_option usage_warn '80'; set_option usage_action disconnect; modemctl watch & wait_for blocked; say;"
              "n=0; until ifstatus modem_1_1_2 | grep '\"up\": false' || [ $((n += 1)) -gt 100 ]; do sleep 0.1; done;"
              "set_option usage_limit 5; wait_for online; say");
    EXPECT_EQ(run.out, "blocked;the data limit is reached;\n\t\"up\": false,\nonline;the network answers;\n")
        << all(run);
    EXPECT_TRUE(has_line(run, "100 per cent of the data limit")) << all(run);
}

TEST(Watch, SaysThatAPauseCannotBeNoted)
{
    EXPECT_EQ(watch({"--modem", "EC25"}, "modemctl watch --once; dd if=/dev/zero of=/tmp/full bs=1M 2>/dev/null;"
                                         "for t in 1 2; do modemctl watch pause 1h; echo $?; rm -f /tmp/full; done;"
                                         "modemctl watch pause 30m; modemctl watch status | grep -c '^paused_s *1[78]'")
                  .out,
              "1\n0\n1\n");
}

TEST(Watch, RefusesWhatItDoesNotUnderstand)
{
    for (const char *words : {"--twice", "pause 30x", "pause -5", "pause 99999999999999999999", "status --yaml",
                              "1-1.2/.. --once", "status --json more"})
        EXPECT_EQ(run_shell({"--modem", "EC25"}, std::string("modemctl watch ") + words + "; echo $?").out, "64\n")
            << words;
    EXPECT_EQ(run_shell({"--modem", "EC25"}, "modemctl watch status; echo $?").out, "1\n");
}

} // namespace watch_test
