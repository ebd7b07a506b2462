#include "connection/interface_config.h"
#include "discovery/usb/ports.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/unit/temporary_directory.h"

namespace interface_config_test {

struct LedRow {
    const char *what;
    const char *iface;
    const char *ifname;
    const char *proto;
    const char *device;
    const char *expected;
};
const LedRow led_rows[] = {
    {"PPP", "modem", "3g-modem", "3g", "/dev/ttyUSB3", "3g-modem"},
    {"PPP of a bound modem", "modem_1_1_2", "3g-modem", "3g", nullptr, "3g-modem_1_1_2"},
    {"DirectIP", "modem", "eth1", "directip", nullptr, "eth1"},
    {"DirectIP without a network device", "modem", nullptr, "directip", "/dev/ttyUSB3", ""},
    {"QMI, first control device", "modem", "wwan0", "qmi", "/dev/cdc-wdm0", "wwan0"},
    {"QMI, second control device", "modem", "wwan0", "qmi", "/dev/cdc-wdm1", "wwan1"},
    {"QMI, tenth control device", "modem", "wwan0", "qmi", "/dev/cdc-wdm10", "wwan1"},
    {"QMI, both names in one", "modem", "wwan0", "qmi", "/dev/wdm0/wdm1", "wwan0"},
    {"QMI without a device", "modem", "wwan0", "qmi", nullptr, "wwan0"},
    {"NCM follows the rule whatever its device is", "modem", "usb0", "ncm", "/dev/ttyUSB3", "wwan0"},
    {"a long name is cut", "modem_1_1_2_3_4_5_6", "", "3g", nullptr, "3g-modem_1_1_2_3_4_"},
};

TEST(LedDevice, FollowsTheProtocolAndTheDataDevice)
{
    for (const auto &row : led_rows)
        EXPECT_EQ(pick_led_device(row.iface, row.ifname, row.proto, row.device).view(), row.expected) << row.what;
}

TEST(Mtu, IsTheOneGivenElseVerizonsElseNone)
{
    EXPECT_STREQ(pick_mtu("1500", "verizon"), "1500");
    EXPECT_STREQ(pick_mtu("1500", ""), "1500");
    EXPECT_STREQ(pick_mtu("", "verizon"), "1428");
    EXPECT_STREQ(pick_mtu(nullptr, "verizon-lte"), "1428");
    EXPECT_EQ(pick_mtu(nullptr, "verizo"), nullptr);
    EXPECT_EQ(pick_mtu("", ""), nullptr);
}

TEST(MultiWan, ChangesOnlyAMemberThatTheOperatorWantsOtherwise)
{
    EXPECT_EQ(pick_multi_wan_change("1", "Visible Wireless"), MultiWanChange::disable);
    EXPECT_EQ(pick_multi_wan_change("1", nullptr), MultiWanChange::none);
    EXPECT_EQ(pick_multi_wan_change("1", "Visibl"), MultiWanChange::none);
    EXPECT_EQ(pick_multi_wan_change("", "Visible"), MultiWanChange::none);
    EXPECT_EQ(pick_multi_wan_change("", nullptr), MultiWanChange::none);
    EXPECT_EQ(pick_multi_wan_change("0", "Visible"), MultiWanChange::none);
    EXPECT_EQ(pick_multi_wan_change("0", nullptr), MultiWanChange::enable);
    EXPECT_EQ(pick_multi_wan_change("0", "Other"), MultiWanChange::enable);
}

class UsbNode : public testing::Test {
  protected:
    int find(const char *name)
    {
        int visits = 0;
        return find_usb_node(tree.path().c_str(), name, node, visits);
    }
    void make(const std::string &folder) { std::filesystem::create_directories(tree.path() / folder); }

    TemporaryDirectory tree;
    Text<50> node;
};

TEST_F(UsbNode, IsTheNearestFolderAboveThatLooksLikeUsb)
{
    make("usb1/1-1/1-1.2/1-1.2:1.4/usbmisc/cdc-wdm0");
    EXPECT_EQ(find("cdc-wdm0"), 1);
    EXPECT_EQ(node.view(), "1-1.2:1.4");
}

TEST_F(UsbNode, ClimbsOverSeveralFolders)
{
    make("usb1/1-1/1-1.2/1-1.2:1.2/ttyUSB2/tty/ttyUSB2");
    EXPECT_EQ(find("ttyUSB2"), 1);
    EXPECT_EQ(node.view(), "1-1.2:1.2");
}

TEST_F(UsbNode, NeedsTheWholeName)
{
    make("1-1.2:1.4/usbmisc/cdc-wdm0");
    EXPECT_LE(find("cdc-wdm"), 0);
    EXPECT_TRUE(node.empty());
}

TEST_F(UsbNode, OfALaterMatchReplacesAnEarlierOne)
{
    make("1-1.2:1.4/usbmisc/cdc-wdm0");
    make("1-1.3:1.4/usbmisc/cdc-wdm0");
    EXPECT_EQ(find("cdc-wdm0"), 2);
    EXPECT_TRUE(node == "1-1.2:1.4" || node == "1-1.3:1.4") << node.c_str();
}

TEST_F(UsbNode, IsNotFoundInAMissingFolder)
{
    int visits = 0;
    EXPECT_EQ(find_usb_node("/nowhere/at/all", "cdc-wdm0", node, visits), -1);
}

} // namespace interface_config_test
