#include "status/traffic.h"

#include <fstream>
#include <gtest/gtest.h>

#include "tests/unit/temporary_directory.h"

namespace traffic_test {

constexpr char headings[] =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo colls carrier "
    "compressed\n";

std::string traffic_of(const std::string &device, const std::string &content)
{
    const TemporaryDirectory folder;
    const std::string path = folder.path() / "dev";
    std::ofstream(path) << content;
    const Json result{json_object_new_object()};
    add_net_dev_traffic(result.get(), device.c_str(), path.c_str());
    return json_object_to_json_string_ext(result.get(), JSON_C_TO_STRING_PLAIN);
}

TEST(NetDevTraffic, IsTheDevicesReceivedAndSentBytesAsTexts)
{
    const std::string lines =
        std::string(headings) +
        "    lo:     100       1    0    0    0     0          0         0      100       1    0 "
        "   0    0     0       0          0\n"
        "3g-modem: 12345678901      9    0    0    0     0          0         0  4294967296      7 "
        "   0    0    0     0       0          0\n"
        "3g-modem2:    5       9    0    0    0     0          0         0        6       7    0    "
        "0    0     0       0          0\n";
    EXPECT_EQ(traffic_of("3g-modem", lines), R"({"download":"12345678901","upload":"4294967296"})");
    EXPECT_EQ(traffic_of("3g-modem2", lines), R"({"download":"5","upload":"6"})");
    EXPECT_EQ(traffic_of("lo", lines), R"({"download":"100","upload":"100"})");
    EXPECT_EQ(traffic_of("3g", lines), "{}");
    EXPECT_EQ(traffic_of("", lines), "{}");
}

TEST(NetDevTraffic, StopsAtTheFirstLineOfTheDevice)
{
    const std::string lines = std::string(headings) + "ppp0: 1 0 0 0 0 0 0 0 2 0 0 0 0 0 0 0\n"
                                                      "ppp0: 3 0 0 0 0 0 0 0 4 0 0 0 0 0 0 0\n";
    EXPECT_EQ(traffic_of("ppp0", lines), R"({"download":"1","upload":"2"})");
}

TEST(NetDevTraffic, LosesADeviceInTheFirstSixCharactersWhichAreHeadings)
{
    EXPECT_EQ(traffic_of("ppp0", "ppp0: 1 0 0 0 0 0 0 0 2 0 0 0 0 0 0 0\n"), "{}");
}

TEST(NetDevTraffic, LeavesOutWhatIsIncompleteOrNoLine)
{
    EXPECT_EQ(traffic_of("ppp0", std::string(headings) + "ppp0: 1 0 0 0 0 0 0 0\n"), "{}");
    EXPECT_EQ(traffic_of("ppp0", std::string(headings) + "ppp0"), "{}");
    EXPECT_EQ(traffic_of("ppp0", std::string(headings) + std::string(5000, 'x') + ": 1\n"), "{}");
    EXPECT_EQ(traffic_of("ppp0", std::string("\0\1\2\377", 4)), "{}");
    EXPECT_EQ(traffic_of("ppp0", ""), "{}");
    const Json result{json_object_new_object()};
    add_net_dev_traffic(result.get(), "ppp0", "/no/such/file");
    EXPECT_EQ(json_object_object_length(result.get()), 0);
}

TEST(Traffic, OfADeviceThatDoesNotExistIsNothing)
{
    const Json result{json_object_new_object()};
    EXPECT_EQ(add_traffic(result.get(), "nosuchdev0"), 0);
    EXPECT_EQ(json_object_object_length(result.get()), 0);
}

} // namespace traffic_test
