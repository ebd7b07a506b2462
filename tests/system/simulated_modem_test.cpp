#include <algorithm>
#include <gtest/gtest.h>

#include "tests/system/harness.h"

namespace simulated_modem_test {

using Lines = std::vector<std::string>;

const Lines ec25{"--modem", "EC25"};

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

// 06275: 9600 baud, eight bits, a reader, HUPCL and CLOCAL, as a port of the kernel's drivers (tests/kernel/).
TEST(SimulatedModem, HasPortsThatStartAsADriversDo)
{
    const RouterRun run = run_shell(ec25, "stty -g </dev/ttyUSB2 | cut -d: -f3");
    EXPECT_EQ(run.out, "cbd\n");
}

/// Waits for the hang-up on the port.
const std::string until_hung_up = "exec 3<>/dev/ttyUSB2; stty raw -echo <&3; printf 'ATI\\r' >&3; "
                                  "cat <&3 >/dev/null 2>&1; exec 3>&-;";

TEST(SimulatedModem, HangsUpWhenItGoes)
{
    const RouterRun run =
        run_shell({"--modem", "EC25", "--fault", "gone-after:ATI"},
                  until_hung_up + "ls -d /dev/tty?* /dev/cdc* /sys/bus/usb/devices/* /sys/class/tty/*");
    EXPECT_EQ(run.out, "/sys/bus/usb/devices/1-1\n/sys/bus/usb/devices/usb1\n/sys/bus/usb/devices/usb2\n");
    EXPECT_EQ(run.journal_of("device"), (Lines{"gone"}));
}

TEST(SimulatedModem, ComesBackUnderItsNumbers)
{
    const RouterRun run =
        run_shell({"--modem", "EC25", "--fault", "gone-after=50:ATI"},
                  until_hung_up + "until [ -e /sys/class/tty/ttyUSB3 ]; do :; done;" + ask("/dev/ttyUSB2", "AT\\r"));
    // On a busy machine it has said that it starts before it is asked.
    EXPECT_TRUE(run.out == "AT\r\r\nOK\r\n" ||
                (run.out.starts_with("\r\nRDY\r\n") && run.out.ends_with("\r\nAT\r\r\nOK\r\n")))
        << run.out;
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
                  "awk '$1 == \"wwan0\" && $2 == \"00000000\" {print $1, $3, $7}' /proc/net/route; cat "
                  "/sys/class/net/wwan0/uevent; "
                  "ifdown modem; grep -c wwan0 /proc/net/route");
    EXPECT_EQ(run.out, "wwan0 0108090A 40\nINTERFACE=wwan0\n0\n");
}

} // namespace simulated_modem_test
