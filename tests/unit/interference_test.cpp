#include "wifi/interference.h"

#include <gtest/gtest.h>

#include "wifi/shell_lines.h"

namespace interference_test {

TEST(WifiChannel, AvoidsTheEdgeThatTouchesABandInUse)
{
    const struct {
        const char *what;
        int32_t channel;
        LteBands bands;
        int32_t expected;
    } rows[] = {
        {"no modem on 1", 1, {0, 0, 0}, 0},      {"no modem on 11", 11, {0, 0, 0}, 0},
        {"another band on 1", 1, {3, 20, 1}, 0}, {"another band on 11", 11, {3, 20, 1}, 0},
        {"band 40 on 1", 1, {40, 0, 0}, 11},     {"band 40 of the last modem", 1, {0, 3, 40}, 11},
        {"band 40 on 6", 6, {40, 0, 0}, 0},      {"band 40 on 11", 11, {40, 0, 0}, 0},
        {"band 7 on 11", 11, {7, 0, 0}, 1},      {"band 7 of the second modem", 11, {3, 7, 0}, 1},
        {"band 7 on 1", 1, {7, 0, 0}, 0},        {"band 7 on 6", 6, {7, 0, 0}, 0},
        {"both on 1", 1, {7, 40, 0}, 6},         {"both on 11", 11, {40, 0, 7}, 6},
        {"both on 6", 6, {7, 40, 0}, 0},         {"both on 12", 12, {7, 40, 0}, 0},
        {"radio off", -1, {7, 40, 0}, 0},        {"no channel", 0, {40, 0, 0}, 0},
    };
    for (const auto &row : rows)
        EXPECT_EQ(pick_wifi_channel(row.channel, row.bands), row.expected) << row.what;
}

TEST(ConfiguredChannel, IsANumberWhereTheUserChoseOne)
{
    EXPECT_EQ(pick_configured_channel(false, "11"), 11);
    EXPECT_EQ(pick_configured_channel(false, "auto"), 0);
    EXPECT_EQ(pick_configured_channel(false, ""), 0);
    EXPECT_EQ(pick_configured_channel(false, "x"), 0);
    EXPECT_EQ(pick_configured_channel(false, "-3"), -3);
    EXPECT_EQ(pick_configured_channel(true, "11"), -1);
}

TEST(Channel, IsFreeToMoveWhileTheRadioChoosesItItself)
{
    EXPECT_TRUE(is_channel_free(false, "auto"));
    EXPECT_TRUE(is_channel_free(false, ""));
    EXPECT_FALSE(is_channel_free(false, "11"));
    EXPECT_FALSE(is_channel_free(false, "Auto"));
    EXPECT_FALSE(is_channel_free(true, "auto"));
}

TEST(LiveChannel, IsReadFromTheRadiosDevice)
{
    EXPECT_EQ(compose_read_channel("ath3").view(), "iwinfo ath3 info 2>/dev/null | grep Channel | awk '{print $4}'");
}

} // namespace interference_test
