#include "platform/boxwifi.h"

#include "platform/shell.h"

void wifi_restart()
{
    // Our standard output is a result that somebody parses.
    execCommand("wifi >/dev/null 2>&1");
}
