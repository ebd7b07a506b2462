#include "core/cli/watch_command.h"

#include <cstdio>
#include <cstring>

#include "core/cli/history_command.h"
#include "core/model/modem.h"
#include "discovery/record/snapshot.h"
#include "platform/tell_person.h"
#include "watch/watch.h"

namespace {

constexpr int exit_usage = 64;
constexpr int exit_busy = 3;
constexpr int64_t usual_pause_s = 1800;

int print_status(const char *bus, bool as_json)
{
    const Json status{json_object_new_object()};
    if (!add_watch_status(status.get(), bus)) {
        tell_person("nothing watches the modem on bus %s", bus);
        return 1;
    }
    if (as_json) {
        puts(one_line(status.get()));
        return 0;
    }
    json_object_object_foreach(status.get(), key, value)
    {
        if (!json_object_is_type(value, json_type_object)) {
            printf("%-10s %s\n", key, json_object_get_string(value));
            continue;
        }
        json_object_object_foreach(value, stage, left)
            printf("%-10s %-10s %s\n", key, stage, json_object_get_string(left));
    }
    return 0;
}

} // namespace

bool is_plain_bus(std::string_view bus)
{
    return !bus.empty() && is_digit(bus[0]) && bus.find('-') != std::string_view::npos && is_made_of(bus, "-.") &&
           fits_record(bus);
}

int run_watch(const CommandRun &run)
{
    std::span<char *const> words = run.arguments;
    const char *bus = take_bus(words, run.bus);
    const std::string_view verb = words.empty() ? "" : words[0];
    const std::string_view detail = words.size() < 2 ? "" : words[1];
    int result = 0;
    if (!is_plain_bus(bus) || words.size() > 2 || (words.size() == 2 && verb != "status" && verb != "pause")) {
        result = exit_usage;
    } else if (words.empty() || verb == "--once") {
        result = watch(bus, !words.empty()) < 0 ? exit_busy : 0;
    } else if (verb == "status" && (detail.empty() || detail == "--json")) {
        return print_status(bus, !detail.empty());
    } else if (verb == "resume") {
        resume_watch(bus);
    } else if (const auto time = detail.empty() ? usual_pause_s : parse_time(detail); verb == "pause" && time) {
        if (pause_watch(bus, *time) == 0)
            return 0;
        tell_person("the pause cannot be noted in /tmp");
        return 1;
    } else {
        result = exit_usage;
    }
    if (result == exit_usage)
        tell_person("watch [BUS] [--once | status [--json] | pause [TIME] | resume]");
    else if (result == exit_busy)
        tell_person("another process watches the modem on bus %s", bus);
    return result;
}
