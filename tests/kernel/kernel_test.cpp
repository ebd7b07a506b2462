#include <filesystem>
#include <gtest/gtest.h>

#include "tests/paths.h"
#include "walk.h"

// The product on Debian's kernel, whose drivers make the modems' devices.

namespace kernel_test {

/// To CTest a suite is one test, which a failure beside a skipped test must not hide from.
class SkipsTeller : public testing::EmptyTestEventListener {
    void OnTestProgramEnd(const testing::UnitTest &tests) override
    {
        if (tests.Passed() && tests.skipped_test_count() > 0)
            printf("%d tests were skipped and none failed\n", tests.skipped_test_count());
    }
};

[[maybe_unused]] const bool tells_skips = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new SkipsTeller);
    return true;
}();

std::string probe(const std::string &words)
{
    return "'" + built("port_probe") + "' " + words;
}

// One modem behind a hub, as on a router, and a second one whose firmware takes no bytes.

struct TwoModems {
    static Lines options()
    {
        return {"--modem",
                "EC25",
                "--modem",
                "EP06@1-3",
                "--fault",
                "1-3/stuck",
                "--fault",
                "1-1.2/gone-during=3000:AT+CSQ",
                "--fault",
                "1-1.2/gone-before=3000:AT+CGMM",
                "--put",
                std::string(SOURCE_ROOT) +
                    "/packaging/openwrt/files/etc/hotplug.d/usb/30-modemctl:/etc/hotplug.d/usb/30-modemctl",
                "--put-text",
                "/etc/init.d/modemctl=#!/bin/sh",
                "--put-text",
                "/usr/libexec/modemctl-reconnect=#!/bin/sh\necho \"$1\" >>/tmp/reconnects",
                "--put-text",
                "/tmp/events=echo \"$ACTION $SUBSYSTEM $DEVTYPE ${DEVPATH##*/}\" >>/tmp/seen\n"
                "[ \"$SUBSYSTEM\" != usb ] || sh /etc/hotplug.d/usb/30-modemctl"};
    }
    static std::vector<Script> scripts()
    {
        return {
            {"place", "readlink /sys/class/net/wwan0/device; ls /dev | grep -e ttyUSB -e cdc-wdm"},
            {"facts", probe("facts /dev/ttyUSB3")},
            {"line mode", "stty -F /dev/ttyUSB3 -a | grep -o -e '-*icanon' -e '-*echo\\>'"},
            {"exclusive", probe("exclusive /dev/ttyUSB3")},
            {"output that is not taken", probe("output /dev/ttyUSB6")},
            {"stuck",
             "cd /; start=$(cut -d. -f1 /proc/uptime); modemctl AT /dev/ttyUSB6 ATI; echo status $?\n"
             "end=$(cut -d. -f1 /proc/uptime); [ $((end - start)) -lt 45 ] && echo 'before the driver gives up' || "
             "echo $((end - start)) s"},
            {"the other one", "modemctl AT ATI"},
            {"unplugged in a reply", "note_number 1-1.2; modemctl AT AT+CSQ; echo; echo status $?\n"
                                     "until_back 1-1.2; modemctl AT ATI | grep -o ^EC25"},
            {"unplugged while read", "note_number 1-1.2; " + probe("gone /dev/ttyUSB2 AT+CGMM") + "; until_back 1-1.2"},
            {"held", "note_number 1-1.2; exec 9<>/dev/ttyUSB1; modemctl AT AT+CSQ >/dev/null; until_back 1-1.2\n"
                     "ls /dev | grep ttyUSB; exec 9<&-; modemctl AT ATI | grep -o ^EC25"},
            {"events",
             "chmod +x /etc/init.d/modemctl /usr/libexec/modemctl-reconnect\n" +
                 probe("events /tmp/events 600 >/tmp/listening &") +
                 "\nlistener=$!; wait_until 'grep -q listening /tmp/listening'\n"
                 "note_number 1-1.2; modemctl signal >/dev/null; mkdir -p /tmp/modem.1-1.2; ls -d /tmp/modem.1-1.2\n"
                 "modemctl AT AT+CSQ >/dev/null; wait_until '[ ! -e /tmp/modem.1-1.2 ]'; [ -e /tmp/modem.1-1.2 ] || "
                 "echo forgotten\n"
                 "until_back 1-1.2; wait_until '[ -s /tmp/reconnects ]'; sort -u /tmp/reconnects\n"
                 "wait_until 'grep -q \"^bind usb usb_device\" /tmp/seen'\n"
                 "kill $listener; grep -e ' usb usb_device' -e ':1.[24]$' -e 'ttyUSB2$' /tmp/seen | grep -v change"},
        };
    }
};
using KernelTwoModems = OnKernel<TwoModems>;

TEST_F(KernelTwoModems, AreWhereARouterHasThem)
{
    EXPECT_EQ(walk().of("place"),
              "../../../1-1.2:1.4\ncdc-wdm0\ncdc-wdm1\nttyUSB0\nttyUSB1\nttyUSB2\nttyUSB3\nttyUSB4\n"
              "ttyUSB5\nttyUSB6\nttyUSB7\n");
    EXPECT_EQ(walk().of("the other one"), "\nATI\r\r\nQuectel\r\nEC25\r\nRevision: EC25EFAR06A03M4G\r\n\r\nOK\r\n");
}

TEST_F(KernelTwoModems, HaveADriversPorts)
{
    EXPECT_EQ(walk().of("facts"), "major 188, mode 600\nc_cflag 06275\nspeed after 115200: 9600\nTIOCMGET ok\n"
                                  "TIOCGSERIAL ok, closing_wait 3000\ntcsendbreak ENOTTY\n");
    EXPECT_EQ(walk().of("line mode"), "icanon\necho\n");
    EXPECT_EQ(walk().of("exclusive"), "TIOCEXCL ok\nuser 0: ok\nuser 65534: EBUSY\n");
}

// A silent modem costs 16 s. The driver would wait for this one 31 s longer, and once more for each read.
TEST_F(KernelTwoModems, AreGivenUpInTimeWhenTheyTakeNoBytes)
{
    EXPECT_EQ(walk().of("output that is not taken"),
              "write takes a part\nqueued some; after tcflush the same\nnext write EAGAIN\n");
    EXPECT_EQ(walk().of("stuck"), "status 0\nbefore the driver gives up\n");
}

// What a modem prints at its start may come back to it as an echo, in front of the first command.
TEST_F(KernelTwoModems, AreFoundAgainAfterAnUnplugging)
{
    EXPECT_EQ(walk().of("unplugged in a reply"), "\nAT+CSQ\r\r\n+CSQ: 31\nstatus 0\n"
                                                 "EC25\n");
    EXPECT_EQ(walk().of("unplugged while read"), "write ok\nfirst read without bytes: 0\npoll in err hup\nnext read 0\n"
                                                 "write EIO\ntcgetattr EIO\n");
}

// Only the number that is held is skipped.
TEST_F(KernelTwoModems, ComeBackUnderTheNumbersThatAreFree)
{
    EXPECT_EQ(walk().of("held"), "ttyUSB0\nttyUSB2\nttyUSB3\nttyUSB4\nttyUSB5\nttyUSB6\nttyUSB7\nttyUSB8\n"
                                 "EC25\n");
}

// At the first event of an interface not one port is there, and the modem is forgotten when it goes.
TEST_F(KernelTwoModems, WakeTheHotplugScripts)
{
    EXPECT_EQ(walk().of("events"),
              "/tmp/modem.1-1.2\nforgotten\n1-1.2\n"
              "remove tty  ttyUSB2\nunbind usb-serial  ttyUSB2\nremove usb-serial  ttyUSB2\n"
              "unbind usb usb_interface 1-1.2:1.2\nremove usb usb_interface 1-1.2:1.2\n"
              "unbind usb usb_interface 1-1.2:1.4\nremove usb usb_interface 1-1.2:1.4\n"
              "unbind usb usb_device 1-1.2\nremove usb usb_device 1-1.2\n"
              "add usb usb_device 1-1.2\nadd usb usb_interface 1-1.2:1.2\nadd usb-serial  ttyUSB2\nadd tty  ttyUSB2\n"
              "bind usb-serial  ttyUSB2\nbind usb usb_interface 1-1.2:1.2\n"
              "add usb usb_interface 1-1.2:1.4\nbind usb usb_interface 1-1.2:1.4\nbind usb usb_device 1-1.2\n");
}

// A person's terminal stays open, too.
TEST(KernelMachine, EndsWithItsCommandWhateverIsInItsInput)
{
    const RouterRun run = run_program({"sh", "-c",
                                       "yes | timeout 400 " + built_word("simrouter") +
                                           " --kernel --modem EC25 -- sh -c 'read line; echo $line; exit 3'; echo $?"});
    if (run.out == "77\n")
        GTEST_SKIP() << run.err;
    EXPECT_EQ(run.out, "y\n3\n") << run.err;
}

} // namespace kernel_test
