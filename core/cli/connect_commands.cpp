#include "core/cli/connect_commands.h"

#include <cstdio>
#include <cstring>

#include "apn/candidates.h"
#include "apn/database.h"
#include "connection/connect.h"
#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "platform/debug.h"
#include "platform/shell.h"
#include "platform/tell_person.h"
#include "platform/uci.h"

namespace {

constexpr int exit_no_database = 255;
constexpr int sim_wants_pin = -2;

int report_connect(int result)
{
    if (result == 0)
        puts("\nconnect success");
    return 0;
}

// Asks the modem once more, so only where a person reads the answer.
void tell_why_offline(const ModemDriver &rec)
{
    Text<8> state = "READY";
    const bool is_locked = sim_state_text(rec, state) == sim_wants_pin;
    tell_person("not connected: %s", is_locked ? "the SIM card wants its PIN, see option pincode" : state.c_str());
}

template <size_t N> Text<N> read_option(const Uci &uci, const char *iface, const char *option)
{
    Text<N> value;
    kuci2_get(uci, Text<64>::format("network.%s.%s", iface, option).c_str(), value);
    return value;
}

bool holds(const Text<32> &text, const char *needle)
{
    return strstr(text.c_str(), needle) != nullptr;
}

} // namespace

int run_connect(const CommandRun &run)
{
    if (run.arguments.size() < 3) {
        puts("\nUsage:<modemctl> <connect> <serial/qmi> <device> <server> <apn>");
        return 0;
    }
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
    Text<20> iface;
    getShellCommandReturnLine(find_configured_interface, iface);
    const Uci uci = kuci2_init();
    const auto device = read_option<32>(uci, iface.c_str(), "device");
    const auto service = read_option<32>(uci, iface.c_str(), "service");
    const auto apn = read_option<32>(uci, iface.c_str(), "apn");
    const auto mtu = read_option<32>(uci, iface.c_str(), "mtu");
    Text<32> operator_name;
    kuci2_get(uci, "devconf.modem.operator", operator_name);
    const auto pincode = read_option<32>(uci, iface.c_str(), "pincode");
    const auto dialnumber = read_option<32>(uci, iface.c_str(), "dialnumber");
    const auto username = read_option<64>(uci, iface.c_str(), "username");
    const auto password = read_option<64>(uci, iface.c_str(), "password");
    const auto auth = read_option<32>(uci, iface.c_str(), "auth");
    // What is not set is handed over as an empty text, which is not the same as an absent one.
    const ConnectSettings settings = {
        .device = device.c_str(),
        .service = service.c_str(),
        .apn = apn.c_str(),
        .pincode = pincode.c_str(),
        .dialnumber = dialnumber.c_str(),
        .username = username.c_str(),
        .password = password.c_str(),
        .auth = auth.c_str(),
        .mtu = mtu.c_str(),
        .operator_name = operator_name.c_str(),
    };
    if (holds(device, "cdc-wdm"))
        return report_connect(qmi_connect(run.rec, settings));
    if (holds(device, "ttyUSB") || holds(device, "ttyACM"))
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
