#include "watch/shell_lines.h"

ShellLine<100> compose_reconnect(const char *bus)
{
    return ShellLine<100>{"/usr/libexec/modemctl-reconnect {} >/dev/null 2>&1", Piece::bus(bus)};
}

ShellLine<300> compose_call_hooks(const char *what, const char *bus, const char *iface, const char *state,
                                  std::string_view reason)
{
    return ShellLine<300>{"ACTION={} BUS={} INTERFACE={} STATE={} REASON=\"{}\" /sbin/hotplug-call modem",
                          Piece::code(what),
                          Piece::bus(bus),
                          Piece::interface(iface),
                          Piece::interface(state),
                          Piece::plain(reason)};
}
