#include "connection/power.h"

#include <cstring>
#include <dirent.h>
#include <unistd.h>

#include "connection/shell_lines.h"
#include "platform/board.h"
#include "platform/boards.h"
#include "platform/files.h"
#include "platform/shell.h"

namespace {

Text<100> probe_power_file(std::string_view bus)
{
    const bool is_first_port = bus == "1-1.2" || bus == "1-1";
    // Not a conditional expression in the list: clang 14, which compiles the fuzz targets, crashes on it.
    ShellCommand own_pin = "ls /sys/class/gpio/gpio2/value";
    if (is_first_port)
        own_pin = "ls /sys/class/gpio/gpio0/value";
    const ShellCommand probes[] = {
        "ls /sys/class/leds/*:usbpow*/brightness",
        "ls /sys/class/gpio/usbpow/value",
        "ls /sys/class/leds/*:3gcontrol/brightness",
        own_pin,
        "ls /sys/class/gpio/gpio2/value",
    };
    Text<100> file;
    for (const ShellCommand probe : probes) {
        getShellCommandReturnLine(probe, file);
        if (!file.empty())
            break;
    }
    return file;
}

// As probe_power_file, but without a shell: the watch asks for it whenever it looks at the interface.
bool has_power_file(std::string_view bus)
{
    const bool is_first_port = bus == "1-1.2" || bus == "1-1";
    for (const char *file : {found_power_switch, "/sys/class/gpio/usbpow/value", "/sys/class/gpio/gpio2/value",
                             is_first_port ? "/sys/class/gpio/gpio0/value" : "/sys/class/gpio/gpio2/value"})
        if (access(file, F_OK) == 0)
            return true;
    const Directory leds{opendir("/sys/class/leds")};
    while (const dirent *led = leds != nullptr ? readdir(leds.get()) : nullptr)
        if (strstr(led->d_name, ":usbpow") != nullptr || strstr(led->d_name, ":3gcontrol") != nullptr)
            return true;
    return false;
}

Text<100> gpio_value_file(int gpio)
{
    return Text<100>::format("/sys/class/gpio/gpio%d/value", gpio);
}

} // namespace

void power_cycle_modem(const char *bus)
{
    const Board &board = this_board();
    if (!board.power_line.empty()) {
        execCommand(compose_power_line_pulse(board.power_line.c_str(), board.is_pulse_high));
        return;
    }
    const ModemPlace *place = board.place_of(bus);
    const auto file = place != nullptr ? gpio_value_file(place->power_gpio) : probe_power_file(bus);
    const bool is_high = place != nullptr ? place->is_pulse_high : board.is_pulse_high;
    if (!file.empty())
        execCommand(compose_power_pulse(file.c_str(), is_high));
    else if (cmm_check_file_is_exist(power_program) != 0)
        execCommand(compose_power_program(bus));
}

bool can_power_cycle(const char *bus)
{
    const Board &board = this_board();
    return !board.power_line.empty() || board.place_of(bus) != nullptr || has_power_file(bus);
}
