#include "discovery/usb/ports.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "apn/shell_lines.h"
#include "tests/unit/temporary_directory.h"

namespace ports_test {

class SysfsWalk : public testing::Test {
  protected:
    void make(const std::string &folder) const { std::filesystem::create_directories(tree.path() / folder); }
    std::string root() const { return tree.path(); }
    std::string ports() const
    {
        const Json array{json_object_new_array()};
        int port_visits = 0;
        list_ports_in(root().c_str(), array.get(), port_visits);
        std::string text;
        for (size_t i = 0; i < json_object_array_length(array.get()); i++)
            text += std::string{json_object_get_string(json_object_array_get_idx(array.get(), i))} + " ";
        return text;
    }

    TemporaryDirectory tree;
    int visits = 0;
    Text<512> out = "before";
};

TEST_F(SysfsWalk, FindsTheDirectoryOfThatNameWhereverItIs)
{
    make("soc/usb1/1-1/1-1.2/1-1.2:1.2");
    EXPECT_EQ(find_sysfs_dir(root().c_str(), "1-1.2", out, visits), 1);
    EXPECT_EQ(out.view(), root() + "/soc/usb1/1-1/1-1.2");
}

TEST_F(SysfsWalk, NeedsTheWholeName)
{
    make("usb1/1-1.2");
    EXPECT_EQ(find_sysfs_dir(root().c_str(), "1-1", out, visits), 0);
    EXPECT_EQ(out.view(), "before");
    EXPECT_EQ(visits, 3);
}

TEST_F(SysfsWalk, EndsALevelWithItsMatchAndCountsThoseOfOtherSubtrees)
{
    make("a/1-1.2/1-1.2");
    make("b/1-1.2");
    EXPECT_EQ(find_sysfs_dir(root().c_str(), "1-1.2", out, visits), 2);
    EXPECT_TRUE(out.view().ends_with("/a/1-1.2") || out.view().ends_with("/b/1-1.2")) << out.c_str();
}

TEST_F(SysfsWalk, PassesOverFilesAndLinks)
{
    tree.file("1-1.2", "");
    make("real/1-1.3");
    std::filesystem::create_directory_symlink(tree.path() / "real", tree.path() / "link");
    EXPECT_EQ(find_sysfs_dir(root().c_str(), "1-1.2", out, visits), 0);
    EXPECT_EQ(find_sysfs_dir(root().c_str(), "1-1.3", out, visits), 1);
    EXPECT_EQ(out.view(), root() + "/real/1-1.3");
}

TEST_F(SysfsWalk, FailsWhereItsRootCannotBeOpened)
{
    EXPECT_EQ(find_sysfs_dir("/nowhere/at/all", "1-1.2", out, visits), -1);
    EXPECT_EQ(find_sysfs_dir(tree.file("file", "").c_str(), "1-1.2", out, visits), -1);
    EXPECT_EQ(find_sysfs_dir(std::string(2000, 'x').c_str(), "1-1.2", out, visits), -1);
    EXPECT_EQ(out.view(), "before");
}

TEST_F(SysfsWalk, VisitsAThousandDirectories)
{
    for (int i = 0; i < 999; i++)
        make("d" + std::to_string(i));
    EXPECT_EQ(find_sysfs_dir(root().c_str(), "1-1.2", out, visits), 0);
    EXPECT_EQ(visits, 1000);
}

TEST_F(SysfsWalk, FailsAsAWholeWhenItsBudgetIsSpent)
{
    for (int i = 0; i < 1000; i++)
        make("d" + std::to_string(i));
    EXPECT_EQ(find_sysfs_dir(root().c_str(), "1-1.2", out, visits), -1);
    EXPECT_EQ(visits, 1000);
    EXPECT_EQ(out.view(), "before");
}

TEST_F(SysfsWalk, SharesItsBudgetWithWhoeverCountedBefore)
{
    visits = 1000;
    EXPECT_EQ(find_sysfs_dir(root().c_str(), "1-1.2", out, visits), -1);
}

TEST_F(SysfsWalk, SurvivesATreeDeeperThanItsPath)
{
    std::string deep = "x";
    for (int i = 0; i < 20; i++)
        deep += "/" + std::string(60, 'y');
    make(deep);
    EXPECT_EQ(find_sysfs_dir(root().c_str(), "1-1.2", out, visits), 0);
}

TEST_F(SysfsWalk, FindsTheTtyOfAnInterface)
{
    make("ttyUSB2/tty/ttyUSB2");
    EXPECT_EQ(find_tty_in(root().c_str(), out, visits), 1);
    EXPECT_EQ(out.view(), "/dev/ttyUSB2");
}

TEST_F(SysfsWalk, FindsAnAcmPortAndAControlDevice)
{
    make("tty/ttyACM0");
    EXPECT_EQ(find_tty_in(root().c_str(), out, visits), 1);
    EXPECT_EQ(out.view(), "/dev/ttyACM0");
    const TemporaryDirectory qmi;
    std::filesystem::create_directories(qmi.path() / "usbmisc/cdc-wdm0");
    visits = 0;
    EXPECT_EQ(find_tty_in(qmi.path().c_str(), out, visits), 1);
    EXPECT_EQ(out.view(), "/dev/cdc-wdm0");
}

TEST_F(SysfsWalk, CutsALongDeviceName)
{
    make("ttyUSB" + std::string(100, '1'));
    EXPECT_EQ(find_tty_in(root().c_str(), out, visits), 1);
    EXPECT_EQ(out.size(), 49u);
}

TEST_F(SysfsWalk, FindsANetworkDeviceByItsKind)
{
    make("net/wwan0/statistics");
    Text<16> name;
    EXPECT_EQ(find_netdev_in(root().c_str(), "wwan", name, visits), 1);
    EXPECT_EQ(name.view(), "wwan0");
    visits = 0;
    EXPECT_EQ(find_netdev_in(root().c_str(), "eth", name, visits), 0);
    EXPECT_EQ(name.view(), "wwan0");
}

TEST_F(SysfsWalk, ListsAUsbPortOnceThoughItsNameStandsTwice)
{
    make("1-1.2:1.2/ttyUSB2/tty/ttyUSB2");
    EXPECT_EQ(ports(), "/dev/ttyUSB2 ");
}

TEST_F(SysfsWalk, ListsAnAcmPortOnce)
{
    make("1-1.2:1.2/tty/ttyACM0/power");
    EXPECT_EQ(ports(), "/dev/ttyACM0 ");
}

TEST_F(SysfsWalk, ListsAControlDevice)
{
    make("1-1.2:1.4/usbmisc/cdc-wdm0/power");
    make("1-1.2:1.4/net/wwan0");
    EXPECT_EQ(ports(), "/dev/cdc-wdm0 ");
}

TEST_F(SysfsWalk, HasThePortsOfEveryDeviceBelow)
{
    make("1-1.2/1-1.2:1.2/ttyUSB2/tty/ttyUSB2");
    make("1-1.3/1-1.3:1.0/tty/ttyACM0");
    const std::string both = ports();
    EXPECT_TRUE(both == "/dev/ttyUSB2 /dev/ttyACM0 " || both == "/dev/ttyACM0 /dev/ttyUSB2 ") << both;
}

TEST_F(SysfsWalk, ListsNothingWhereThereIsNothing)
{
    EXPECT_EQ(ports(), "");
}

// What the searches find that walk the whole tree each.
struct Found {
    int result = 0;
    std::string port;
    bool operator==(const Found &) const = default;
};

Found search_port(const std::string &root, const char *bus, int interface)
{
    Text<512> path;
    Text<30> port;
    int visits = 0;
    const std::string name = std::string{bus} + ":1." + std::to_string(interface);
    int result = find_sysfs_dir(root.c_str(), name.c_str(), path, visits);
    visits = 0;
    if (result > 0)
        result = find_tty_in(path.c_str(), port, visits);
    return {result, port.c_str()};
}

Found search_list(const std::string &root, const char *bus)
{
    Text<512> path;
    int visits = 0;
    const Json ports{json_object_new_array()};
    int result = find_sysfs_dir(root.c_str(), bus, path, visits);
    visits = 0;
    if (result > 0)
        result = list_ports_in(path.c_str(), ports.get(), visits);
    return {result, json_object_to_json_string(ports.get())};
}

class DeviceInATree : public SysfsWalk {
  protected:
    void expect_same_as_single_searches(const std::string &what) const
    {
        for (const char *bus : {"1-1.2", "1-1", "1-1.3"}) {
            const std::string at = root();
            const UsbDevice device{bus, at.c_str()};
            for (int interface = -1; interface < 5; interface++) {
                Text<30> port;
                const int result = device.port_path(interface, port);
                EXPECT_EQ((Found{result, port.c_str()}), search_port(at, bus, interface))
                    << what << ", " << bus << ", " << interface;
            }
            const Json ports{json_object_new_array()};
            const int result = device.list_ports(ports.get());
            const Found list = search_list(at, bus);
            EXPECT_EQ(json_object_to_json_string(ports.get()), list.port) << what << ", " << bus;
            EXPECT_EQ(result > 0 ? result : 0, list.result > 0 ? list.result : 0) << what << ", " << bus;
        }
    }
};

TEST_F(DeviceInATree, IsWhatSingleSearchesFind)
{
    const char *const additions[] = {
        "soc/usb1/1-1/1-1.2/1-1.2:1.2/ttyUSB2/tty/ttyUSB2",
        "soc/usb1/1-1/1-1.2/1-1.2:1.4/usbmisc/cdc-wdm0",
        "soc/usb1/1-1/1-1.3/1-1.3:1.0/tty/ttyACM0",
        "soc/usb1/1-1/1-1.2/1-1.2:1.3/deep/1-1.2:1.2/ttyUSB7",
        "other/1-1.2:1.2/ttyUSB9",
        "second/usb1/1-1/1-1.2/1-1.2:1.2/ttyUSB8",
        "soc/usb1/1-1/1-1.2/1-1.2/1-1.2:1.2/ttyUSB6",
    };
    expect_same_as_single_searches("an empty tree");
    for (const char *addition : additions) {
        make(addition);
        expect_same_as_single_searches(std::string{"with "} + addition);
    }
}

TEST_F(DeviceInATree, IsSearchedWithTheBudgetOfSingleSearches)
{
    make("soc/usb1/1-1/1-1.2/1-1.2:1.2/ttyUSB2/tty/ttyUSB2");
    make("soc/usb1/1-1/1-1.2/1-1.2:1.3/power");
    for (int i = 0; i < 1000; i++) {
        make("d" + std::to_string(i));
        if (i > 983)
            expect_same_as_single_searches(std::to_string(i) + " more folders");
    }
}

TEST(PortsOfABus, AreNoneWithoutABus)
{
    Text<30> port = "before";
    EXPECT_EQ(at_port_path(nullptr, 2, port), -1);
    EXPECT_EQ(bus_first_port(nullptr, port), -1);
    EXPECT_EQ(bus_netdev(nullptr, "eth", port), -1);
    EXPECT_EQ(bus_list_ports(nullptr, nullptr), -1);
    EXPECT_EQ(port.view(), "before");
}

TEST(PortsOfABus, AreNoneForAnInterfaceThatCannotBe)
{
    Text<30> port = "before";
    EXPECT_LE(at_port_path("1-1.2", -1, port), 0);
    EXPECT_EQ(port.view(), "before");
}

TEST(ShellLines, KeepAnImsiOfDigitsOnly)
{
    EXPECT_EQ(compose_keep_imsi("262011234567890", "1-1.2").view(), "echo \"262011234567890\" >/tmp/modem.1-1.2/cimi");
    for (const char *imsi : {"", "1;reboot", "$(id)", "2620\"1"})
        EXPECT_TRUE(compose_keep_imsi(imsi, "1-1.2").empty()) << imsi;
}

TEST(ShellLines, FindAnOperatorByAPlainCode)
{
    EXPECT_EQ(compose_find_operator("26201").view(), "cat /usr/share/modem/operator.dat|grep 26201|cut -d ',' -f 2");
    for (const char *code : {"", "26201;", "262 1", "26201|", "-v"})
        EXPECT_TRUE(compose_find_operator(code).empty()) << code;
}

} // namespace ports_test
