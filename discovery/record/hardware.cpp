#include "discovery/record/hardware.h"

#include "discovery/record/shell_lines.h"
#include "platform/boards.h"
#include "platform/shell.h"
#include "platform/uci.h"

namespace {

bool is_versioned(std::string_view bus)
{
    const Board &board = this_board();
    return board.has_version && board.place_of(bus)->has_version;
}

const char *read_hardware_version()
{
    Text<9> first;
    Text<9> second;
    getShellCommandReturn(print_board_byte, first);
    if (first != "53")
        getShellCommandReturn(print_variant_byte, second);
    return pick_hardware_version(first.view(), second.view());
}

const char *read_sim_num()
{
    Text<8> number;
    kuci2_get(kuci2_init(), "cellconf.sim.sim_num", number);
    return number == "2" ? "2" : "1";
}

} // namespace

const char *pick_hardware_version(std::string_view first, std::string_view second)
{
    if (first == "53")
        return "CONDOR-S";
    return second == "31" ? "CONDOR-D1" : "CONDOR-D2";
}

void add_hardware(json_object *info, const char *bus)
{
    const bool is_known = is_versioned(bus);
    kjson_add_string(info, "hw_version", is_known ? read_hardware_version() : "");
    kjson_add_string(info, "sim_num", is_known ? read_sim_num() : "");
}
