#include "connection/interface_control.h"

#include <syslog.h>
#include <unistd.h>

#include "connection/shell_lines.h"
#include "platform/boards.h"
#include "platform/interface_state.h"
#include "platform/shell.h"
#include "platform/uci_room.h"

namespace {

constexpr int ubus_timeout_s = 100;
constexpr useconds_t down_poll_us = 100'000;

using Zone = Text<256>;

// A person may part the networks by tabs, which the command that writes them takes no more than it takes quotes.
void part_by_spaces(Zone &zone)
{
    for (char *character = zone.data(); *character != '\0'; character++)
        if (*character == '\t' || *character == '\v' || *character == '\f' || *character == '\r')
            *character = ' ';
}

std::string_view without_trailing_blanks(std::string_view text)
{
    return first_characters(text, text.find_last_not_of(' ') + 1);
}

Zone read_zone(ShellCommand command)
{
    Zone zone;
    getShellCommandReturnLine(command, zone);
    part_by_spaces(zone);
    return zone;
}

// A list that does not fit, or for which there is no room, is not written at all: the whole firewall would be lost.
void write_zone(std::string_view zone, std::string_view iface)
{
    const auto set = compose_set_wan_zone(without_trailing_blanks(zone), iface);
    if (set.empty() || !kuci_has_room("firewall")) {
        syslog(LOG_ERR, "the WAN zone's networks stay as they are: %s\n",
               set.empty() ? "the list does not fit its command" : "there is no room to write them");
        return;
    }
    execCommand(set);
    execCommand(compose_commit("firewall", this_board().needs_sync));
    execCommand(reload_firewall);
}

void enter_zone(const char *iface)
{
    const Zone zone = read_zone(read_wan_zone);
    if (strstr(zone.c_str(), iface) == nullptr)
        write_zone(zone.view(), iface);
    else
        execCommand(refresh_zones);
}

void leave_zone(const char *iface)
{
    const auto read = compose_read_wan_zone_without(iface);
    if (!read.empty())
        write_zone(read_zone(read).view(), {});
}

} // namespace

int iface_up(int budget_s, const char *iface)
{
    reload_network(ubus_timeout_s);
    execCommand(compose_interface_up(iface));
    enter_zone(iface);
    for (int i = 0; i < budget_s; i++) {
        sleep(1);
        if (interface_state(iface, ubus_timeout_s) == interface_is_up)
            return interface_is_up;
    }
    return interface_state(iface, ubus_timeout_s);
}

int iface_down(int polls, const char *iface)
{
    const Board &board = this_board();
    if (board.has_shortcuts)
        execCommand(stop_shortcuts);
    if (kuci_has_room("network")) {
        execCommand(compose_disable_interface(iface));
        execCommand(compose_commit("network", board.needs_sync));
    }
    reload_network(ubus_timeout_s);
    for (int i = 0; i < polls; i++) {
        usleep(down_poll_us);
        if (interface_state(iface, ubus_timeout_s) == interface_is_down) {
            leave_zone(iface);
            return interface_is_down;
        }
    }
    return interface_state(iface, ubus_timeout_s);
}
