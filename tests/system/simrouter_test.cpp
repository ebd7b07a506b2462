#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/system/harness.h"

namespace {

using Lines = std::vector<std::string>;

const Lines ec25{"--modem", "EC25"};

/// Sends text to a port and prints what comes back, up to and with the line "OK" or "ERROR".
std::string ask(const std::string &port, const std::string &text)
{
    return "exec 3<>" + port + " && stty raw -echo <&3 && printf '" + text +
           "' >&3 && sed -E '/^(OK|ERROR)/q' <&3; exec 3>&-\n";
}

RouterRun simrouter(const Lines &arguments)
{
    Lines command{built("simrouter")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run_program(command);
}

/// The same as an ordinary user, when the tests run as root.
Lines as_ordinary_user(const Lines &arguments)
{
    Lines command{"setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups", built("simrouter")};
    if (geteuid() != 0)
        command.erase(command.begin(), command.end() - 1);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

bool ordinary_users_may()
{
    return run_program(as_ordinary_user({"--", "true"})).status == 0;
}

// The command and its end

TEST(SimulatedRouter, EndsWithTheStatusOfTheCommand)
{
    EXPECT_EQ(run_shell({}, "exit 0").status, 0);
    EXPECT_EQ(run_shell({}, "exit 37").status, 37);
    EXPECT_EQ(run_shell({}, "exit 255").status, 255);
}

TEST(SimulatedRouter, EndsWith128AndTheSignalThatEndedTheCommand)
{
    EXPECT_EQ(run_shell({}, "kill -TERM $$").status, 128 + SIGTERM);
    EXPECT_EQ(run_shell({}, "kill -KILL $$").status, 128 + SIGKILL);
}

TEST(SimulatedRouter, EndsLikeAShellWhenTheCommandCannotBeStarted)
{
    const RouterRun missing = run_in_router({}, {"no-such-command"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_EQ(missing.err, "simrouter: no-such-command: No such file or directory\n");
    EXPECT_EQ(run_in_router({}, {"/etc/config/network"}).status, 126);
}

TEST(SimulatedRouter, PassesStandardStreamsThrough)
{
    const RouterRun run =
        run_in_router({.options = {}, .input = "in\n"}, {"sh", "-c", "read x; echo out $x; echo err >&2"});
    EXPECT_EQ(run.out, "out in\n");
    EXPECT_EQ(run.err, "err\n");
}

TEST(SimulatedRouter, StartsAShellWithoutACommand)
{
    const RouterRun run =
        run_program({built("simrouter"), "--board", "condor"}, "cat /tmp/sysinfo/board_name\nexit 3\n");
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "maker,condor\n");
}

TEST(SimulatedRouter, EndsWhatTheCommandLeavesBehind)
{
    // The run is over only when nobody has its standard output open any more.
    const RouterRun run = run_shell({}, "sleep 1000 & setsid sleep 1000 & echo started");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "started\n");
}

TEST(SimulatedRouter, WaitsForBackgroundProcessesWhenAsked)
{
    const RouterRun run = run_shell({"--wait"}, "(sleep 0.2; echo later) & echo now; exit 5");
    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(run.out, "now\nlater\n");
}

TEST(SimulatedRouter, DiesWithTheProcessThatWasStarted)
{
    const TemporaryFolder folder;
    const std::string fifo = folder.path() + "/fifo";
    const RouterRun run =
        run_program({"sh", "-c",
                     "mkfifo " + fifo + "; " + built("simrouter") + " -- sh -c 'echo ready; exec sleep 1000' >" + fifo +
                         " & exec 3<" + fifo + "; read line <&3; kill -9 $!; cat <&3; echo $line gone"});
    EXPECT_EQ(run.out, "ready gone\n");
}

TEST(SimulatedRouter, HandsTheTerminalToTheCommand)
{
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        const std::string program = built("simrouter");
        execl(program.c_str(), "simrouter", "--", "sh", "-c", "echo ready; exec sleep 1000", nullptr);
        _exit(125);
    }
    std::string seen;
    while (seen.find("ready") == std::string::npos) {
        std::array<char, 256> buffer;
        const ssize_t count = read(terminal, buffer.data(), buffer.size());
        ASSERT_GT(count, 0) << seen;
        seen.append(buffer.data(), static_cast<size_t>(count));
    }
    ASSERT_EQ(write(terminal, "\x1a\x03", 2), 2); // Ctrl-Z leaves it running, Ctrl-C ends it
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    close(terminal);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGINT);
}

// Harm stays inside

TEST(SimulatedRouter, KeepsDeletedAndWrittenFilesOfTheMachineWhole)
{
    const TemporaryFolder unseen;
    std::ofstream(unseen.path() + "/file") << "unseen";
    const std::string canary = built("simrouter-test-canary-" + std::to_string(getpid()));
    std::filesystem::create_directories(canary);
    std::ofstream(canary + "/file") << "whole";
    const RouterRun run = run_shell({}, "cat " + canary + "/file; echo broken >" + canary + "/file; rm -rf " + canary +
                                            " /tmp/* /etc/config/*; ls " + canary + " 2>/dev/null; echo; cat " +
                                            unseen.path() + "/file 2>/dev/null || echo not there");
    EXPECT_EQ(run.out, "whole\nnot there\n");
    EXPECT_EQ(read_text(canary + "/file"), "whole");
    EXPECT_EQ(read_text(unseen.path() + "/file"), "unseen");
    std::filesystem::remove_all(canary);
}

TEST(SimulatedRouter, KeepsProcessesOfTheMachineAlive)
{
    const pid_t outside = fork();
    if (outside == 0) {
        execlp("sleep", "sleep", "1000", nullptr);
        _exit(125);
    }
    EXPECT_EQ(run_shell({}, "killall -9 sleep 2>/dev/null; kill -9 " + std::to_string(outside) + " 2>/dev/null; exit 4")
                  .status,
              4);
    EXPECT_EQ(run_shell({}, "kill -TERM 0").status, 128 + SIGTERM);
    EXPECT_EQ(run_shell({}, "kill -KILL -1; exit 6").status, 6);
    EXPECT_EQ(waitpid(outside, nullptr, WNOHANG), 0) << "the process outside has ended";
    kill(outside, SIGKILL);
    waitpid(outside, nullptr, 0);
}

TEST(SimulatedRouter, HasNetworkDevicesAndHostNameOfItsOwn)
{
    const RouterRun run =
        run_in_router({}, {"sh", "-c", "hostname; hostname changed; cut -d: -f1 -s /proc/net/dev | tr -d ' ' | sort"});
    EXPECT_EQ(run.out, "OpenWrt\nbr-lan\neth0\neth1\nlo\n");
    std::array<char, 64> name{};
    gethostname(name.data(), name.size() - 1);
    EXPECT_STRNE(name.data(), "changed");
}

TEST(SimulatedRouter, CannotChangeTheKernelsSettings)
{
    const std::string before = read_text("/proc/sys/kernel/printk_ratelimit");
    const RouterRun run = run_shell({}, "echo 77 2>/dev/null >/proc/sys/kernel/printk_ratelimit || echo refused");
    EXPECT_EQ(run.out, "refused\n");
    EXPECT_EQ(read_text("/proc/sys/kernel/printk_ratelimit"), before);
}

TEST(SimulatedRouter, RunsForOrdinaryUsers)
{
    if (!ordinary_users_may())
        GTEST_SKIP() << "user namespaces are not allowed here, or the build folder is not readable";
    const Lines answer{
        "--modem",
        "EC25",
        "--",
        "sh",
        "-c",
        ask("/dev/ttyUSB2", "ATE0\\r") + ask("/dev/ttyUSB2", "AT\\r") + "id -u; echo x >/etc/config/y; echo $?"};
    const RouterRun run = run_program(as_ordinary_user(answer));
    EXPECT_EQ(run.out, "ATE0\r\r\nOK\r\n\r\nOK\r\n0\n0\n") << run.err;
}

TEST(SimulatedRouter, DoesNotKeepOrdinaryUsersOutOfAnExclusiveTerminal)
{
    if (!ordinary_users_may())
        GTEST_SKIP() << "user namespaces are not allowed here, or the build folder is not readable";
    const RouterRun run = run_program(as_ordinary_user(
        {"--modem", "EC25", "--", "sh", "-c", "modemctl AT ATI >/dev/null; modemctl AT ATI | grep -c OK"}));
    EXPECT_EQ(run.out, "1\n") << run.err;
}

TEST(SimulatedRouter, SaysSoWhereNamespacesAreNotAllowed)
{
    if (run_program({"unshare", "-Ur", "true"}).status != 0)
        GTEST_SKIP() << "user namespaces are not allowed here";
    const RouterRun run =
        run_program({"unshare", "-Ur", "sh", "-c",
                     "echo 0 >/proc/sys/user/max_mnt_namespaces && exec " + built("simrouter") + " -- echo never"});
    EXPECT_EQ(run.status, 77);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "simrouter: namespaces are not allowed here (unshare: No space left on device)\n");
}

// Files

TEST(SimulatedRouter, HasTheConfigurationOfAnOpenWrtRouter)
{
    const RouterRun run =
        run_shell({}, "ls /etc/config; uci get firewall.@zone[1].name; uci get firewall.@zone[1].network");
    EXPECT_EQ(run.out, "cellconf\ndevconf\nfirewall\nmwan3\nnetwork\nsmsrelay\nsystem\nwireless\nwan\nwan wan6\n");
}

TEST(SimulatedRouter, TakesFilesAndFoldersFromOutside)
{
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder.path() + "/tree/deep");
    std::ofstream(folder.path() + "/tree/deep/file") << "from the tree";
    std::ofstream(folder.path() + "/program") << "#!/bin/sh\necho ran\n";
    std::filesystem::permissions(folder.path() + "/program", std::filesystem::perms::owner_all);
    const RouterRun run = run_shell(
        {"--put", folder.path() + "/tree:/etc/spool/sms/incoming", "--put", folder.path() + "/program:/usr/bin/program",
         "--put-text", "/tmp/sim_type=verizon", "--put-text", "/www/src/lib/apn-config.js=[]"},
        "cat /etc/spool/sms/incoming/deep/file; echo; program; cat /tmp/sim_type /www/src/lib/apn-config.js");
    EXPECT_EQ(run.out, "from the tree\nran\nverizon\n[]\n");
}

TEST(SimulatedRouter, CanHaveASmallFileSystemForTheConfiguration)
{
    const RouterRun run =
        run_shell({"--config-size", "65536"}, "head -c 100000 /dev/zero >/etc/config/big 2>/dev/null || "
                                              "echo full; head -c 100000 /dev/zero >/tmp/big && echo room");
    EXPECT_EQ(run.out, "full\nroom\n");
}

TEST(SimulatedRouter, StartsInTheFolderWhereItWasCalled)
{
    const TemporaryFolder folder;
    std::ofstream(folder.path() + "/file") << "here";
    const RouterRun run = run_program(
        {"sh", "-c", "cd " + folder.path() + " && " + built("simrouter") + " -- sh -c 'pwd; cat file; rm file'"});
    EXPECT_EQ(run.out, folder.path() + "\nhere");
    EXPECT_EQ(read_text(folder.path() + "/file"), "here");
}

// Modems

TEST(SimulatedModem, AnswersOnItsTerminal)
{
    const RouterRun run = run_shell(ec25, ask("/dev/ttyUSB2", "ATE0\\r") + ask("/dev/ttyUSB2", "AT+CPIN?\\r\\n"));
    EXPECT_EQ(run.out, "ATE0\r\r\nOK\r\n\r\n+CPIN: READY\r\n\r\nOK\r\n");
}

TEST(SimulatedModem, IsWrittenToByAPlainRedirection)
{
    const RouterRun run = run_shell({"--modem", "EC25", "--fault", "silence"}, "printf 'ATI\\r' >/dev/ttyUSB2");
    EXPECT_EQ(run.sent_to("ttyUSB2"), "ATI\r");
}

TEST(SimulatedModem, LosesWhatItSendsWhileNobodyHasThePortOpen)
{
    // The second answer comes later than the first, so that the first is over when the command ends.
    const RouterRun run = run_shell({"--modem", "EC25", "--fault", "late=20:ATE0", "--fault", "late=100:AT+CFUN?"},
                                    "printf 'ATE0\\r' >/dev/ttyUSB2;" + ask("/dev/ttyUSB3", "AT+CFUN?\\r") +
                                        ask("/dev/ttyUSB2", "AT+CFUN?\\r"));
    EXPECT_NE(run.log.find(" ttyUSB2 lost "), std::string::npos) << run.log;
    EXPECT_EQ(run.out.find("ATE0"), std::string::npos) << run.out;
}

TEST(SimulatedModem, ForgetsWhatNobodyReadBeforeTheLastClose)
{
    // The other port's answer shows that the modem has seen the close.
    const RouterRun run =
        run_shell(ec25, "exec 3<>/dev/ttyUSB2; stty raw -echo <&3; printf 'ATE0\\r' >&3; head -c 1 <&3; exec 3>&-;" +
                            ask("/dev/ttyUSB3", "AT\\r") + ask("/dev/ttyUSB2", "AT+CFUN?\\r"));
    EXPECT_EQ(run.out, "A\r\nOK\r\n\r\n+CFUN: 1\r\n\r\nOK\r\n");
}

TEST(SimulatedModem, IsNotHeldUpByAReaderThatDoesNotRead)
{
    const RouterRun run =
        run_shell({"--modem", "EC25", "--fault", "extra=400000:ATI"},
                  "exec 3<>/dev/ttyUSB2; stty raw -echo <&3; printf 'ATI\\r' >&3;" + ask("/dev/ttyUSB3", "AT\\r"));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "AT\r\r\nOK\r\n");
}

TEST(SimulatedModem, SendsInPiecesWhenAsked)
{
    const RouterRun run = run_shell({"--modem", "EC25", "--deliver", "2:1"}, ask("/dev/ttyUSB2", "AT\\r"));
    EXPECT_EQ(run.out, "AT\r\r\nOK\r\n");
    Lines pieces;
    for (const std::string &line : lines_of(run.log))
        if (const size_t at = line.find(" ttyUSB2 < "); at != std::string::npos)
            pieces.push_back(line.substr(at + 11));
    EXPECT_EQ(pieces, (Lines{"AT", "\\r\\r", "\\nO", "K\\r", "\\n"}));
}

TEST(SimulatedModem, StandsInSysfsAsTheKernelLaysItOut)
{
    const RouterRun run =
        run_shell(ec25, "cd /sys/bus/usb/devices/1-1.2 && pwd -P && cat idVendor idProduct && ls -d 1-1.2:* && "
                        "ls -d 1-1.2:1.2/ttyUSB2/tty/ttyUSB2 1-1.2:1.4/usbmisc/cdc-wdm0 1-1.2:1.4/net/wwan0 && "
                        "readlink -f /sys/class/tty/ttyUSB2");
    const std::string folder = "/sys/devices/platform/soc/8af8800.usb3/8a00000.dwc3/xhci-hcd.0.auto/usb1/1-1/1-1.2";
    EXPECT_EQ(run.out, folder +
                           "\n2c7c\n0125\n1-1.2:1.0\n1-1.2:1.1\n1-1.2:1.2\n1-1.2:1.3\n1-1.2:1.4\n"
                           "1-1.2:1.2/ttyUSB2/tty/ttyUSB2\n1-1.2:1.4/net/wwan0\n1-1.2:1.4/usbmisc/cdc-wdm0\n" +
                           folder + "/1-1.2:1.2/ttyUSB2/tty/ttyUSB2\n");
}

TEST(SimulatedModem, HasANeighbourOnAnotherBus)
{
    const RouterRun run =
        run_shell({"--modem", "EC25", "--modem", "EP06@2-1.2"},
                  "ls /dev | grep -c ttyUSB; cat /sys/bus/usb/devices/2-1.2/idProduct; ls -d /sys/class/net/wwan*;" +
                      ask("/dev/ttyUSB2", "AT+CGMM\\r") + ask("/dev/ttyUSB6", "AT+CGMM\\r"));
    EXPECT_EQ(run.out, "8\n0306\n/sys/class/net/wwan0\n/sys/class/net/wwan1\n"
                       "AT+CGMM\r\r\nEC25\r\n\r\nOK\r\nAT+CGMM\r\r\nEP06\r\n\r\nOK\r\n");
}

TEST(SimulatedModem, HangsUpWhenItGoesAndComesBack)
{
    const RouterRun run =
        run_shell({"--modem", "EC25", "--fault", "gone-after=50:ATI"},
                  "exec 3<>/dev/ttyUSB2; stty raw -echo <&3; printf 'ATI\\r' >&3; cat <&3 >/dev/null 2>&1; "
                  "ls /dev/ttyUSB2 /sys/bus/usb/devices/1-1.2 2>/dev/null; echo gone; "
                  "until [ -e /sys/bus/usb/devices/1-1.2/idVendor ]; do :; done;" +
                      ask("/dev/ttyUSB2", "AT\\r"));
    EXPECT_EQ(run.out, "gone\nAT\r\r\nOK\r\n");
    EXPECT_EQ(run.journal_of("device"), (Lines{"gone", "back"}));
}

TEST(SimulatedModem, ComesBackUnderOtherNumbersWhenAsked)
{
    const RouterRun run = run_shell(
        {"--modem", "EC25", "--renumber", "--fault", "gone-after=1:ATI"},
        "printf 'ATI\\r' >/dev/ttyUSB2; until [ -e /sys/class/tty/ttyUSB6 ]; do :; done; ls /dev | grep ttyUSB");
    EXPECT_EQ(run.out, "ttyUSB4\nttyUSB5\nttyUSB6\nttyUSB7\n");
}

TEST(SimulatedModem, MissesWhatItsProfileLacks)
{
    const std::string script = ask("/dev/ttyUSB2", "AT+NOSUCH=1\\r") + "exit 3";
    const RouterRun run = run_shell(ec25, script);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "AT+NOSUCH=1\r\r\nERROR\r\n");
    EXPECT_EQ(run.journal_of("unknown"), (Lines{"AT+NOSUCH=1"}));
}

TEST(SimulatedModem, FailsAStrictRunByWhatItsProfileLacks)
{
    const Lines strict{"--modem", "EC25", "--strict"};
    const RouterRun run = run_shell(strict, ask("/dev/ttyUSB2", "AT+NOSUCH=1\\r") + "exit 3");
    EXPECT_EQ(run.status, 79);
    EXPECT_EQ(run.err, "simrouter: EC25 lacks AT+NOSUCH=1\n");
    EXPECT_EQ(run_shell(strict, ask("/dev/ttyUSB2", "AT\\r") + "exit 3").status, 3);
}

TEST(SimulatedModem, TellsWhatARunUsedOfItsProfile)
{
    const TemporaryFolder folder;
    const std::string coverage = folder.path() + "/coverage";
    run_shell({"--modem", "EC25", "--coverage", coverage},
              ask("/dev/ttyUSB2", "ATI\\r") + ask("/dev/ttyUSB2", "AT+NOSUCH\\r"));
    const auto has_line = [lines = lines_of(read_text(coverage))](const std::string &front, const std::string &back) {
        return std::ranges::any_of(
            lines, [&](const std::string &line) { return line.starts_with(front) && line.ends_with(back); });
    };
    EXPECT_TRUE(has_line("used EC25 ", " ATI"));
    EXPECT_TRUE(has_line("unused EC25 ", " AT+CSQ"));
    EXPECT_FALSE(has_line("used EC25 ", " AT+CSQ"));
    EXPECT_TRUE(has_line("missing EC25 - ", "AT+NOSUCH"));
}

// Commands

TEST(Journal, HoldsShellTextsAndCommandsInTheirOrder)
{
    const RouterRun run = run_in_router({}, {"bash", "-c",
                                             "uqmi -d /dev/cdc-wdm0 --stop-network 4294967295\n"
                                             "sh -c 'mwan3 ifup \"a b\" >/dev/null; ssmtp \"\"; true'\n"
                                             "zonewall 'it'\\''s'; true"});
    const Lines expected{"run\tbash\tuqmi -d /dev/cdc-wdm0 --stop-network 4294967295",
                         "shell\tbash\tmwan3 ifup \"a b\" >/dev/null; ssmtp \"\"; true", "run\tsh\tmwan3 ifup 'a b'",
                         "run\tsh\tssmtp ''", "run\tbash\tzonewall 'it'\\\\''s'"};
    EXPECT_EQ(run.journal, expected);
    EXPECT_EQ(run.journal_of("run", "sh"), (Lines{"mwan3 ifup 'a b'", "ssmtp ''"}));
    EXPECT_EQ(run.journal_of("run", "bash").back(), "zonewall 'it'\\''s'");
}

TEST(Journal, KeepsATextWithLineBreaksOnOneLine)
{
    const std::string text = "echo 'a\nb'\n: \\\t;";
    const RouterRun run = run_shell({}, text);
    EXPECT_EQ(run.journal.size(), 1U);
    EXPECT_EQ(run.journal_of("shell"), (Lines{text}));
}

TEST(Journal, HoldsInitScriptsByTheirPath)
{
    const RouterRun run = run_shell({}, "/etc/init.d/firewall reload; /etc/init.d/led restart");
    EXPECT_EQ(run.journal_of("run"), (Lines{"/etc/init.d/firewall reload", "/etc/init.d/led restart"}));
}

TEST(RecordedCommand, AnswersAsTheRunWasTold)
{
    const RouterRun run =
        run_shell({"--answer", "uqmi:1:plain", "--answer", "uqmi -d x:0:longer: wins", "--answer", "wifi:9"},
                  "uqmi -s; echo $?; uqmi -d x --get-signal-info; echo $?; uqmi -d xy; wifi; echo $?; iwinfo; echo $?");
    EXPECT_EQ(run.out, "plain\n1\nlonger: wins\n0\nplain\n9\n0\n");
}

TEST(RecordedCommand, TimeoutKnowsTheOldFormAndTheNew)
{
    const RouterRun run =
        run_shell({}, "timeout -t 9 echo old; timeout 9 echo new; timeout -t 9 sh -c 'exit 6'; echo $?");
    EXPECT_EQ(run.out, "old\nnew\n6\n");
}

TEST(RecordedCommand, IfupAndIfdownReachTheNetworkDaemon)
{
    const RouterRun run =
        run_shell({}, "ifstatus lan | grep '\"up\"'; ifdown lan; ifstatus lan | grep '\"up\"'; ifup lan; "
                      "ifstatus lan | grep '\"up\"'; ifup nope; echo $?");
    EXPECT_EQ(run.out, "\t\"up\": true,\n\t\"up\": false,\n\t\"up\": true,\nInterface nope not found\n1\n");
    EXPECT_EQ(run.journal_of("run"), (Lines{"ifdown lan", "ifup lan", "ifup nope"}));
}

TEST(RouterNetwork, PutsAddressesOnRealDevices)
{
    const RouterRun run =
        run_shell({"--modem", "EC25", "--link", "modem,setup=0,address=10.9.8.2/29,gateway=10.9.8.1"},
                  "uci set network.modem=interface; uci set network.modem.proto=qmi; uci set network.modem.metric=40; "
                  "ubus call network reload; until ifstatus modem | grep -q '\"up\": true'; do :; done; "
                  "awk '$2 == \"00000000\" {print $1, $3, $7}' /proc/net/route; cat /sys/class/net/wwan0/uevent; "
                  "ifdown modem; grep -c wwan0 /proc/net/route");
    EXPECT_EQ(run.out, "wwan0 0108090A 40\nINTERFACE=wwan0\n0\n");
}

// The command line

TEST(SimrouterOptions, ListsTheProfiles)
{
    const RouterRun run = simrouter({"--list"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("EC25         EC25         2c7c:0125  "), std::string::npos) << run.out;
}

TEST(SimrouterOptions, RefusesWhatItDoesNotKnowInOneLine)
{
    const struct {
        Lines arguments;
        const char *message;
    } rows[] = {
        {{"--nope"}, "simrouter: unknown option --nope (--help lists them)\n"},
        {{"true"}, "simrouter: \"true\" is no option; the command stands behind --\n"},
        {{"--modem", "EC25@one", "--", "true"}, "simrouter: --modem: \"one\" is no USB bus like 1-1.2\n"},
        {{"--profiles", "/nowhere", "--modem", "../x"}, nullptr},
        {{"--modem", "no-such-modem", "--", "true"}, nullptr},
        {{"--modem", "EC25,no_such_variable=1", "--", "true"}, nullptr},
        {{"--put", "/no/such/file:/tmp/x", "--", "true"}, nullptr},
    };
    for (const auto &row : rows) {
        const RouterRun run = simrouter(row.arguments);
        EXPECT_EQ(run.status, 64) << row.arguments.front();
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(lines_of(run.err).size(), 1U) << run.err;
        EXPECT_EQ(run.err.substr(0, 11), "simrouter: ");
        EXPECT_TRUE(row.message == nullptr || run.err == row.message) << run.err;
    }
}

TEST(SimrouterOptions, CannotWriteAJournalIntoAMissingFolder)
{
    const RouterRun run = simrouter({"--journal", "/no/such/folder/journal", "--", "true"});
    EXPECT_EQ(run.status, 70);
    EXPECT_EQ(run.err, "simrouter: /no/such/folder/journal: No such file or directory\n");
}

} // namespace
