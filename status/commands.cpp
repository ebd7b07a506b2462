#include "status/commands.h"

Text<64> compose_read_signal_cache(const char *bus)
{
    return Text<64>::format("cat /tmp/modem.%s/signal 2>/dev/null", bus);
}
