#include "platform/shell_line.h"

#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "connection/shell_lines.h"
#include "platform/shell.h"

namespace shell_line_test {

struct ClassRow {
    const char *name;
    Piece (*make)(Piece::Source text);
    std::vector<const char *> harmless;
    std::vector<const char *> refused;
};
const ClassRow class_rows[] = {
    {"code", Piece::code, {"262011234567890", "26201a", "Z"}, {"", "262 01", "262.01", "-1", "1;2", "$(id)", "\x80"}},
    {"address", Piece::address, {"192.168.8.1", "fe80::1", "."}, {"", "192.168.8.1 x", "1/24", "-r", "a-b", "1_2"}},
    {"bus", Piece::bus, {"1-1.2", "2-1", ".."}, {"", "-1", "1_1", "1-1/2", "1-1;id", "1-1 2", "1-1\n"}},
    {"interface", Piece::interface, {"modem_1_1_2", "wan-6", "_.x"}, {"", "-x", "a b", "a/b", "a:b", "a'b", "a*"}},
    {"path",
     Piece::path,
     {"/dev/cdc-wdm0", "/sys/class/leds/a:b/x", "./x", "a..b"},
     {"", "-d", "/a b", "/tmp/../x", "/..", "/a*", "/a$b", "/a`b`", "~/a"}},
    {"plain", Piece::plain, {"", "wan wan6", "a_b-c.d", " "}, {"-a", "a\tb", "a\nb", "a\"b", "a;b", "a/b", "a:b"}},
};

TEST(Piece, IsMadeOfTheCharactersOfItsClass)
{
    for (const ClassRow &row : class_rows) {
        for (const char *text : row.harmless)
            EXPECT_TRUE(row.make(text).is_harmless()) << row.name << " \"" << text << '"';
        for (const char *text : row.refused)
            EXPECT_FALSE(row.make(text).is_harmless()) << row.name << " \"" << text << '"';
    }
    EXPECT_FALSE(Piece::code(std::string_view{"1\0002", 3}).is_harmless()) << "a zero byte";
    EXPECT_TRUE(Piece::as_it_came("a';id;'").is_harmless());
}

TEST(Piece, IsNoInterfaceFrom46BytesOn)
{
    EXPECT_TRUE(Piece::interface(std::string_view{std::string(45, 'i')}).is_harmless());
    EXPECT_FALSE(Piece::interface(std::string_view{std::string(46, 'i')}).is_harmless());
}

TEST(ShellLine, HasItsPiecesInTheHolesOfItsPattern)
{
    EXPECT_EQ((ShellLine<32>{"a {} b {};c", Piece::code("1"), Piece::bus("1-1")}.view()), "a 1 b 1-1;c");
    EXPECT_EQ((ShellLine<32>{"{}{}", Piece::code("1"), Piece::code("2")}.view()), "12");
    EXPECT_EQ((ShellLine<32>{"'{}'", Piece::as_it_came("{}")}.view()), "'{}'") << "a piece is no pattern";
}

TEST(ShellLine, IsEmptyWhenOneOfItsPiecesIsRefused)
{
    EXPECT_TRUE((ShellLine<32>{"a {} {}", Piece::code("1"), Piece::code(";")}.empty()));
    EXPECT_TRUE((ShellLine<32>{"a {} {}", Piece::code(";"), Piece::code("1")}.empty()));
    EXPECT_TRUE(ShellLine<8>::cut("a {} longer", Piece::code(";")).empty());
}

TEST(ShellLine, IsEmptyWhenItDoesNotFit)
{
    EXPECT_EQ((ShellLine<5>{"a {} b", Piece::code("1")}.view()), "");
    EXPECT_EQ((ShellLine<6>{"a {} b", Piece::code("1")}.view()), "a 1 b");
    EXPECT_EQ((ShellLine<4>{"a {} b", Piece::code("12")}.view()), "");
}

TEST(ShellLine, IsCutAtItsCapacityWhereThatIsPromised)
{
    EXPECT_EQ(ShellLine<5>::cut("a {} b", Piece::code("1")).view(), "a 1 ");
    EXPECT_EQ(ShellLine<4>::cut("a {} b", Piece::code("12")).view(), "a 1");
}

TEST(ShellCommand, IsALiteralOrALineAndNothingElse)
{
    static_assert(std::is_convertible_v<const ShellLine<8> &, ShellCommand>);
    static_assert(!std::is_convertible_v<std::string_view, ShellCommand>);
    static_assert(!std::is_convertible_v<std::string, ShellCommand>);
    static_assert(!std::is_convertible_v<Text<8>, ShellCommand>);
    static_assert(!std::is_constructible_v<ShellLine<8>, const char *>);
    static_assert(!std::is_constructible_v<Piece, const char *>);
    constexpr ShellCommand literal = "true";
    EXPECT_EQ(literal, "true");
    EXPECT_TRUE(ShellCommand{}.empty());
}

TEST(ShellCommand, IsNeverRunWhenEmpty)
{
    const ShellLine<32> refused{"echo {}", Piece::code(";")};
    Text<8> out = "old";
    EXPECT_EQ(getShellCommandReturn(refused, out), -1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(getShellCommandReturnLine(refused, out), -1);
    EXPECT_FALSE(getShellCommandReturnDynamic(refused));
    EXPECT_EQ(execCommand(refused), -1);
    EXPECT_EQ(fork_exec2(refused), -1);
}

TEST(ConnectionLines, AreThese)
{
    EXPECT_EQ(compose_interface_up("modem_1_1_2").view(), "ubus call network.interface.modem_1_1_2 up");
    EXPECT_EQ(compose_disable_interface("modem").view(), "uci set network.modem.disabled=\"1\"");
    EXPECT_EQ(compose_set_wan_zone("wan wan6", "modem").view(), "uci set firewall.@zone[1].network=\"wan wan6 modem\"");
    EXPECT_EQ(compose_set_wan_zone("", "modem").view(), "uci set firewall.@zone[1].network=\" modem\"");
    EXPECT_EQ(compose_set_wan_zone("wan wan6", "").view(), "uci set firewall.@zone[1].network=\"wan wan6\"");
    EXPECT_EQ(compose_set_wan_zone("", "").view(), "uci set firewall.@zone[1].network=\"\"");
    EXPECT_EQ(compose_read_wan_zone_without("modem").view(),
              "uci get firewall.@zone[1].network | sed -e \"s/modem//g\"");
    EXPECT_EQ(compose_stop_autoconnect("/dev/cdc-wdm0").view(),
              "timeout -t 2 uqmi -d /dev/cdc-wdm0 --stop-network 4294967295 --autoconnect 2>/dev/null");
    EXPECT_EQ(compose_power_pulse("/sys/class/leds/a:usbpow/brightness", true).view(),
              "echo 1 > /sys/class/leds/a:usbpow/brightness; sleep 1; echo 0 > /sys/class/leds/a:usbpow/brightness");
    EXPECT_EQ(compose_power_pulse("/sys/class/gpio/gpio5/value", false).view(),
              "echo 0 > /sys/class/gpio/gpio5/value; sleep 1; echo 1 > /sys/class/gpio/gpio5/value");
    EXPECT_EQ(compose_commit("network", false).view(), "uci commit network");
    EXPECT_EQ(compose_commit("firewall", true).view(), "uci commit firewall;sync");
}

TEST(ConnectionLines, AreWholeOrEmpty)
{
    const std::string zone(127 - strlen("uci set firewall.@zone[1].network=\" modem\""), 'z');
    EXPECT_EQ(compose_set_wan_zone(zone, "modem").size(), 127U);
    EXPECT_TRUE(compose_set_wan_zone(zone + "z", "modem").empty());
    const std::string device = "/" + std::string(98 - strlen(compose_stop_autoconnect("/").c_str()), 'd');
    EXPECT_EQ(compose_stop_autoconnect((device + "d").c_str()).size(), 99U);
    EXPECT_TRUE(compose_stop_autoconnect((device + "dd").c_str()).empty());
}

} // namespace shell_line_test
