#include "core/cli/front_end.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "at/at_command.h"
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

// Every user can read the words of a running program, and a command to the modem may hold a PIN or a password. So the
// words are copied and wiped.
class HiddenWords {
  public:
    std::span<char *const> take(std::span<char *const> words)
    {
        for (size_t i = 0; i < words.size(); i++) {
            if (i < copies_.size())
                copies_[i].assign(words[i]);
            memset(words[i], 0, strlen(words[i]));
        }
        return {pointers_.data(), std::min(words.size(), pointers_.size())};
    }

  private:
    // The command AT takes two words; of more it only counts that there are more.
    std::array<Text<AtCommand::max_length>, 3> copies_;
    std::array<char *, 3> pointers_ = {copies_[0].data(), copies_[1].data(), copies_[2].data()};
};

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
    CommandLine line = parse_command_line(words);
    if (line.command == nullptr) {
        print_usage();
        return 0;
    }
    HiddenWords hidden;
    if (strcmp(line.command, "AT") == 0)
        line.arguments = hidden.take(line.arguments);
    set_debug(line.debug);

    ModemDriver rec{};
    const Command *command = find_command(line.command);
    const CommandRun run{.rec = rec, .bus = line.bus, .arguments = line.arguments};
    if (command == nullptr)
        tell_person("unknown command \"%s\"; see modemctl --help", line.command);
    else if (command->is_alone)
        return run_command(command, run);

    const Json info{json_object_new_object()};
    detect_modem(rec, info.get(), line.bus, line.debug ? RecordForm::basic : RecordForm::ports);
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
