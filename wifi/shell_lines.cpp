#include "wifi/shell_lines.h"

ShellLine<100> compose_read_channel(const char *device)
{
    return ShellLine<100>{"iwinfo {} info 2>/dev/null | grep Channel | awk '{print $4}'", Piece::interface(device)};
}
