#include "platform/board.h"

#include <arpa/inet.h>
#include <bit>
#include <gtest/gtest.h>

#include "platform/board_sources.h"
#include "tests/unit/temporary_directory.h"

namespace board_test {

constexpr char heading[] = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT"
                           "                                                       \n";

// An address as this machine's kernel prints it: the number that it reads from the four bytes.
std::string kernel_hexadecimal(const char *dotted)
{
    char text[9];
    snprintf(text, sizeof text, "%08X", inet_addr(dotted));
    return text;
}

std::string route(const std::string &device, const char *destination, const char *gateway, const char *flags,
                  const char *mask)
{
    std::string line = device + '\t' + kernel_hexadecimal(destination) + '\t' + kernel_hexadecimal(gateway) + '\t' +
                       flags + "\t0\t0\t40\t" + kernel_hexadecimal(mask) + "\t0\t0\t0";
    line.resize(std::max<size_t>(line.size(), 127), ' ');
    return line + '\n';
}

std::string default_route(const std::string &device, const char *gateway)
{
    return route(device, "0.0.0.0", gateway, "0003", "0.0.0.0");
}

std::string gateway_in(std::string_view text, std::string_view device)
{
    const auto gateway = parse_default_gateway(text, device);
    char dotted[INET_ADDRSTRLEN];
    return gateway ? inet_ntop(AF_INET, &*gateway, dotted, sizeof dotted) : "none";
}

TEST(ParseModelName, IsWhatFollowsTheLastCommaOfTheFirstLine)
{
    const struct {
        std::string_view board_name;
        std::string_view model;
    } rows[] = {
        {"maker,condor\n", "condor"},
        {"maker,condor", "condor"},
        {"maker,series,condor-v2\n", "condor-v2"},
        {"condor\n", "condor"},
        {"maker,\n", ""},
        {",condor\n", "condor"},
        {"maker,condor\nother,gecko\n", "condor"},
        {"\nmaker,condor\n", ""},
        {"", ""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(parse_model_name(row.board_name), row.model) << row.board_name;
}

TEST(ReadModelName, LeavesTheNameEmptyWithoutAFile)
{
    const TemporaryDirectory directory;
    Text<32> model = "old";
    read_model_name(directory.entry("missing").c_str(), model);
    EXPECT_EQ(model, "");
}

TEST(ReadModelName, CutsTheModelAndNotTheLineAtTheCallersCapacity)
{
    const TemporaryDirectory directory;
    Text<8> model;
    read_model_name(directory.file("board_name", std::string(200, 'm') + ",condor-large\n").c_str(), model);
    EXPECT_EQ(model, "condor-");
}

TEST(ParseDefaultGateway, FindsTheDefaultRouteOfTheDevice)
{
    const std::string table =
        heading + default_route("eth0", "192.168.1.1") + route("wwan0", "10.0.0.0", "10.0.0.9", "0003", "255.0.0.0") +
        route("wwan0", "0.0.0.0", "0.0.0.0", "0001", "0.0.0.0") +
        route("wwan0", "0.0.0.0", "10.0.0.8", "0002", "0.0.0.0") +
        route("wwan0", "0.0.0.0", "10.0.0.7", "0003", "128.0.0.0") +
        route("wwan0", "10.0.0.0", "10.0.0.6", "0003", "0.0.0.0") + default_route("wwan0", "10.64.0.1") +
        default_route("wwan0", "10.64.0.2") + default_route("wwan01", "1.2.3.4") +
        route("lan", "0.0.0.0", "9.9.9.9", "0207", "0.0.0.0");
    const struct {
        const char *device;
        const char *gateway;
    } rows[] = {
        {"eth0", "192.168.1.1"}, {"wwan0", "10.64.0.1"}, {"wwan01", "1.2.3.4"}, {"lan", "9.9.9.9"},
        {"wwan", "none"},        {"Iface", "none"},      {"", "none"},          {"wwan0\t00000000", "none"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(gateway_in(table, row.device), row.gateway) << row.device;
}

TEST(ParseDefaultGateway, ReadsTheKernelsNumberInTheMachinesByteOrder)
{
    const char *const line = std::endian::native == std::endian::little
                                 ? "eth0\t00000000\t0102A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n"
                                 : "eth0\t00000000\tC0A80201\t0003\t0\t0\t0\t00000000\t0\t0\t0\n";
    EXPECT_EQ(gateway_in(line, "eth0"), "192.168.2.1");
}

TEST(ParseDefaultGateway, PassesOverLinesThatAreNoRoute)
{
    const std::string good = default_route("wwan0", "10.64.0.1");
    for (const std::string &bad : {
             std::string{"\n"},
             std::string{"wwan0\n"},
             std::string{"wwan0\t00000000\t0A0A0A0A\t0003\n"},
             std::string{"wwan0\t00000000\t0A0A0A0A\t0003\t0\t0\t0\t\n"},
             std::string{"wwan0\t00000000\t0x0A0A0A\t0003\t0\t0\t0\t00000000\n"},
             std::string{"wwan0\t00000000\t0A0A0A0A0A\t0003\t0\t0\t0\t00000000\n"},
             std::string{"wwan0\t\t\t\t\t\t\t\t\t\t\n"},
             std::string{"wwan0\t-0\t-1\t-1\t0\t0\t0\t0\n"},
             std::string(5000, 'w') + '\n',
             std::string{"\0\xFF\t\n", 4},
         }) {
        EXPECT_EQ(gateway_in(bad, "wwan0"), "none") << bad;
        EXPECT_EQ(gateway_in(bad + good, "wwan0"), "10.64.0.1") << bad;
    }
    EXPECT_EQ(gateway_in("", "wwan0"), "none");
}

TEST(ReadGateway, ReadsATableOfAnyLength)
{
    const TemporaryDirectory directory;
    std::string table = heading;
    for (int i = 0; i < 1000; i++)
        table += default_route("ppp" + std::to_string(i), "10.1.1.1");
    table += default_route("wwan0", "123.123.123.123");
    Text<16> gateway;
    EXPECT_EQ(read_gateway(directory.file("route", table).c_str(), "wwan0", gateway), 0);
    EXPECT_EQ(gateway, "123.123.123.123");
}

TEST(ReadGateway, TakesNoPartOfAnOverlongLineForALine)
{
    const TemporaryDirectory directory;
    // Long enough that a reader's buffer ends anywhere in front of the second half.
    for (size_t length = 200; length < 300; length++) {
        std::string false_line = default_route("wwan0", "6.6.6.6");
        false_line.insert(0, length, 'x');
        Text<16> gateway = "old";
        EXPECT_EQ(read_gateway(directory.file("route", false_line).c_str(), "wwan0", gateway), -1) << length;
        EXPECT_EQ(gateway, "") << length;
        false_line += default_route("wwan0", "10.64.0.1");
        EXPECT_EQ(read_gateway(directory.file("route", false_line).c_str(), "wwan0", gateway), 0) << length;
        EXPECT_EQ(gateway, "10.64.0.1") << length;
    }
}

TEST(ReadGateway, FailsWithoutATable)
{
    const TemporaryDirectory directory;
    for (const std::string &path : {directory.entry("missing"), directory.path().string()}) {
        Text<16> gateway = "old";
        EXPECT_EQ(read_gateway(path.c_str(), "wwan0", gateway), -1) << path;
        EXPECT_EQ(gateway, "") << path;
    }
}

TEST(GetGatewayByIfname, HasNothingForADeviceThatDoesNotExist)
{
    Text<16> gateway = "old";
    EXPECT_EQ(get_gateway_by_ifname("no-such-device", gateway), -1);
    EXPECT_EQ(gateway, "");
}

TEST(CheckFileIsExist, AcceptsWhateverExists)
{
    const TemporaryDirectory directory;
    std::filesystem::create_symlink(directory.entry("missing"), directory.entry("dangling"));
    EXPECT_EQ(cmm_check_file_is_exist(directory.file("file", "").c_str()), 1);
    EXPECT_EQ(cmm_check_file_is_exist(directory.path().c_str()), 1);
    EXPECT_EQ(cmm_check_file_is_exist("/dev/null"), 1);
    EXPECT_EQ(cmm_check_file_is_exist(directory.entry("missing").c_str()), 0);
    EXPECT_EQ(cmm_check_file_is_exist(directory.entry("dangling").c_str()), 0);
    EXPECT_EQ(cmm_check_file_is_exist(""), 0);
}

} // namespace board_test
