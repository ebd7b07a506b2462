#include "status/shell_lines.h"

#include <cstring>

#include "platform/interface_state.h"

Text<120> compose_ifstatus(const char *iface)
{
    if (strlen(iface) > longest_interface_name || !is_made_of(iface, "_-."))
        return {};
    return Text<120>::format("ifstatus %s 2>/dev/null", iface);
}

Text<64> compose_read_signal_cache(const char *bus)
{
    return Text<64>::format("cat /tmp/modem.%s/signal 2>/dev/null", bus);
}
