#include <syslog.h>

#include "at/serial_port.h"
#include "core/cli/front_end.h"
#include "core/cli/rpcd_command.h"

int main(int argc, char **argv)
{
    openlog("modemctl", 0, LOG_USER); // musl's lines would have no name otherwise
    put_port_back_on_signals();
    const std::span<char *const> words{argv, static_cast<size_t>(argc)};
    const std::span<char *const> arguments = words.empty() ? words : words.last(words.size() - 1);
    if (!words.empty() && is_rpcd_plugin(words[0]))
        return run_rpcd({.rec = ModemDriver{}, .bus = "", .arguments = arguments});
    return run_command_line(arguments);
}
