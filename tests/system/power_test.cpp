#include <gtest/gtest.h>

#include "tests/system/harness.h"

// Which line of which board switches the modem's power.

namespace power_test {

using Lines = std::vector<std::string>;

const char list_usbpow_led[] = "ls /sys/class/leds/*:usbpow*/brightness";
const char list_usbpow[] = "ls /sys/class/gpio/usbpow/value";
const char list_3gcontrol[] = "ls /sys/class/leds/*:3gcontrol/brightness";
const char list_gpio0[] = "ls /sys/class/gpio/gpio0/value";
const char list_gpio2[] = "ls /sys/class/gpio/gpio2/value";

std::string pulse(const std::string &file, int first)
{
    return "echo " + std::to_string(first) + " > " + file + "; sleep 1; echo " + std::to_string(1 - first) + " > " +
           file;
}

TEST(PowerCycle, PulsesTheLineOfTheBoardAndTheBus)
{
    const std::string led = "/sys/class/leds/board:usbpower/brightness";
    const std::string control = "/sys/class/leds/board:3gcontrol/brightness";
    const struct {
        const char *board;
        const char *bus;
        const char *files; ///< that the board has
        Lines shell;
    } rows[] = {
        {"condor", "1-1.2", "", {pulse("/sys/class/gpio/gpio5/value", 1)}},
        {"condor", "2-1.2", "", {pulse("/sys/class/gpio/gpio15/value", 1)}},
        {"condor", "1-1.4", "", {pulse("/sys/class/gpio/gpio7/value", 0)}},
        {"condor-d2", "2-1.2", "", {pulse("/sys/class/gpio/gpio15/value", 1)}},
        {"wren", "1-1.2", "leds/board:usbpower/brightness", {list_usbpow_led, pulse(led, 1)}},
        {"generic", "1-1.2", "leds/board:usbpower/brightness gpio/gpio0/value", {list_usbpow_led, pulse(led, 0)}},
        {"ibis",
         "1-1.2",
         "gpio/usbpow/value leds/board:3gcontrol/brightness",
         {list_usbpow_led, list_usbpow, pulse("/sys/class/gpio/usbpow/value", 1)}},
        {"generic",
         "1-1.3",
         "leds/board:3gcontrol/brightness",
         {list_usbpow_led, list_usbpow, list_3gcontrol, pulse(control, 0)}},
        {"stoat",
         "1-1",
         "gpio/gpio0/value gpio/gpio2/value",
         {list_usbpow_led, list_usbpow, list_3gcontrol, list_gpio0, pulse("/sys/class/gpio/gpio0/value", 1)}},
        {"generic",
         "1-1.2",
         "gpio/gpio2/value",
         {list_usbpow_led, list_usbpow, list_3gcontrol, list_gpio0, list_gpio2,
          pulse("/sys/class/gpio/gpio2/value", 0)}},
        {"generic", "1-1.4", "", {list_usbpow_led, list_usbpow, list_3gcontrol, list_gpio2, list_gpio2}},
    };
    for (const auto &row : rows) {
        const RouterRun run = run_shell({"--board", row.board},
                                        "rm -rf /sys/class/leds/*:usbpow* /sys/class/leds/*:3gcontrol "
                                        "/sys/class/gpio/usbpow /sys/class/gpio/gpio0 /sys/class/gpio/gpio2; "
                                        "cd /sys/class; for file in " +
                                            std::string{row.files} + "; do mkdir -p ${file%/*}; echo 1 >$file; done; " +
                                            built_word("call_operation") + " 3 " + row.bus + " power_cycle");
        EXPECT_EQ(run.out, "0 \n") << row.board << " " << row.bus;
        EXPECT_EQ(run.journal_of("shell", "call_operation"), row.shell) << row.board << " " << row.bus;
    }
}

} // namespace power_test
