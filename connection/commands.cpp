#include "connection/commands.h"

#include <algorithm>
#include <cstdarg>

namespace {

bool is_harmless(char character)
{
    return is_digit(character) || (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           character == '_' || character == '-' || character == '.' || character == ' ';
}

bool is_plain(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), is_harmless);
}

__attribute__((format(printf, 1, 2))) ShellCommand compose_whole(const char *format, ...)
{
    ShellCommand command;
    va_list arguments;
    va_start(arguments, format);
    const bool whole = command.out().assign_format(format, arguments);
    va_end(arguments);
    return whole ? command : ShellCommand{};
}

} // namespace

ShellCommand compose_interface_up(const char *iface)
{
    return is_plain(iface) ? compose_whole("ubus call network.interface.%s up", iface) : ShellCommand{};
}

ShellCommand compose_disable_interface(const char *iface)
{
    return is_plain(iface) ? compose_whole("uci set network.%s.disabled=\"1\"", iface) : ShellCommand{};
}

ShellCommand compose_set_wan_zone(std::string_view zone, std::string_view iface)
{
    if (!is_plain(zone) || !is_plain(iface))
        return {};
    const char *separator = iface.empty() ? "" : " ";
    return compose_whole("uci set firewall.@zone[1].network=\"%.*s%s%.*s\"", static_cast<int>(zone.size()), zone.data(),
                         separator, static_cast<int>(iface.size()), iface.data());
}

ShellCommand compose_read_wan_zone_without(const char *iface)
{
    if (!is_plain(iface))
        return {};
    return compose_whole("uci get firewall.@zone[1].network | sed -e \"s/%s//g\"", iface);
}

ShellCommand compose_commit(const char *package, std::string_view board)
{
    return compose_whole("uci commit %s%s", package, board == "puffin" ? ";sync" : "");
}
