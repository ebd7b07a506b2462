#include "api/restart.h"

#include <syslog.h>
#include <unistd.h>

#include "api/modem_api.h"
#include "api/request.h"
#include "api/shell_lines.h"
#include "connection/power.h"
#include "core/model/modem.h"
#include "discovery/usb/ports.h"
#include "drivers/common.h"
#include "platform/board.h"
#include "platform/shell.h"
#include "platform/uci.h"

namespace {

constexpr unsigned int boot_time_s = 20; // until a modem that restarts shows its ports again
constexpr int port_lookups = 30;

struct RestartRow {
    int32_t first_id;
    int32_t last_id;
    RestartCommands commands;
};
// clang-format off
constexpr RestartRow restart_rows[] = {
    {0,  3,  {"AT+QPOWD",  "AT+QPOWD"}},
    {5,  5,  {"AT!RESET",  "AT!RESET"}},
    {6,  6,  {"AT+QPOWD",  nullptr}},
    {20, 20, {"AT+CRESET", "AT+CRESET"}},
    {30, 30, {"AT+ZRST",   "AT+ZRST"}},
};
// clang-format on

void send_restart(const ModemDriver &entry, const BusName &bus, const char *command)
{
    Text<20> port;
    if (at_port_path(bus.c_str(), entry.control_port, port) <= 0 || at_expect_ok(port.c_str(), command) != 0)
        syslog(LOG_DEBUG, "reset failed\n");
    syslog(LOG_DEBUG, "reset success\n");
}

bool wait_for_ports(const BusName &bus)
{
    Text<30> port;
    for (int lookup = 0; lookup < port_lookups; lookup++)
        if (at_port_path(bus.c_str(), 0, port) > 0)
            return true;
    return false;
}

void switch_holder(bool to_second)
{
    constexpr int sim_gpio = 1;
    const auto value_file = Text<64>::format("/sys/class/gpio/gpio%d/value", sim_gpio);
    if (!cmm_check_file_is_exist(value_file.c_str())) {
        execCommand(export_sim_gpio);
        execCommand(direct_sim_gpio);
    }
    const Uci uci = kuci2_init();
    kuci2_set(uci, "cellconf.sim.sim_num", to_second ? "2" : "1");
    execCommand(compose_set_sim_gpio(to_second, value_file.c_str()).c_str());
    sleep(1);
    kuci2_commit(uci, "cellconf");
    execCommand(forget_signal);
    execCommand(forget_imsi);
}

} // namespace

RestartCommands pick_restart_commands(int32_t modem_id)
{
    for (const RestartRow &row : restart_rows)
        if (modem_id >= row.first_id && modem_id <= row.last_id)
            return row.commands;
    return {nullptr, nullptr};
}

int32_t reset_modem(json_object *request, json_object *)
{
    static constexpr RequiredMember required[] = {modem_id_required};
    if (const int32_t status = check_request(request, required); status != modem_api_success)
        return status;
    const auto bus = requested_bus(request);
    if (!bus)
        return modem_api_parameter_missing;
    const ModemDriver *entry = requested_model(request);
    if (entry == nullptr)
        return modem_api_no_modem;
    Text<16> ident;
    bus_to_ident(bus->c_str(), ident);

    execCommand(refresh_carrier_settings);
    execCommand(compose_interface_down(ident.c_str()).c_str());
    execCommand(compose_forget_modem(bus->c_str()).c_str());
    const RestartCommands commands = pick_restart_commands(entry->modem_id);
    if (!kjson_get_boolean(request, "disable"))
        power_cycle_modem(bus->c_str());
    else if (commands.reset != nullptr)
        send_restart(*entry, *bus, commands.reset);
    sleep(boot_time_s);
    execCommand(check_carrier_later);
    if (!wait_for_ports(*bus))
        return modem_api_no_modem;
    fork_exec2(start_sms_daemon_later);
    execCommand(compose_interface_start(ident.c_str()).c_str());
    sleep(1);
    return modem_api_success;
}

int32_t switch_sim(json_object *request, json_object *)
{
    using enum RequiredMember::Kind;
    static constexpr RequiredMember required[] = {
        {"bus", bus, modem_api_bad_sim_request}, {"sim_num", text, modem_api_bad_sim_request}, modem_id_required};
    if (const int32_t status = check_request(request, required); status != modem_api_success)
        return status;
    const BusName bus_name{std::string_view{kjson_get_string(request, "bus")}}; // an empty one has a meaning here
    switch_holder(std::string_view{kjson_get_string(request, "sim_num")} == "2");
    const ModemDriver *entry = requested_model(request);
    if (entry == nullptr)
        return modem_api_no_modem;
    const RestartCommands commands = pick_restart_commands(entry->modem_id);
    if (commands.sim_switch != nullptr)
        send_restart(*entry, bus_name, commands.sim_switch);
    else
        power_cycle_modem(bus_name.c_str());
    sleep(boot_time_s);
    fork_exec2(compose_show_signal_later(bus_name.empty() ? "2-1.2" : bus_name.c_str()).c_str());
    return modem_api_success;
}
