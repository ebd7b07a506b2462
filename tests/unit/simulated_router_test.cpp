#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <unistd.h>

#include "simulator/router/command_server.h"
#include "simulator/router/event_loop.h"
#include "simulator/router/journal.h"
#include "simulator/router/mounts.h"
#include "simulator/router/router_files.h"
#include "simulator/router/sysfs_tree.h"
#include "simulator/router/terminal_plug.h"
#include "tests/unit/temporary_directory.h"

namespace simulated_router_test {

using namespace simulator;
using Texts = std::vector<std::string>;

// Event loop

TEST(EventLoop, CallsTimersInTheOrderOfTimeAndOfSetting)
{
    EventLoop loop;
    std::string order;
    const int64_t now = EventLoop::now_ms();
    loop.at(now + 2, [&] {
        order += 'c';
        loop.stop();
    });
    loop.at(now + 1, [&] { order += 'a'; });
    loop.at(now + 1, [&] { order += 'b'; });
    loop.run();
    EXPECT_EQ(order, "abc");
}

TEST(EventLoop, DoesNotCallACancelledTimer)
{
    EventLoop loop;
    std::string order;
    const int64_t now = EventLoop::now_ms();
    const EventLoop::Timer second = loop.at(now + 1, [&] { order += 'b'; });
    loop.at(now, [&] {
        order += 'a';
        loop.cancel(second);
    });
    loop.at(now + 2, [&] {
        order += 'c';
        loop.stop();
    });
    loop.run();
    loop.cancel(second);
    loop.cancel(12345);
    EXPECT_EQ(order, "ac");
}

TEST(EventLoop, CallsForWhatCanBeReadUntilItIsUnwatched)
{
    EventLoop loop;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const Fd reader(ends[0]);
    const Fd writer(ends[1]);
    int calls = 0;
    loop.watch(reader.get(), EPOLLIN, [&](uint32_t) {
        if (++calls == 2)
            loop.unwatch(reader.get());
    });
    EXPECT_FALSE(loop.run_once(0));
    ASSERT_EQ(write(writer.get(), "x", 1), 1);
    for (int i = 0; i < 5; i++)
        loop.run_once(0);
    EXPECT_EQ(calls, 2);
}

// Journal and log

TEST(OneLine, EscapesWhatWouldBreakALine)
{
    const struct {
        std::string bytes;
        const char *line;
    } rows[] = {
        {"", ""},
        {"uci commit network", "uci commit network"},
        {"AT\r\n", "AT\\r\\n"},
        {"a\tb\\n", "a\\tb\\\\n"},
        {std::string("\0\x1b\x7f", 3), "\\x00\\x1b\\x7f"},
        {"\xc3\xa9\xff\"'", "\xc3\xa9\xff\"'"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(one_line(row.bytes), row.line);
}

TEST(Journal, WritesEachEntryAtOnce)
{
    const TemporaryDirectory directory;
    Journal journal(LineFile(directory.entry("journal"), false));
    journal.add("shell", "modemctl", "uci set a.b='c\nd'");
    EXPECT_EQ(content_of(directory.entry("journal")), "shell\tmodemctl\tuci set a.b='c\\nd'\n");
    journal.add("run", "a\tb", "");
    EXPECT_EQ(content_of(directory.entry("journal")), "shell\tmodemctl\tuci set a.b='c\\nd'\nrun\ta\\tb\t\n");
    Journal().add("run", "nobody", "keeps this");
}

TEST(LineFile, StartsAnewOrGoesOn)
{
    const TemporaryDirectory directory;
    const std::string path = directory.file("lines", "before\n");
    LineFile(path, true).write("appended");
    EXPECT_EQ(content_of(path), "before\nappended\n");
    LineFile(path, false).write("new");
    EXPECT_EQ(content_of(path), "new\n");
    EXPECT_THROW(LineFile(directory.entry("no/such/folder"), false), std::system_error);
}

TEST(TrafficLog, TellsTimePortAndDirection)
{
    const TemporaryDirectory directory;
    TrafficLog log(LineFile(directory.entry("log"), false), EventLoop::now_ms() - 1234000);
    log.add("ttyUSB2", ">", "ATI\r");
    const std::string text = content_of(directory.entry("log"));
    EXPECT_EQ(text.substr(0, 6), "  1234");
    EXPECT_EQ(text.substr(10), " ttyUSB2 > ATI\\r\n");
}

// Recorded commands

TEST(CommandText, QuotesWhatAShellWouldTakeApart)
{
    EXPECT_EQ(command_text({"uqmi", "-d", "/dev/cdc-wdm0", "--x=a,b:%+@_."}), "uqmi -d /dev/cdc-wdm0 --x=a,b:%+@_.");
    EXPECT_EQ(command_text({"a b", "", "it's", "$x", "*"}), "'a b' '' 'it'\\''s' '$x' '*'");
    EXPECT_EQ(command_text({}), "");
}

TEST(CommandReport, IsMadeOfPartsThatEndWithAZero)
{
    const CommandReport report = parse_report(std::string_view("sh\0uqmi\0\0-s\0", 12));
    EXPECT_EQ(report.caller, "sh");
    EXPECT_EQ(report.arguments, (Texts{"uqmi", "", "-s"}));
    EXPECT_TRUE(parse_report(std::string_view("sh\0uqmi", 7)).arguments.empty());
    EXPECT_TRUE(parse_report(std::string_view("sh\0", 3)).arguments.empty());
    EXPECT_TRUE(parse_report("").arguments.empty());
}

// Mounts

TEST(MountPoints, AreReadFromTheKernelsTable)
{
    const char *table = "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
                        "27 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
                        "28 27 0:25 / /mnt/with\\040blank\\134\\011 ro - tmpfs none ro\n"
                        "29 27 0:26 / /proc rw - devpts devpts rw\n"
                        "broken line\n";
    EXPECT_EQ(parse_mount_points(table), (Texts{"/proc", "/", "/mnt/with blank\\\t"}));
    EXPECT_TRUE(parse_mount_points("").empty());
}

TEST(IsInside, CountsWholeNames)
{
    EXPECT_TRUE(is_inside("/tmp", "/tmp"));
    EXPECT_TRUE(is_inside("/tmp/a", "/tmp"));
    EXPECT_FALSE(is_inside("/tmpx", "/tmp"));
    EXPECT_FALSE(is_inside("/", "/tmp"));
    EXPECT_TRUE(is_inside("/a", "/"));
    EXPECT_TRUE(is_inside("/", "/"));
}

// Devices

TEST(DeviceNames, AreTheLowestThatAreFree)
{
    DeviceNames names;
    EXPECT_EQ(names.take("ttyUSB"), "ttyUSB0");
    EXPECT_EQ(names.take("ttyUSB"), "ttyUSB1");
    EXPECT_EQ(names.take("cdc-wdm"), "cdc-wdm0");
    EXPECT_EQ(names.take("eth", 2), "eth2");
    names.release("ttyUSB0");
    names.release("never taken");
    EXPECT_EQ(names.take("ttyUSB"), "ttyUSB0");
    EXPECT_EQ(names.take("ttyUSB"), "ttyUSB2");
}

TEST(UsbDeviceFolder, HoldsAFolderForEveryHubOnTheWay)
{
    const std::string first = "soc/8af8800.usb3/8a00000.dwc3/xhci-hcd.0.auto/usb1/";
    EXPECT_EQ(usb_device_folder("1-1"), first + "1-1");
    EXPECT_EQ(usb_device_folder("1-1.2"), first + "1-1/1-1.2");
    EXPECT_EQ(usb_device_folder("1-1.2.3"), first + "1-1/1-1.2/1-1.2.3");
    EXPECT_EQ(usb_device_folder("2-1.2"), "soc/60f8800.usb2/6000000.dwc3/xhci-hcd.1.auto/usb2/2-1/2-1.2");
}

UsbDevice example_device()
{
    using enum Interface::Kind;
    return {"1-1.2",
            "EC25",
            0x2c7c,
            0x0125,
            {{2, ttyUSB, "ttyUSB2", ""}, {3, ttyACM, "ttyACM0", ""}, {4, cdc_wdm, "cdc-wdm0", "wwan0"}}};
}

TEST(SysfsTree, LaysADeviceOutAsTheKernelDoes)
{
    const TemporaryDirectory directory;
    const SysfsTree tree(directory.path());
    tree.build(0);
    tree.add(example_device());
    const std::filesystem::path device = directory.path() / "devices/platform" / usb_device_folder("1-1.2");
    EXPECT_EQ(content_of(device / "idVendor"), "2c7c\n");
    EXPECT_EQ(content_of(device / "idProduct"), "0125\n");
    EXPECT_EQ(content_of(device.parent_path() / "idProduct"), "0610\n") << "the hub";
    EXPECT_EQ(content_of(device / "1-1.2:1.4/bInterfaceNumber"), "04\n");
    for (const char *folder : {"1-1.2:1.2/ttyUSB2/tty/ttyUSB2", "1-1.2:1.3/tty/ttyACM0", "1-1.2:1.4/usbmisc/cdc-wdm0",
                               "1-1.2:1.4/net/wwan0/statistics"})
        EXPECT_TRUE(is_directory(symlink_status(device / folder))) << folder;
    for (const char *link : {"bus/usb/devices/1-1.2", "bus/usb/devices/1-1.2:1.2", "class/tty/ttyUSB2",
                             "class/tty/ttyACM0", "class/usbmisc/cdc-wdm0", "class/net/wwan0"}) {
        EXPECT_TRUE(is_symlink(directory.path() / link)) << link;
        EXPECT_TRUE(is_directory(directory.path() / link)) << link;
    }
}

TEST(SysfsTree, IsTheSameAgainWhenADeviceHasGone)
{
    const TemporaryDirectory directory;
    const SysfsTree tree(directory.path());
    tree.build(0);
    const auto entries = [&] {
        Texts paths;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(directory.path()))
            paths.push_back(entry.path());
        std::ranges::sort(paths);
        return paths;
    };
    tree.add(example_device());
    const Texts with_device = entries();
    tree.remove(example_device());
    for (const std::string &path : entries())
        EXPECT_EQ(path.find("1-1.2"), std::string::npos) << path;
    EXPECT_FALSE(is_symlink(directory.path() / "class/tty/ttyUSB2"));
    tree.add(example_device());
    EXPECT_EQ(entries(), with_device);
}

TEST(SysfsTree, GrowsByAsManyFoldersAsAsked)
{
    const TemporaryDirectory directory;
    const std::filesystem::path platform = directory.path() / "devices/platform/soc";
    const auto count = [&] { return std::distance(std::filesystem::directory_iterator(platform), {}); };
    SysfsTree(directory.path()).build(0);
    const auto before = count();
    SysfsTree(directory.path()).build(700);
    EXPECT_EQ(count(), before + 700);
}

// Files

TEST(RouterFiles, HaveABoardAndAConfiguration)
{
    const std::vector<RouterFile> files = router_files("condor", "/nowhere", "/usr/bin/busybox");
    const auto content = [&](const std::string &path) {
        const auto file = std::ranges::find(files, path, &RouterFile::path);
        return file == files.end() ? std::string("missing") : file->content;
    };
    EXPECT_EQ(content("/tmp/sysinfo/board_name"), "maker,condor\n");
    EXPECT_EQ(content("/bin/sh"), "/nowhere/simcommand");
    EXPECT_EQ(content("/usr/bin/uqmi"), "/nowhere/simcommand");
    EXPECT_EQ(content("/usr/sbin/killall"), "/usr/bin/busybox");
    EXPECT_EQ(content("/etc/init.d/firewall"), "/nowhere/simcommand");
    EXPECT_EQ(content("/usr/bin/modemctl"), "missing") << "it was not built";
    EXPECT_NE(content("/etc/config/firewall").find("option network 'wan wan6'"), std::string::npos);
}

TEST(PutFiles, KeepContentAndMode)
{
    const TemporaryDirectory directory;
    const std::string script = directory.script("script", "exit 0\n");
    const std::vector<RouterFile> files = put_files({{"/usr/bin/a", script, ""}, {"/tmp/b", "", "text"}});
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0].content, "#!/bin/sh\nexit 0\n");
    EXPECT_EQ(files[0].mode & 0100, 0100U);
    EXPECT_EQ(files[1].content, "text\n");
    EXPECT_THROW(put_files({{"/tmp/c", directory.entry("missing"), ""}}), OptionError);
}

} // namespace simulated_router_test
