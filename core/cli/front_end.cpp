#include "core/cli/front_end.h"

#include <cstdio>
#include <cstring>

#include "core/cli/commands.h"
#include "core/model/modem.h"
#include "discovery/record/modem_record.h"
#include "platform/debug.h"

namespace {

void print_usage()
{
    puts("\nUsage:<modemctl> [-D] [-B <bus>] <command> [option]");
    puts("\nCommand possible:connect|connect-auto|new-connect-auto|disconnect|sim-status|AT|signal|cells|thermal|"
         "wifi_lte_interference\n");
}

bool is_bus(const char *word)
{
    return strstr(word, "1-1") != nullptr || strstr(word, "2-1") != nullptr;
}

int dispatch(const CommandLine &line, const ModemDriver &rec)
{
    const Command *command = find_command(line.command);
    if (command != nullptr)
        return command->run({.rec = rec, .bus = line.bus, .arguments = line.arguments});
    return print_command_usage();
}

} // namespace

CommandLine parse_command_line(std::span<char *const> words)
{
    CommandLine line;
    if (!words.empty() && strcmp(words.front(), "-D") == 0) {
        line.debug = true;
        words = words.last(words.size() - 1);
    }
    if (!words.empty() && strcmp(words.front(), "-B") == 0)
        words = words.last(words.size() - 1);
    if (!words.empty() && is_bus(words.front())) {
        line.bus = words.front();
        words = words.last(words.size() - 1);
    }
    if (!words.empty()) {
        line.command = words.front();
        line.arguments = words.last(words.size() - 1);
    }
    return line;
}

int run_command_line(std::span<char *const> words)
{
    const CommandLine line = parse_command_line(words);
    if (line.command == nullptr) {
        print_usage();
        return 0;
    }
    set_debug(line.debug);

    ModemDriver rec;
    const Json info{json_object_new_object()};
    detect_modem(rec, info.get(), line.bus);
    if (rec.modem_id < 0)
        return 0;
    if (debug_is_on())
        printf("%s\n", json_pretty(info.get()));
    set_current_modem_id(rec.modem_id);
    return dispatch(line, rec);
}
