#include "connection/shell_lines.h"

#include <cstdarg>

#include "platform/shell.h"

namespace {

bool is_plain(std::string_view text)
{
    return is_made_of(text, "_-. ");
}

// A file's path may hold a colon too, as those of LEDs do, and no blank.
bool is_plain_path(std::string_view path)
{
    return is_made_of(path, "_-./:");
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

void run_composed(const char *command)
{
    if (*command != '\0')
        execCommand(command);
}

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

ShellCommand compose_stop_autoconnect(const char *device)
{
    constexpr size_t buffer_size = 100;
    if (!is_plain_path(device))
        return {};
    const auto command =
        compose_whole("timeout -t 2 uqmi -d %s --stop-network 4294967295 --autoconnect 2>/dev/null", device);
    return command.size() < buffer_size ? command : ShellCommand{};
}

Text<500> compose_power_pulse(const char *file, bool high)
{
    if (!is_plain_path(file))
        return {};
    const int first = high ? 1 : 0;
    return Text<500>::format("echo %d > %s; sleep 1; echo %d > %s", first, file, 1 - first, file);
}

ShellCommand compose_commit(const char *package, bool sync)
{
    return compose_whole("uci commit %s%s", package, sync ? ";sync" : "");
}
