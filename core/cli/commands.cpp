#include "core/cli/commands.h"

#include <cstddef>
#include <cstdio>
#include <cstring>

#include "apn/carrier.h"
#include "at/at_command.h"
#include "core/cli/apn_command.h"
#include "core/cli/connect_commands.h"
#include "core/cli/fleet_commands.h"
#include "core/cli/history_command.h"
#include "core/cli/info_command.h"
#include "core/cli/modems.h"
#include "core/cli/radio_commands.h"
#include "core/cli/record_command.h"
#include "core/cli/rpcd_command.h"
#include "core/cli/watch_command.h"
#include "core/model/modem.h"
#include "discovery/record/summary.h"
#include "discovery/usb/ports.h"
#include "platform/files.h"
#include "sms/message.h"
#include "sms/ucs2.h"
#include "status/signal_cache.h"
#include "wifi/interference.h"

namespace {

constexpr int exit_wrong_usage = 255;

int print_not_supported()
{
    puts("Not support");
    return 0;
}

int run_at(const CommandRun &run)
{
    // With CR LF and the terminating zero these are 256 bytes, which every modem accepts.
    constexpr size_t longest_command = 253;
    if (run.arguments.empty()) {
        puts("\nUsage:<modemctl> <AT> [device] <command>");
        return exit_wrong_usage;
    }
    Text<64> device;
    const char *command = "";
    if (run.arguments.size() == 1) {
        at_port_path(run.rec.bus.c_str(), run.rec.control_port, device);
        command = run.arguments[0];
    } else if (run.arguments.size() == 2) {
        device.assign(run.arguments[0]);
        command = run.arguments[1];
    }
    Text<4096> reply;
    if (at_command(device.c_str(), AtCommand{command, longest_command}, reply) == 0)
        printf("\n%s", reply.c_str());
    return 0;
}

int run_sim_status(const CommandRun &run)
{
    Text<64> state;
    puts(sim_state_text(run.rec, state) == 0 ? "READY" : state.c_str());
    return 0;
}

int run_signal(const CommandRun &run)
{
    Json signals{json_object_new_array()};
    int32_t strength = -1;
    Text<4> mode = "0G";
    char &generation = *mode.data();
    if (run.rec.ops.get_signal != nullptr) {
        generation = static_cast<char>(generation + run.rec.ops.get_signal(run.rec, signals.get(), strength));
    } else {
        generation = static_cast<char>(generation + signal_details(run.rec.bus.c_str(), signals.get(), strength));
        if (generation <= '0')
            return print_not_supported();
    }
    const Json report{json_object_new_object()};
    kjson_add_object(report.get(), "signals", std::move(signals));
    kjson_add_int(report.get(), "strength", strength);
    kjson_add_string(report.get(), "mode", mode.view());
    puts(json_pretty(report.get()));
    return 0;
}

int run_cells(const CommandRun &run)
{
    const Json cells{json_object_new_array()};
    run.rec.ops.get_cells(run.rec, cells.get());
    puts(json_pretty(cells.get()));
    return 0;
}

int run_iccid(const CommandRun &run)
{
    Text<21> iccid;
    run.rec.ops.get_iccid(run.rec, iccid); // its digits are printed even if there are too few
    puts(iccid.c_str());
    return 0;
}

int run_thermal(const CommandRun &run)
{
    // Two spaces: scripts compare the whole text.
    puts(run.rec.ops.set_thermal(run.rec) == 0 ? "thermal setting  success" : "thermal setting failed");
    return 0;
}

int run_carrier(const CommandRun &run)
{
    Text<64> name;
    if (run.rec.ops.get_carrier != nullptr && run.rec.ops.get_carrier(run.rec, name) == 0)
        puts(name.c_str());
    if (!name.empty())
        return 0;
    const Json info{json_object_new_object()};
    if (add_carrier(info.get(), run.rec) != 0)
        return 0;
    if (const char *carrier = kjson_get_string(info.get(), "carrier"); carrier != nullptr)
        puts(carrier);
    return 0;
}

int run_check_register(const CommandRun &run)
{
    printf("check_register=%d\n", run.rec.ops.check_register(run.rec));
    return 0;
}

int run_get_mode(const CommandRun &run)
{
    Text<5> mode;
    run.rec.ops.get_mode(run.rec, mode);
    printf("get_mode: %s\n", mode.c_str());
    return 0;
}

int run_summary(const CommandRun &run)
{
    const Json summary{json_object_new_object()};
    add_summary(summary.get(), run.bus);
    puts(json_pretty(summary.get()));
    return 0;
}

// A UCS-2 message body in a file, as UTF-8.
int run_convert(const CommandRun &run)
{
    constexpr size_t most_bytes = 2048;
    if (run.arguments.size() < 2)
        return print_command_usage();
    const char *path = run.arguments[0];
    Text<most_bytes + 1> body;
    const int count = read_file(path, most_bytes, body);
    // An unreadable file prints an empty line, like an empty file: scripts always read one line.
    if (count < 0)
        fprintf(stderr, "%s: cannot be read\n", path);
    const std::span<const char> bytes{body.c_str(), count < 0 ? 0 : static_cast<size_t>(count)};
    puts(convert_ucs2(bytes, text_to_int(run.arguments[1])).c_str());
    return 0;
}

int run_wifi_lte_interference(const CommandRun &)
{
    LteBands bands;
    if (check_interference(bands) == 0)
        avoid_interference(bands);
    return 0;
}

int print_help(const CommandRun &);

int print_version(const CommandRun &)
{
    puts("modemctl " MODEMCTL_VERSION);
    return 0;
}

constexpr auto cells = offsetof(ModemOps, get_cells);
constexpr auto registration = offsetof(ModemOps, check_register);
constexpr auto mode = offsetof(ModemOps, get_mode);
constexpr auto iccid = offsetof(ModemOps, get_iccid);
constexpr auto thermal = offsetof(ModemOps, set_thermal);

// Every operation is a pointer to a function, so one reader will do for slots of all types.
bool is_empty(const ModemOps &operations, size_t slot)
{
    void (*operation)() = nullptr;
    memcpy(&operation, reinterpret_cast<const char *>(&operations) + slot, sizeof operation);
    return operation == nullptr;
}

// clang-format off
constexpr Command commands[] = {
    {"connect",               run_connect,               "{serial|qmi} DEVICE SERVICE [APN]: go online"},
    {"connect-auto",          run_connect_auto,          "go online, the APN found by the SIM card"},
    {"new-connect-auto",      run_new_connect_auto,      "go online with the settings in UCI"},
    {"disconnect",            run_disconnect,            "take down the interface \"modem\""},
    {"sim-status",            run_sim_status,            "is the SIM usable, the modem registered?"},
    {"AT",                    run_at,                    "[DEVICE] COMMAND: print the modem's reply"},
    {"signal",                run_signal,                "signal values as JSON"},
    {"cells",                 run_cells,                 "serving and neighbour cells as JSON",      cells},
    {"carrier",               run_carrier,               "name of the operator"},
    {"check_register",        run_check_register,        "0 when registered with a network",         registration},
    {"get_mode",              run_get_mode,              "4G, 3G or 2G",                             mode},
    {"iccid",                 run_iccid,                 "number of the SIM card",                   iccid},
    {"thermal",               run_thermal,               "write the thermal limits into the modem",  thermal},
    {"test",                  run_summary,               "summary of the modem's state as JSON"},
    {"convert",               run_convert,               "FILE N: N characters of UCS-2 as UTF-8"},
    {"wifi_lte_interference", run_wifi_lte_interference, "move Wi-Fi away from the LTE band in use"},
    {"info",                  run_info,                  "[--json] [--all]: all about the modem",    no_slot, true},
    {"apn",                   run_apn,                   "[--json|--connect]: APNs of the SIM card",    no_slot, true},
    {"bands",                 run_bands,                 "[--set B3,n78|auto | --restore] [--keep]",  no_slot, true},
    {"mode",                  run_mode,                  "[auto|4g|5g|4g+5g|3g|2g | --restore]",     no_slot, true},
    {"record",                run_record,                "FILE: what the modem says, for a report",  no_slot, true},
    {"watch",                 run_watch,                 "[status|pause 30m|resume]: keep online",    no_slot, true},
    {"history",               run_history,               "[--json] [--since 2h]: what watch saw",    no_slot, true},
    {"usage",                 run_usage,                 "[--json]: data used, by SIM and month",    no_slot, true},
    {"metrics",               run_metrics,               "all modems' values, for Prometheus",       no_slot, true},
    {"openwisp",              run_openwisp,              "the modem as OpenWISP's \"mobile\"",       no_slot, true},
    {"rpcd",                  run_rpcd,                  "list | call METHOD: the ubus object",       no_slot, true},
    {"modems",                run_modems,                "[--json]: buses with a modem",             no_slot, true},
    {"help",                  print_help,                "this list, also --help and -h",            no_slot, true},
    {"--version",             print_version,             "version of this program",                  no_slot, true},
};
// clang-format on

int print_help(const CommandRun &)
{
    puts("Usage: modemctl [-D] [-B] [BUS] COMMAND [ARGUMENT...]\n"
         "BUS is the modem's USB port, 1-1.2 if not given; -D prints what happens.");
    for (const Command &command : commands)
        printf("  %-21s  %s\n", command.word.c_str(), command.help.c_str());
    return 0;
}

} // namespace

int print_command_usage()
{
    puts("\nUsage:<modemctl> <command> [option]");
    return 0;
}

int run_command(const Command *command, const CommandRun &run)
{
    if (command == nullptr)
        return print_command_usage();
    if (command->slot != no_slot && is_empty(run.rec.ops, command->slot))
        return print_not_supported();
    return command->run(run);
}

const Command *find_command(const char *word)
{
    if (strcmp(word, "--help") == 0 || strcmp(word, "-h") == 0)
        word = "help";
    for (const Command &command : commands)
        if (command.word == word)
            return &command;
    return nullptr;
}
