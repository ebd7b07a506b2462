#include "discovery/record/hardware.h"
#include "discovery/record/shell_lines.h"

#include <gtest/gtest.h>

#include "apn/shell_lines.h"

namespace hardware_test {

TEST(HardwareVersion, IsToldByTwoBytesOfTheFactoryPartition)
{
    EXPECT_STREQ(pick_hardware_version("53", ""), "CONDOR-S");
    EXPECT_STREQ(pick_hardware_version("53", "31"), "CONDOR-S");
    EXPECT_STREQ(pick_hardware_version("44", "31"), "CONDOR-D1");
    EXPECT_STREQ(pick_hardware_version("44", "32"), "CONDOR-D2");
    EXPECT_STREQ(pick_hardware_version("", ""), "CONDOR-D2");
    EXPECT_STREQ(pick_hardware_version("5", "3"), "CONDOR-D2");
    EXPECT_STREQ(pick_hardware_version("531", "311"), "CONDOR-D2");
}

TEST(HardwareVersion, IsReadOneByteAtATime)
{
    EXPECT_STREQ(print_board_byte, R"(hexdump -v -n 1 -s $((0x9c)) -e '1/1 "%x"' /dev/mtd2)");
    EXPECT_STREQ(print_variant_byte, R"(hexdump -v -n 1 -s $((0x9d)) -e '1/1 "%x"' /dev/mtd2)");
}

} // namespace hardware_test
