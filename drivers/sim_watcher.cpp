#include "drivers/sim_watcher.h"

#include "core/model/printable.h"
#include "drivers/shell_lines.h"
#include "platform/shell.h"

namespace {

Text<20> capture(ShellCommand command, const char *file)
{
    Text<20> captured;
    if (can_print(command, file))
        getShellCommandReturn(command, captured, Duration::short_time);
    return captured;
}

} // namespace

Text<20> capture_sim_status()
{
    return capture(print_sim_status, sim_status_file);
}

Text<20> capture_sim_type()
{
    return capture(print_sim_type, sim_type_file);
}

std::string_view without_last(std::string_view captured)
{
    return first_characters(captured, captured.empty() ? 0 : captured.size() - 1);
}
