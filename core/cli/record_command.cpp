#include "core/cli/record_command.h"

#include "core/cli/info_command.h"
#include "discovery/record/recorder.h"
#include "platform/tell_person.h"

namespace {

constexpr int exit_usage = 64;
constexpr int exit_file = 74;

} // namespace

int run_record(const CommandRun &run)
{
    if (run.arguments.size() != 1) {
        tell_person("record FILE: one file is needed");
        return exit_usage;
    }
    const char *file = run.arguments[0];
    bool is_written = true;
    const InfoResult result = record_modem(run.bus, file, is_written);
    tell_reason(result, run.bus);
    if (result != InfoResult::reported)
        return static_cast<int>(result);
    if (!is_written) {
        tell_person("%s cannot be written", file);
        return exit_file;
    }
    tell_person("%s holds what the modem says, with other numbers in the place of yours", file);
    return 0;
}
