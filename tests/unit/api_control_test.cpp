#include <gtest/gtest.h>

#include "api/modem_lists.h"
#include "api/shell_lines.h"

namespace api_control_test {

TEST(PassThrough, RunsOverAModemOnly)
{
    EXPECT_TRUE(is_passing_through("1", "modem_1_1_2"));
    EXPECT_FALSE(is_passing_through("1", "eth1"));
    EXPECT_FALSE(is_passing_through("1", "pppoe-wan"));
    EXPECT_FALSE(is_passing_through("1", ""));
    EXPECT_FALSE(is_passing_through("0", "modem_1_1_2"));
    EXPECT_FALSE(is_passing_through("", "modem_1_1_2"));
    EXPECT_TRUE(is_passing_through("1", "eth10"));
}

TEST(PassDns, LeavesOutTheFirstServer)
{
    const struct {
        const char *list;
        const char *servers;
    } rows[] = {
        {"10.0.0.1,10.0.0.2", R"(["10.0.0.2"])"},
        {"10.0.0.1,10.0.0.2,10.0.0.3", R"(["10.0.0.2","10.0.0.3"])"},
        {"10.0.0.1", "[]"},
        {"10.0.0.1,", "[]"},
        {",,10.0.0.1,,10.0.0.2,", R"(["10.0.0.2"])"},
        {",", "[]"},
    };
    for (const auto &row : rows)
        EXPECT_STREQ(json_object_to_json_string_ext(pick_pass_dns(row.list).get(), JSON_C_TO_STRING_PLAIN), row.servers)
            << row.list;
    EXPECT_EQ(pick_pass_dns(""), nullptr);
}

TEST(WifiHint, IsOffWhenTheFirstPlacesAreDisabled)
{
    EXPECT_TRUE(are_all_off(1, {true, false, false}));
    EXPECT_FALSE(are_all_off(1, {false, true, false})) << "one modem, at the second place";
    EXPECT_TRUE(are_all_off(2, {true, true, false}));
    EXPECT_FALSE(are_all_off(2, {true, false, true})) << "two modems, at the first and third place";
    EXPECT_TRUE(are_all_off(3, {true, true, true}));
    EXPECT_FALSE(are_all_off(3, {true, true, false}));
}

TEST(ControlCommands, AreThese)
{
    EXPECT_EQ(compose_auto_connect("1-1.2").view(), "modemctl -B 1-1.2 connect-auto");
    EXPECT_EQ(compose_kill_tracker("modem_1_1_2").view(),
              "kill $(ps|grep mwan3track|grep modem_1_1_2|awk -F ' ' '{print $1}')");
    EXPECT_EQ(compose_interface_down("modem_1_1_2").view(), "ifdown modem_1_1_2");
    EXPECT_EQ(compose_interface_start("modem_1_1_2").view(), "ifup modem_1_1_2");
    EXPECT_EQ(compose_forget_signal("2-1.2").view(), "rm -rf /tmp/modem.2-1.2/signal*");
    EXPECT_EQ(compose_forget_imsi("2-1.2").view(), "rm -rf /tmp/modem.2-1.2/cimi");
    EXPECT_EQ(compose_forget_modem("1-1.2").view(), "rm -rf /tmp/modem.1-1.2;/etc/init.d/smstools3 stop");
    EXPECT_EQ(compose_set_sim_gpio(true, "/sys/class/gpio/gpio1/value").view(), "echo 1 > /sys/class/gpio/gpio1/value");
    EXPECT_EQ(compose_set_sim_gpio(false, "/sys/class/gpio/gpio1/value").view(),
              "echo 0 > /sys/class/gpio/gpio1/value");
    EXPECT_EQ(compose_show_signal_later("2-1.2").view(), "sleep 15 && signal_led.sh 2-1.2");
    EXPECT_EQ(compose_find_gateway("192.168.8.1").view(), "ifconfig br-lan | grep 192.168.8.1");
    EXPECT_EQ(compose_find_gateway("fd00::1").view(), "ifconfig br-lan | grep fd00::1");
    EXPECT_EQ(compose_find_gateway("192.168.8.1;reboot").view(), "");
}

} // namespace api_control_test
