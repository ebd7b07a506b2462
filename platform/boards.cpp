#include "platform/boards.h"

#include "platform/board.h"

namespace {

// The places of the condor board. No other board has places.
constexpr ModemPlace places[] = {
    {.bus = "1-1.2", .power_gpio = 5, .is_pulse_high = true, .metric = "40", .has_version = false},
    {.bus = "2-1.2", .power_gpio = 15, .is_pulse_high = true, .metric = "60", .has_version = true},
    {.bus = "1-1.4", .power_gpio = 7, .is_pulse_high = false, .metric = "70", .has_version = false},
    {.bus = "", .power_gpio = 7, .is_pulse_high = true, .metric = "40", .has_version = false},
};

// The first row that serves a name counts.
constexpr Board boards[] = {
    {.name = "condor", .has_places = true, .has_version = true, .has_shortcuts = true},
    // The variants are wired like it, but no version is known to be in their factory partition.
    {.name = "condor", .has_variants = true, .has_places = true, .has_shortcuts = true},
    {.name = "marten", .power_line = "lte_power"},
    {.name = "otter", .power_line = "lte_power"},
    {.name = "badger", .power_line = "gpio0", .is_pulse_high = true, .has_slow_led = true},
    {.name = "falcon", .power_line = "gpio0"},
    {.name = "kestrel", .power_line = "gpio0"},
    {.name = "osprey", .power_line = "pci_power"},
    {.name = "magpie", .power_line = "usb_power"},
    {.name = "bison", .power_line = "usb_power"},
    {.name = "egret", .power_line = "gpio1", .is_pulse_high = true},
    {.name = "wren", .is_pulse_high = true},
    {.name = "ibis", .is_pulse_high = true},
    {.name = "stoat", .is_pulse_high = true},
    // vole and newt have one of the two each: the web pages of each board depend on it.
    {.name = "vole", .is_pulse_high = true, .lists_no_modems = true},
    {.name = "newt", .keeps_wifi_channel = true},
    {.name = "gecko", .lists_no_modems = true, .keeps_wifi_channel = true},
    {.name = "tapir", .lists_no_modems = true, .keeps_wifi_channel = true},
    {.name = "puffin", .needs_sync = true},
    {.name = ""}, // any other board
};

} // namespace

const ModemPlace *Board::place_of(std::string_view bus) const
{
    const ModemPlace *place = places;
    while (!place->bus.empty() && place->bus != bus)
        place++;
    return has_places ? place : nullptr;
}

const Board &find_board(std::string_view name)
{
    const Board *board = boards;
    while (!board->name.empty() && board->name != name &&
           !(board->has_variants && str_contains(name, board->name.view())))
        board++;
    return *board;
}

const Board &this_board()
{
    Text<64> name;
    get_model_name(name);
    return find_board(name.view());
}
