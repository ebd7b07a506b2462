#include "api/restart.h"

#include <syslog.h>
#include <unistd.h>

#include "api/modem_api.h"
#include "api/request.h"
#include "api/shell_lines.h"
#include "connection/power.h"
#include "core/model/modem.h"
#include "core/model/state_dir.h"
#include "discovery/usb/ports.h"
#include "drivers/common.h"
#include "platform/board.h"
#include "platform/shell.h"
#include "platform/uci.h"

namespace {

constexpr unsigned int boot_time_s = 20; // a modem that restarts needs this long to show its ports again
constexpr int port_lookups = 30;
// The modem of the dual-SIM holder is on this bus, whichever bus was asked for.
constexpr char holder_bus[] = "2-1.2";

void send_restart(const ModemDriver &entry, const BusName &bus, const char *command)
{
    Text<20> port;
    if (at_port_path(bus.c_str(), entry.control_port, port) <= 0 || at_expect_ok(port.c_str(), command) != 0)
        syslog(LOG_DEBUG, "reset failed\n");
    // Also after "reset failed": support scripts read this line as the end of the reset, not as its result.
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
    execCommand(compose_set_sim_gpio(to_second, value_file.c_str()));
    sleep(1);
    kuci2_commit(uci, "cellconf");
    run_removal(holder_bus, compose_forget_signal(holder_bus));
    run_removal(holder_bus, compose_forget_imsi(holder_bus));
}

} // namespace

int32_t modem_reset(Request &request, json_object *)
{
    const char *bus = request.bus.c_str();
    const ModemTraits &traits = request.model->traits;
    const auto iface = interface_of_bus(bus);

    execCommand(refresh_carrier_settings);
    execCommand(compose_interface_down(iface.c_str()));
    run_removal(bus, compose_forget_modem(bus));
    if (!kjson_get_boolean(request.json, "disable"))
        power_cycle_modem(bus);
    else if (!traits.restart_command.empty())
        send_restart(*request.model, request.bus, traits.restart_command.c_str());
    sleep(boot_time_s);
    execCommand(check_carrier_later);
    if (!wait_for_ports(request.bus))
        return modem_api_no_modem;
    fork_exec2(start_sms_daemon_later);
    execCommand(compose_interface_start(iface.c_str()));
    sleep(1);
    return modem_api_success;
}

int32_t modem_sim_switch(Request &request, json_object *)
{
    const BusName &bus_name = request.bus; // an empty one has a meaning here
    switch_holder(std::string_view{request.text("sim_num")} == "2");
    // The SIM has been switched already, even if the model is not known.
    if (const Check *missing = find_missing_later(request); missing != nullptr)
        return missing->status;
    const ModemTraits &traits = request.model->traits;
    if (traits.restarts_for_sim)
        send_restart(*request.model, bus_name, traits.restart_command.c_str());
    else
        power_cycle_modem(bus_name.c_str());
    sleep(boot_time_s);
    fork_exec2(compose_show_signal_later(bus_name.empty() ? holder_bus : bus_name.c_str()));
    return modem_api_success;
}
