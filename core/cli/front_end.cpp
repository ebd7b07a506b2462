#include "core/cli/front_end.h"

#include <cstdio>
#include <cstring>

#include "core/cli/commands.h"
#include "core/cli/modems.h"
#include "core/model/modem.h"
#include "discovery/record/modem_record.h"
#include "discovery/usb/ports.h"
#include "discovery/usb/usb_ids.h"
#include "platform/debug.h"
#include "platform/tell_person.h"

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

// Why nothing is printed.
void tell_what_is_missing(const char *bus)
{
    uint32_t vid = 0;
    uint32_t pid = 0;
    Text<512> directory;
    int visits = 0;
    if (read_usb_ids(bus, vid, pid) == 0)
        tell_person("the modem on bus %s has no ports: is a driver loaded?", bus);
    else if (find_sysfs_dir(platform_devices, bus, directory, visits) < 0 && visits > 1)
        tell_person("looked through %d folders of sysfs without finding bus %s", visits, bus);
    else
        tell_person("no modem on bus %s; %s", bus, modems_sentence().c_str());
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

    ModemDriver rec{};
    const Command *command = find_command(line.command);
    const CommandRun run{.rec = rec, .bus = line.bus, .arguments = line.arguments};
    if (command == nullptr)
        tell_person("unknown command \"%s\"; see modemctl --help", line.command);
    else if (command->is_alone)
        return run_command(command, run);

    const Json info{json_object_new_object()};
    detect_modem(rec, info.get(), line.bus);
    if (rec.modem_id < 0) {
        if (person_watches())
            tell_what_is_missing(line.bus);
        return 0;
    }
    if (debug_is_on())
        printf("%s\n", json_pretty(info.get()));
    set_current_modem_id(rec.modem_id);
    return run_command(command, run);
}
