#include "connection/shell_lines.h"

ShellLine<100> compose_complete_section(const char *iface)
{
    return ShellLine<100>{"/usr/libexec/modemctl/section {}", Piece::interface(iface)};
}

ShellLine<64> compose_power_program(const char *bus)
{
    return ShellLine<64>{"/usr/libexec/modemctl/power {}", Piece::bus(bus)};
}

ShellLine<100> compose_interface_up(const char *iface)
{
    return ShellLine<100>{"ubus call network.interface.{} up", Piece::interface(iface)};
}

ShellLine<100> compose_disable_interface(const char *iface)
{
    return ShellLine<100>{"uci set network.{}.disabled=\"1\"", Piece::interface(iface)};
}

ShellLine<128> compose_set_wan_zone(std::string_view zone, std::string_view iface)
{
    if (iface.empty())
        return ShellLine<128>{"uci set firewall.@zone[1].network=\"{}\"", Piece::plain(zone)};
    return ShellLine<128>{"uci set firewall.@zone[1].network=\"{} {}\"", Piece::plain(zone), Piece::interface(iface)};
}

ShellLine<100> compose_read_wan_zone_without(const char *iface)
{
    return ShellLine<100>{"uci get firewall.@zone[1].network | sed -e \"s/{}//g\"", Piece::interface(iface)};
}

ShellLine<100> compose_stop_autoconnect(const char *device)
{
    return ShellLine<100>{"timeout -t 2 uqmi -d {} --stop-network 4294967295 --autoconnect 2>/dev/null",
                          Piece::path(device)};
}

ShellLine<500> compose_power_pulse(const char *file, bool high)
{
    const Piece device = Piece::path(file);
    const Piece first = Piece::code(high ? "1" : "0");
    const Piece second = Piece::code(high ? "0" : "1");
    return ShellLine<500>{"echo {} > {}; sleep 1; echo {} > {}", first, device, second, device};
}

ShellLine<128> compose_power_line_pulse(const char *line, bool high)
{
    const Piece name = Piece::plain(line);
    const Piece first = Piece::code(high ? "1" : "0");
    const Piece second = Piece::code(high ? "0" : "1");
    return ShellLine<128>{"echo {} > /sys/class/gpio/{}/value;sleep 1;echo {} > /sys/class/gpio/{}/value", first, name,
                          second, name};
}

ShellLine<100> compose_commit(const char *package, bool sync)
{
    if (sync)
        return ShellLine<100>{"uci commit {};sync", Piece::plain(package)};
    return ShellLine<100>{"uci commit {}", Piece::plain(package)};
}
