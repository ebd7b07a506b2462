#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

// Another user of the router, or a service that was taken over, can write where everybody can: into /tmp and /var/lock.
// What it leaves there for us to find must not make root read or write files for it.

namespace local_user_test {

// Runs a script after what the other user has done. Where only one user can be had (simrouter in a user namespace)
// there is no other one.
RouterRun run_after(const std::string &planted, const std::string &script,
                    const std::vector<std::string> &modems = {"--modem", "EC25,rat=NOSERVICE"})
{
    return run_shell(modems,
                     "cp -r /etc/config /tmp/before; touch /tmp/x; chown 65534 /tmp/x 2>/dev/null || { echo alone; "
                     "exit; }\n" +
                         planted + "\n" + script + "\ndiff -r /etc/config /tmp/before && echo unchanged");
}

TEST(LocalUser, CannotMakeUsReadOrWriteThroughAStateFolder)
{
    const RouterRun run =
        run_after("cd /tmp; mkdir modem.1-1.2; for f in cimi modem-name modem-imei; do ln -s "
                  "/etc/config/network modem.1-1.2/$f; done; chown -h 65534 modem.1-1.2",
                  "modemctl carrier; modemapi get /modem/info | grep -o '\"name\":.*'; ls modem.1-1.2");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "\"name\":\"EC25\",\ncimi\nmodem-imei\nmodem-name\nunchanged\n") << run.err;
}

TEST(LocalUser, CannotLeadUsElsewhereByALinkInPlaceOfTheFolder)
{
    const RouterRun run =
        run_after("mkdir /tmp/theirs; ln -s /etc/config /tmp/modem.1-1.2; chown -h 65534 /tmp/modem.1-1.2",
                  "modemctl carrier; modemapi get /modem/info >/dev/null");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "unchanged\n") << run.err;
}

TEST(LocalUser, CannotGiveUsASignalOrTakeAFailCountAway)
{
    const RouterRun run = run_after(
        "cd /tmp; mkdir modem.1-1.2; echo '{\"type\":\"lte\"}' >modem.1-1.2/signal; echo 3 "
        ">modem.1-1.2/fail_count; chown -R 65534 modem.1-1.2",
        "cp -r /tmp/modem.1-1.2 /tmp/modem.2-1.2; modemctl 2-1.2 signal | grep mode; modemctl signal; "
        "modemapi post /modem/enable '{}' >/dev/null; modemapi post /modem/enable '{\"bus\":\"2-1.2\"}' >/dev/null; "
        "ls modem.1-1.2 modem.2-1.2; cp /tmp/before/* /etc/config",
        {"--modem", "SIMCOM7600@1-1.2", "--modem", "ME3630@2-1.2"});
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "  \"mode\":\"4G\"\nNot support\nmodem.1-1.2:\nfail_count\nsignal\n\nmodem.2-1.2:\n"
                       "signal\nunchanged\n")
        << run.err;
}

TEST(LocalUser, CannotHaveAFileOpenedAsTheWritersLock)
{
    const RouterRun run =
        run_after("mkdir -p /var/lock; ln -s /tmp/made /var/lock/modemctl.network.lock; chown -h 65534 "
                  "/var/lock/modemctl.network.lock",
                  "modemctl connect serial /dev/ttyUSB3 '*99#' internet >/dev/null 2>&1; uci get "
                  "network.modem_1_1_2.apn; ls /tmp/made 2>/dev/null; cp /tmp/before/* /etc/config");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "internet\nunchanged\n") << run.err;
}

TEST(LocalUser, CannotMakeTheHotplugScriptEmptyOrMakeAFile)
{
    const RouterRun run =
        run_shell({"--modem", "EC25", "--put", SOURCE_ROOT "/packaging/openwrt/files/usr:/usr"},
                  "touch /tmp/x; chown 65534 /tmp/x 2>/dev/null || { echo alone; exit; }; echo kept >/etc/kept; "
                  "for file in lock again; do ln -s /etc/kept /tmp/modemctl-reconnect.1-1.2.$file; done; "
                  "ln -s /etc/made /tmp/sim_status; chown -h 65534 /tmp/modemctl-reconnect.* /tmp/sim_status; "
                  "/usr/libexec/modemctl-reconnect 1-1.2 >/dev/null 2>&1; "
                  "cat /etc/kept; ls /etc/made 2>/dev/null; ls /var/run | grep modemctl");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "kept\nmodemctl-reconnect.1-1.2.lock\nmodemctl-section.lock\n") << run.err;
    EXPECT_NE(run.sent_to("ttyUSB2").find("AT+CPIN?"), std::string::npos) << "it went as far as to ask the SIM";
}

TEST(LocalUser, CannotLeadTheMetricsIntoAnotherFile)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25", "--put", SOURCE_ROOT "/packaging/openwrt/files/usr:/usr", "--put",
         SOURCE_ROOT "/packaging/openwrt/files/etc:/etc", "--put",
         SOURCE_ROOT "/tests/data/openwrt/rc.common:/etc/rc.common"},
        "touch /tmp/x; chown 65534 /tmp/x 2>/dev/null || { echo alone; exit; }; echo kept >/etc/kept; "
        "mkdir -p /var/prometheus; ln -s /etc/kept /var/prometheus/.modemctl.new; "
        "ln -s /etc/kept /var/prometheus/modemctl.prom; chown -hR 65534 /var/prometheus; "
        "/etc/init.d/modemctl-metrics start & "
        "until [ -e /var/prometheus/modemctl.prom ] && [ ! -L /var/prometheus/modemctl.prom ]; do sleep 0.1; done; "
        "cat /etc/kept; stat -c '%u %a' /var/prometheus; grep -c '^modem_up' /var/prometheus/modemctl.prom");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "kept\n0 755\n1\n") << run.err;
}

TEST(LocalUser, CannotHoldAConnectUpByAPipe)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25", "--link", "setup=100"},
        "mkfifo /tmp/sim_type /tmp/sim_status /tmp/modem_upgrade_status; modemctl connect serial /dev/ttyUSB3 '*99#' "
        "internet; uci get network.modem_1_1_2.apn; uci -q get network.modem_1_1_2.mtu; "
        "modemapi post /modem/upgrade_status '{}' | grep -c status");
    EXPECT_EQ(run.out, "\nconnect success\ninternet\n0\n") << run.err;
    const RouterRun upgrade = run_shell({"--modem", "EP06"}, "mkfifo /tmp/modem_upgrade_status; modemapi post "
                                                             "/modem/upgrade_status '{}' | grep -o '\"status\".*'");
    EXPECT_EQ(upgrade.out, "\"status\":0\n");
}

TEST(SignalCache, ThatIsAPipeHoldsNobody)
{
    for (const char *model : {"SIMCOM7600", "ME3630", "MC7430", "unlisted"}) {
        const RouterRun run =
            run_shell({"--modem", model}, "mkdir /tmp/modem.1-1.2; mkfifo /tmp/modem.1-1.2/signal; "
                                          "modemctl signal; modemapi get /modem/info | grep -c '\"modem_id\"'");
        EXPECT_EQ(run.out, "Not support\n1\n") << model << run.err;
    }
}

TEST(LocalUser, CannotHaveItsOwnChangesCommitted)
{
    const char *const folders[] = {
        "mkdir /tmp/.uci; echo \"network.lan.ipaddr='6.6.6.6'\" >/tmp/.uci/network; chown -R 65534 /tmp/.uci",
        "mkdir /tmp/theirs; echo \"network.lan.ipaddr='6.6.6.6'\" >/tmp/theirs/network; chown -R 65534 /tmp/theirs; "
        "ln -s theirs /tmp/.uci; chown -h 65534 /tmp/.uci",
        "ln -s /etc/config /tmp/.uci; chown -h 65534 /tmp/.uci",
        "mkfifo /tmp/.uci; chown 65534 /tmp/.uci",
    };
    for (const char *planted : folders) {
        const RouterRun run = run_after(
            planted, "modemctl connect serial /dev/ttyUSB3 '*99#' internet >/dev/null; stat -c '%u %a %F' /tmp/.uci; "
                     "uci get network.modem_1_1_2.apn; uci get network.lan.ipaddr | grep -c '6[.]6[.]6'; "
                     "for name in $(ls /tmp/before); do uci -q export $name >/dev/null || echo \"$name is broken\"; "
                     "done; cp /tmp/before/* /etc/config");
        if (run.out == "alone\n")
            GTEST_SKIP() << "There is one user only.";
        EXPECT_EQ(run.out, "0 700 directory\ninternet\n0\nunchanged\n") << planted << run.err;
    }
}

TEST(LocalUser, CannotReadAPinInTheWordsOfARunningCommand)
{
    const RouterRun run =
        run_shell({"--modem", "EC25", "--fault", "silence"},
                  "printf 'modemctl AT %s%s & echo $! >/tmp/one\nmodemctl AT /dev/ttyUSB2 %s%s & echo $! >/tmp/two\n"
                  "modemctl AT %s%s three words & echo $! >/tmp/three\nsleep 0.7\n' "
                  "AT+CPIN=73 91 AT+CPIN=73 91 AT+CPIN=73 91 >/tmp/ask; . /tmp/ask; "
                  "for name in one two; do tr -s '\\0' ' ' <\"/proc/$(cat /tmp/$name)/cmdline\"; echo; done; "
                  "kill $(cat /tmp/one /tmp/two)");
    EXPECT_EQ(run.out, "modemctl AT \nmodemctl AT \n") << run.err;
    EXPECT_NE(run.sent_to("ttyUSB2").find("AT+CPIN=7391\r\n"), std::string::npos);
}

// Between a look at a file of root's and "cat", root itself may remove it, and another user be quicker with a pipe. A
// "cat" that does not end stands for that here.
TEST(SlowLocalUser, HoldsNobodyUpByAPipeThatComesBetweenALookAndCat)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25", "--modem", "ME3630@2-1.2", "--link", "setup=100", "--put-text", "/tmp/sim_type=verizon",
         "--put-text", "/tmp/sim_status=ready", "--put-text", "/tmp/modem_upgrade_status=50", "--put-text",
         "/tmp/modem.2-1.2/signal={}"},
        "mkdir /run/slow; printf '#!/bin/sh\nsleep 300 & exec sleep 300\n' >/run/slow/cat; chmod +x /run/slow/cat; "
        "PATH=/run/slow:$PATH; modemctl connect serial /dev/ttyUSB3 '*99#' internet; uci get network.modem_1_1_2.apn; "
        "modemctl 2-1.2 signal; tries=0; "
        // What was killed is seen until it has ended.
        "while pidof sleep >/dev/null && [ $tries -lt 1000 ]; do tries=$((tries + 1)); done; pidof sleep");
    EXPECT_EQ(run.out, "\nconnect success\ninternet\nNot support\n") << run.err;
    EXPECT_GE(run.duration.count(), 15'000) << "three files, 5 s each: was the slow cat used?";
    EXPECT_LE(run.duration.count(), 60'000);
}

// A removal of the state folder and the line that keeps the IMSI in it wait for each other.
TEST(SlowLocalUser, FindsNoMomentBetweenARemovalAndTheKeepingOfAnImsi)
{
    const std::string files = SOURCE_ROOT "/packaging/openwrt/files";
    const RouterRun run = run_shell(
        {"--modem", "EC25,rat=NOSERVICE,imsi=260021234567890", "--put", files + "/etc/hotplug.d:/etc/hotplug.d",
         "--put", SOURCE_ROOT "/tests/data/openwrt/hotplug-call:/usr/sbin/hotplug-call"},
        "umask 077; exec 9>/var/run/modem_state.lock; flock 9; modemctl carrier >/dev/null 9>&- & keeper=$!; sleep 1; "
        "ls /tmp/modem.1-1.2/cimi 2>/dev/null; flock -u 9; wait $keeper; cat /tmp/modem.1-1.2/cimi; "
        "flock 9; hotplug-call usb remove usb_device 1-1.2 9>&- & sleep 1; ls /tmp/modem.1-1.2; "
        "flock -u 9; wait $!; ls -d /tmp/modem.* 2>/dev/null; "
        "flock 9; modemctl carrier >/dev/null 9>&-; ls /tmp/modem.1-1.2/cimi 2>/dev/null");
    EXPECT_EQ(run.out, "260021234567890\ncimi\n") << run.err;
    EXPECT_GE(run.duration.count(), 7000) << "the last one waits for 5 s";
}

TEST(LocalUser, CannotNameTheBoard)
{
    // On that board the list of modems is not supported.
    const RouterRun run =
        run_after("rm -r /tmp/sysinfo; mkdir /tmp/sysinfo; echo norvane,vole >/tmp/sysinfo/board_name; "
                  "chown -R 65534 /tmp/sysinfo",
                  "modemapi get /modem/info | head -n 1; chown -R 0 /tmp/sysinfo; "
                  "modemapi get /modem/info | head -n 1");
    if (run.out == "alone\n")
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(run.out, "0\n-17\nunchanged\n") << run.err;
}

// hostile_user.cpp does what a user can do, while every command, endpoint and script of the package runs.
// HOSTILE_SECONDS=600 LONGEST_RUN=900 makes it ten minutes, with the endpoints that take half a minute each.
const char everything_beside_a_hostile_user[] = R"sh(
seconds=$1
touch /tmp/x
chown 65534 /tmp/x 2>/dev/null || exit 77
chmod 700 /run/own
mkdir -p /etc/victim /var/lock
chmod 1777 /var/lock
echo kept >/etc/victim/file
sh /etc/uci-defaults/30-modemctl # /etc/config/network becomes 0600
cat >/run/own/requests <<'END'
get /modem/info
get /modem/brief_info
get /modem/app/brief_info
get /modem/get
post /modem/set {"modem_id":1,"bus":"1-1.2","device":"/dev/cdc-wdm0","apn":"a","password":"geheim77","pincode":"73914862"}
post /modem/enable {"bus":"1-1.2"}
post /modem/at {"at-command":"AT+CPIN=73914862","at-port":"/dev/ttyUSB2"}
get /modem/sms/list {"modem_id":1}
post /modem/sms/status {"modem_id":1,"msg_id":"GSM1.x"}
post /modem/sms/delete {"modem_id":1,"msg_id":"GSM1.x"}
post /modem/sms/delete_all {"modem_id":1}
post /modem/sms/send {"modem_id":1,"number":"1","message":"m"}
post /modem/sms/code {}
post /modem/cells/get {"modem_id":1,"bus":"1-1.2"}
post /modem/modem_info/get {"modem_id":1,"bus":"1-1.2"}
post /modem/sms/forward {"action":"set","tel":"123","email":"a@b"}
get /modem/sms/flist
post /modem/sms/account {"account":"a@b","password":"geheim77","smtp":"mail.b"}
post /modem/upgrade_status {}
post /modem/auto {"modem_id":1,"bus":"1-1.2"}
END
[ "$seconds" -lt 60 ] || cat >>/run/own/requests <<'END'
post /modem/reset {"modem_id":1,"bus":"1-1.2"}
post /modem/sim/switch {"modem_id":1,"bus":"2-1.2","sim_num":"2"}
END
state() {
    find /etc -path /etc/config -prune -o -print | sort | xargs ls -ldn
    cat /etc/victim/*
    uci get network.lan.ipaddr
    ls /etc/config
}
: >/etc/ssmtp/ssmtp.conf # written anew by each request
: >/etc/ssmtp/revaliases
chmod 600 /etc/ssmtp/*
modemapi <<END >/dev/null
post /modem/sms/account {"account":"a@b","password":"geheim77","smtp":"mail.b"}
END
modemctl AT AT+COPY >/dev/null
modemctl connect qmi /dev/cdc-wdm0 fdd_lte internet >/dev/null
state | grep -v ssmtp >/run/own/before
cp /etc/config/network /run/own/network
$2 "$seconds" geheim77 73914862 >/run/own/found &
attacker=$!
runs_on() { kill -0 "$attacker" 2>/dev/null; }
# The state folders come and go, and pages ask at the same time.
while runs_on; do
    hotplug-call usb remove usb_device 1-1.2
    hotplug-call usb remove usb_device 2-1.2
done >/dev/null 2>&1 &
while runs_on; do
    modemctl carrier
    modemctl 2-1.2 signal
    modemctl 2-1.2 carrier
done >/dev/null 2>&1 &
timed() {
    limit=$1
    shift
    runs_on || return
    start=$(date +%s)
    "$@" >/dev/null 2>&1
    took=$(($(date +%s) - start))
    [ "$took" -le "$limit" ] || echo "$took s: $*"
}
served() { sed -n "$1p" /run/own/requests | modemapi; }
while runs_on; do
    while read -r command; do
        set -f
        timed 40 modemctl $command </dev/null
        set +f
    done <<'END'
sim-status
signal
cells
check_register
get_mode
iccid
thermal
test
disconnect
info
info --all --json
record /run/own/record
modems
2-1.2 test
connect serial /dev/ttyUSB3 *99# internet
connect qmi /dev/cdc-wdm0 fdd_lte internet
connect-auto
new-connect-auto
wifi_lte_interference
apn --json
bands
mode
watch status
watch pause 1m
watch resume
END
    for line in $(seq "$(wc -l </run/own/requests)"); do
        timed 60 served "$line"
    done
    timed 120 /usr/libexec/modemctl-reconnect 1-1.2
    cp /run/own/network /etc/config/network
done
wait "$attacker"
state | grep -v ssmtp | diff /run/own/before - && echo unchanged
grep -rlE 'evil|6\.6\.6\.6|666666' /etc/config
for name in $(ls /etc/config); do uci -q export "$name" >/dev/null || echo "$name is broken"; done
cat /run/own/found
)sh";

TEST(SlowHostileUser, ChangesNothingOfRootsHoldsNothingAndLearnsNoSecret)
{
    const char *wanted = getenv("HOSTILE_SECONDS");
    const std::string seconds = wanted == nullptr ? "10" : wanted;
    const std::string files = SOURCE_ROOT "/packaging/openwrt/files";
    const std::string stand_ins = SOURCE_ROOT "/tests/data/openwrt";
    const RouterRun run =
        run_in_router({"--modem",    "EC25,imsi=232031234567890",
                       "--modem",    "ME3630@2-1.2",
                       "--link",     "setup=100",
                       "--put",      stand_ins + "/ping:/usr/bin/ping",
                       "--put",      files + "/etc:/etc",
                       "--put",      files + "/usr:/usr",
                       "--put",      stand_ins + "/rc.common:/etc/rc.common",
                       "--put",      stand_ins + "/hotplug-call:/usr/sbin/hotplug-call",
                       "--put",      stand_ins + "/logger:/usr/sbin/logger",
                       "--put",      BUILD_ROOT "/packaging/apn-config.js:/www/src/lib/apn-config.js",
                       "--put-text", "/run/own/script=" + std::string{everything_beside_a_hostile_user}},
                      {"sh", "/run/own/script", seconds, built("hostile_user")});
    unsigned put = 0;
    std::string out;
    for (const std::string &line : lines_of(run.out)) {
        if (line.starts_with("put "))
            put += static_cast<unsigned>(atoi(line.c_str() + strlen("put ")));
        else
            out += line + "\n";
    }
    if (run.status == 77)
        GTEST_SKIP() << "There is one user only.";
    EXPECT_EQ(out, "unchanged\n") << run.err;
    EXPECT_GT(put, 100u);
    for (const std::string &line : run.journal_of("syslog"))
        EXPECT_EQ(line.find("geheim77"), std::string::npos) << line;
}

} // namespace local_user_test
