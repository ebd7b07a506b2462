#include "connection/power.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "connection/shell_lines.h"
#include "platform/board.h"
#include "platform/shell.h"

namespace {

struct FixedPower {
    std::string_view board;
    const char *command;
};
// clang-format off
constexpr FixedPower fixed_powers[] = {
    {"marten",  "echo 0 > /sys/class/gpio/lte_power/value;sleep 1;echo 1 > /sys/class/gpio/lte_power/value"},
    {"otter",   "echo 0 > /sys/class/gpio/lte_power/value;sleep 1;echo 1 > /sys/class/gpio/lte_power/value"},
    {"badger",  "echo 1 > /sys/class/gpio/gpio0/value;sleep 1;echo 0 > /sys/class/gpio/gpio0/value"},
    {"falcon",  "echo 0 > /sys/class/gpio/gpio0/value;sleep 1;echo 1 > /sys/class/gpio/gpio0/value"},
    {"kestrel", "echo 0 > /sys/class/gpio/gpio0/value;sleep 1;echo 1 > /sys/class/gpio/gpio0/value"},
    {"osprey",  "echo 0 > /sys/class/gpio/pci_power/value;sleep 1;echo 1 > /sys/class/gpio/pci_power/value"},
    {"magpie",  "echo 0 > /sys/class/gpio/usb_power/value;sleep 1;echo 1 > /sys/class/gpio/usb_power/value"},
    {"bison",   "echo 0 > /sys/class/gpio/usb_power/value;sleep 1;echo 1 > /sys/class/gpio/usb_power/value"},
    {"egret",   "echo 1 > /sys/class/gpio/gpio1/value;sleep 1;echo 0 > /sys/class/gpio/gpio1/value"},
};
// clang-format on

constexpr std::string_view high_pulse_boards[] = {"wren", "ibis", "osprey", "stoat", "vole", "badger"};

bool is_condor(std::string_view board)
{
    return board.find("condor") != std::string_view::npos;
}

Text<100> probe_power_file(std::string_view bus)
{
    const bool is_first_port = bus == "1-1.2" || bus == "1-1";
    const std::array probes = {
        "ls /sys/class/leds/*:usbpow*/brightness",
        "ls /sys/class/gpio/usbpow/value",
        "ls /sys/class/leds/*:3gcontrol/brightness",
        is_first_port ? "ls /sys/class/gpio/gpio0/value" : "ls /sys/class/gpio/gpio2/value",
        "ls /sys/class/gpio/gpio2/value",
    };
    Text<100> file;
    for (const char *probe : probes) {
        getShellCommandReturnLine(probe, file);
        if (!file.empty())
            break;
    }
    return file;
}

} // namespace

const char *pick_power_command(std::string_view board)
{
    for (const FixedPower &row : fixed_powers)
        if (row.board == board)
            return row.command;
    return nullptr;
}

Text<100> pick_condor_power_file(std::string_view bus)
{
    const int gpio = bus == "1-1.2" ? 5 : bus == "2-1.2" ? 15 : 7;
    return Text<100>::format("/sys/class/gpio/gpio%d/value", gpio);
}

bool is_power_pulse_high(std::string_view board, std::string_view bus)
{
    if (is_condor(board))
        return bus != "1-1.4";
    return std::find(std::begin(high_pulse_boards), std::end(high_pulse_boards), board) != std::end(high_pulse_boards);
}

int power_cycle_modem(const char *bus)
{
    Text<64> board;
    get_model_name(board);
    if (const char *command = pick_power_command(board.view()); command != nullptr) {
        execCommand(command);
        return 0;
    }
    const auto file = is_condor(board.view()) ? pick_condor_power_file(bus) : probe_power_file(bus);
    if (!file.empty())
        run_composed(compose_power_pulse(file.c_str(), is_power_pulse_high(board.view(), bus)).c_str());
    return 0;
}
