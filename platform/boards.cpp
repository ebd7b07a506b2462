#include "platform/boards.h"

#include "platform/board.h"

namespace {

constexpr ModemPlace condor_places[] = {
    {.bus = "1-1.2", .power_file = "/sys/class/gpio/gpio5/value", .is_pulse_high = true, .metric = "40"},
    {.bus = "2-1.2", .power_file = "/sys/class/gpio/gpio15/value", .is_pulse_high = true, .metric = "60"},
    {.bus = "1-1.4", .power_file = "/sys/class/gpio/gpio7/value", .is_pulse_high = false, .metric = "70"},
    {.bus = "", .power_file = "/sys/class/gpio/gpio7/value", .is_pulse_high = true, .metric = "40"},
};

constexpr char pulse_lte_power[] =
    "echo 0 > /sys/class/gpio/lte_power/value;sleep 1;echo 1 > /sys/class/gpio/lte_power/value";
constexpr char pulse_pci_power[] =
    "echo 0 > /sys/class/gpio/pci_power/value;sleep 1;echo 1 > /sys/class/gpio/pci_power/value";
constexpr char pulse_usb_power[] =
    "echo 0 > /sys/class/gpio/usb_power/value;sleep 1;echo 1 > /sys/class/gpio/usb_power/value";
constexpr char pulse_gpio0[] = "echo 0 > /sys/class/gpio/gpio0/value;sleep 1;echo 1 > /sys/class/gpio/gpio0/value";
constexpr char pulse_gpio0_high[] = "echo 1 > /sys/class/gpio/gpio0/value;sleep 1;echo 0 > /sys/class/gpio/gpio0/value";
constexpr char pulse_gpio1_high[] = "echo 1 > /sys/class/gpio/gpio1/value;sleep 1;echo 0 > /sys/class/gpio/gpio1/value";

constexpr Board condor = {
    .name = "condor", .places = condor_places, .versioned_bus = "2-1.2", .has_shortcuts = true};

// A variant of the condor board has its name with something added. It has the same wiring, but not the bytes in the
// factory partition that tell the condor's version.
constexpr Board condor_variant = [] {
    Board board = condor;
    board.has_variants = true;
    board.versioned_bus = nullptr;
    return board;
}();

// The first row that serves a name counts.
constexpr Board boards[] = {
    condor,
    condor_variant,
    {.name = "marten", .power_command = pulse_lte_power},
    {.name = "otter", .power_command = pulse_lte_power},
    {.name = "badger", .power_command = pulse_gpio0_high, .has_slow_led = true},
    {.name = "falcon", .power_command = pulse_gpio0},
    {.name = "kestrel", .power_command = pulse_gpio0},
    {.name = "osprey", .power_command = pulse_pci_power},
    {.name = "magpie", .power_command = pulse_usb_power},
    {.name = "bison", .power_command = pulse_usb_power},
    {.name = "egret", .power_command = pulse_gpio1_high},
    {.name = "wren", .is_pulse_high = true},
    {.name = "ibis", .is_pulse_high = true},
    {.name = "stoat", .is_pulse_high = true},
    // The two lists differ in vole and newt: the web pages of each board count on it.
    {.name = "vole", .is_pulse_high = true, .lists_no_modems = true},
    {.name = "gecko", .lists_no_modems = true, .keeps_wifi_channel = true},
    {.name = "tapir", .lists_no_modems = true, .keeps_wifi_channel = true},
    {.name = "newt", .keeps_wifi_channel = true},
    {.name = "puffin", .needs_sync = true},
};

constexpr Board any_other_board = {};

} // namespace

const ModemPlace *Board::place_of(std::string_view bus) const
{
    const ModemPlace *place = places;
    while (place != nullptr && *place->bus != '\0' && bus != place->bus)
        place++;
    return place;
}

const Board &find_board(std::string_view name)
{
    for (const Board &board : boards)
        if (name == board.name || (board.has_variants && name.find(board.name) != std::string_view::npos))
            return board;
    return any_other_board;
}

const Board &this_board()
{
    Text<64> name;
    get_model_name(name);
    return find_board(name.view());
}
