#include "platform/boxwifi.h"

#include "platform/shell.h"

void wifi_restart()
{
    // The program's standard output is a result that other programs parse.
    execCommand("wifi >/dev/null 2>&1");
}
