#include "core/cli/connect_commands.h"

#include <cstdio>
#include <cstring>
#include <syslog.h>

#include "apn/candidates.h"
#include "apn/database.h"
#include "connection/connect.h"
#include "connection/setting_options.h"
#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "discovery/usb/port_holder.h"
#include "discovery/usb/ports.h"
#include "platform/debug.h"
#include "platform/shell.h"
#include "platform/tell_person.h"
#include "platform/uci.h"

namespace {

constexpr int exit_no_database = 255;
constexpr int sim_wants_pin = -2;

// Two managers of one modem undo each other's work, which looks like a fault of the modem. The user decides which one
// it is to be.
void name_other_manager(const ModemDriver &rec)
{
    const Json ports{json_object_new_array()};
    bus_own_ports(rec.bus.c_str(), ports.get());
    const auto manager = other_manager_of(ports.get());
    if (manager.empty())
        return;
    syslog(LOG_WARNING, "%s holds the modem on bus %s too: stop it, or tell it to leave this modem alone",
           manager.c_str(), rec.bus.c_str());
    tell_person("%s holds the modem on bus %s too: stop it, or tell it to leave this modem alone", manager.c_str(),
                rec.bus.c_str());
}

int report_connect(int result)
{
    if (result == 0)
        puts("\nconnect success");
    return 0;
}

// Asks the modem once more, so only if a person reads the answer.
void tell_why_offline(const ModemDriver &rec)
{
    Text<8> state = "READY";
    const bool is_locked = sim_state_text(rec, state) == sim_wants_pin;
    tell_person("not connected: %s", is_locked ? "the SIM card needs its PIN, see option pincode" : state.c_str());
}

} // namespace

int run_connect(const CommandRun &run)
{
    if (run.arguments.size() < 3) {
        puts("\nUsage:<modemctl> <connect> <serial/qmi> <device> <server> <apn>");
        return 0;
    }
    name_other_manager(run.rec);
    const ConnectSettings settings = {
        .device = run.arguments[1],
        .service = run.arguments[2],
        .apn = run.arguments.size() > 3 ? run.arguments[3] : nullptr,
    };
    if (strcmp(run.arguments[0], "serial") == 0)
        return report_connect(serial_connect(run.rec, settings));
    if (strcmp(run.arguments[0], "qmi") == 0)
        return report_connect(qmi_connect(run.rec, settings));
    return 0;
}

int run_connect_auto(const CommandRun &run)
{
    if (load_apn_database(apn_database_file) != 0) {
        debug_print("parse file failed\n");
        tell_person("no APN database: %s cannot be read", apn_database_file);
        release_apn_database();
        return exit_no_database;
    }
    name_other_manager(run.rec);
    Json candidates{json_object_new_array()};
    const bool is_selected = select_apn_candidates(run.rec, candidates.get()) == 0;
    const int result = connect_with_candidates(run.rec, is_selected ? candidates.get() : nullptr);
    candidates.reset();
    release_apn_database();
    if (result != 0 && person_watches())
        tell_why_offline(run.rec);
    return report_connect(result);
}

int run_new_connect_auto(const CommandRun &run)
{
    const Uci uci = kuci2_init();
    name_other_manager(run.rec);
    Text<20> iface;
    getShellCommandReturnLine(find_configured_interface, iface);
    std::array<Text<64>, setting_options.size()> texts;
    ConnectSettings settings;
    // An option that is not set is passed on as an empty text, which differs from an absent one.
    for (size_t i = 0; i < texts.size(); i++) {
        texts[i] = read_setting(uci, iface.c_str(), setting_options[i], setting_options[i].capacity);
        settings.*setting_options[i].member = texts[i].c_str();
    }
    if ((run.rec.proto_flags & proto_dhcp) != 0)
        return report_connect(serial_connect(run.rec, settings));
    if (strstr(settings.device, "cdc-wdm") != nullptr)
        return report_connect(qmi_connect(run.rec, settings));
    if (strstr(settings.device, "ttyUSB") != nullptr || strstr(settings.device, "ttyACM") != nullptr)
        return report_connect(serial_connect(run.rec, settings));
    tell_person("the network configuration has no modem interface with a device");
    return 0;
}

int run_disconnect(const CommandRun &)
{
    if (modem_disconnect() == 0)
        puts("\nmodem disconnect");
    return 0;
}
