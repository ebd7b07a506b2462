#include "wifi/shell_lines.h"

Text<128> compose_read_channel(const char *device)
{
    return Text<128>::format("iwinfo %s info 2>/dev/null | grep Channel | awk '{print $4}'", device);
}
