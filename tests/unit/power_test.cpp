#include "connection/power.h"

#include <gtest/gtest.h>

namespace {

struct BoardRow {
    const char *board;
    const char *command;
};
const BoardRow board_rows[] = {
    {"marten", "echo 0 > /sys/class/gpio/lte_power/value;sleep 1;echo 1 > /sys/class/gpio/lte_power/value"},
    {"otter", "echo 0 > /sys/class/gpio/lte_power/value;sleep 1;echo 1 > /sys/class/gpio/lte_power/value"},
    {"badger", "echo 1 > /sys/class/gpio/gpio0/value;sleep 1;echo 0 > /sys/class/gpio/gpio0/value"},
    {"falcon", "echo 0 > /sys/class/gpio/gpio0/value;sleep 1;echo 1 > /sys/class/gpio/gpio0/value"},
    {"kestrel", "echo 0 > /sys/class/gpio/gpio0/value;sleep 1;echo 1 > /sys/class/gpio/gpio0/value"},
    {"osprey", "echo 0 > /sys/class/gpio/pci_power/value;sleep 1;echo 1 > /sys/class/gpio/pci_power/value"},
    {"magpie", "echo 0 > /sys/class/gpio/usb_power/value;sleep 1;echo 1 > /sys/class/gpio/usb_power/value"},
    {"bison", "echo 0 > /sys/class/gpio/usb_power/value;sleep 1;echo 1 > /sys/class/gpio/usb_power/value"},
    {"egret", "echo 1 > /sys/class/gpio/gpio1/value;sleep 1;echo 0 > /sys/class/gpio/gpio1/value"},
};

TEST(PowerCommand, IsFixedOnTheBoardsWithAPowerLineOfTheirOwn)
{
    for (const auto &row : board_rows)
        EXPECT_STREQ(pick_power_command(row.board), row.command) << row.board;
}

TEST(PowerCommand, HasToBeFoundOnEveryOtherBoard)
{
    for (const char *board : {"condor", "wren", "", "marten2", "MARTEN"})
        EXPECT_EQ(pick_power_command(board), nullptr) << board;
}

TEST(CondorPowerFile, IsChosenByTheBus)
{
    EXPECT_EQ(pick_condor_power_file("1-1.2").view(), "/sys/class/gpio/gpio5/value");
    EXPECT_EQ(pick_condor_power_file("2-1.2").view(), "/sys/class/gpio/gpio15/value");
    EXPECT_EQ(pick_condor_power_file("1-1.4").view(), "/sys/class/gpio/gpio7/value");
    EXPECT_EQ(pick_condor_power_file("").view(), "/sys/class/gpio/gpio7/value");
}

struct PulseRow {
    const char *board;
    const char *bus;
    bool high;
};
const PulseRow pulse_rows[] = {
    {"wren", "1-1.2", true},    {"ibis", "1-1.2", true},      {"osprey", "1-1.2", true},     {"stoat", "1-1.4", true},
    {"vole", "1-1.2", true},    {"badger", "1-1.2", true},    {"condor", "1-1.2", true},     {"condor", "2-1.2", true},
    {"condor", "1-1.4", false}, {"condor-d2", "2-1.2", true}, {"condor-d2", "1-1.4", false}, {"puffin", "1-1.2", false},
    {"", "1-1.2", false},
};

TEST(PowerPulse, IsHighOnSixBoardsAndOnTheCondorButForOneBus)
{
    for (const auto &row : pulse_rows)
        EXPECT_EQ(is_power_pulse_high(row.board, row.bus), row.high) << row.board << " " << row.bus;
}

} // namespace
