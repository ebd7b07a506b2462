#include "status/shell_lines.h"

#include "core/model/state_dir.h"

ShellLine<100> compose_ifstatus(const char *iface)
{
    return ShellLine<100>{"ifstatus {} 2>/dev/null", Piece::interface(iface)};
}

ShellLine<100> compose_read_signal_cache(const char *bus)
{
    return ShellLine<100>{"cat {}/signal 2>/dev/null", Piece::path(state_dir(bus).view())};
}
