#include "api/connection.h"

#include <cstring>

#include "api/modem_api.h"
#include "api/request.h"
#include "api/shell_lines.h"
#include "connection/connect.h"
#include "connection/interface_control.h"
#include "connection/setting_options.h"
#include "connection/shell_lines.h"
#include "core/model/modem.h"
#include "core/model/state_dir.h"
#include "discovery/usb/ports.h"
#include "platform/boards.h"
#include "platform/interface_state.h"
#include "platform/shell.h"
#include "platform/uci.h"

namespace {

constexpr int down_polls = 2;
constexpr int reload_timeout_s = 5;

// A node outlives a change of the device's number, so the device that is there now counts; without one, none does.
void find_data_device(const Uci &uci, const char *section, Text<64> &device)
{
    const auto node = uci.text<50>(Text<64>::format("network.%s.node", section).c_str());
    if (node.empty())
        return;
    device.clear();
    interface_port_path(node.c_str(), TextOut{device.data(), 50});
}

bool is_at_port(const ModemDriver &rec, const char *device)
{
    Text<20> port;
    return at_port_path(rec.bus.c_str(), rec.control_port, port) > 0 && port == device;
}

ConnectSettings requested_settings(const Request &request)
{
    ConnectSettings settings;
    for (const SettingOption &setting : setting_options)
        settings.*setting.member = request.text(setting.request);
    return settings;
}

int connect_serially(const ModemDriver &rec, const ConnectSettings &settings)
{
    const int result = serial_connect(rec, settings);
    if (this_board().has_slow_led)
        execCommand(reload_led_later);
    return result;
}

int32_t connect(const ModemDriver &rec, const char *proto, const ConnectSettings &settings)
{
    int result = 0;
    if (strcmp(proto, "qcm") == 0)
        result = qcm_connect(rec, settings);
    else if (strstr(settings.device, "cdc-wdm") != nullptr)
        result = qmi_connect(rec, settings);
    else if (strstr(settings.device, "ttyUSB") != nullptr || strstr(settings.device, "ttyACM") != nullptr)
        result = connect_serially(rec, settings);
    else
        return modem_api_bad_data_device;
    return result == -1 ? int32_t{modem_api_connect_failed} : result;
}

} // namespace

int32_t modem_auto(Request &request, json_object *)
{
    if (this_board().has_shortcuts)
        execCommand(stop_shortcuts);
    fork_exec2(compose_auto_connect(request.bus.c_str()));
    return modem_api_success;
}

int32_t modem_get(Request &request, json_object *response)
{
    const char *bus = request.text_or("bus", "");
    const Uci uci = kuci2_init();
    const auto section = interface_of_bus(*bus == '\0' ? default_bus : bus);
    Json config{json_object_new_object()};
    for (const SettingOption &setting : setting_options) {
        Text<64> value = read_setting(uci, section.c_str(), setting, 50);
        if (setting.member == &ConnectSettings::device)
            find_data_device(uci, section.c_str(), value);
        kjson_add_string(config.get(), setting.report, value.c_str());
    }
    if (uci.text<10>(Text<64>::format("network.%s.proto", section.c_str()).c_str()) == "qcm")
        kjson_add_string(config.get(), "proto", "qcm");
    if (const auto ttl = uci.text<10>(Text<64>::format("cellconf.%s.ttl", section.c_str()).c_str()); !ttl.empty())
        kjson_add_int(config.get(), "ttl", text_to_int(ttl.c_str()));
    kjson_add_object(response, "config", std::move(config));
    return modem_api_success;
}

int32_t modem_set(Request &request, json_object *)
{
    ModemDriver rec = *request.model; // the table's entry keeps its own bus and TTL
    driver_bind_bus(rec, request.bus.c_str());
    const ConnectSettings settings = requested_settings(request);
    if (kjson_contain_key(request.json, "ttl") != 0)
        rec.ttl = static_cast<uint8_t>(kjson_get_int(request.json, "ttl"));
    if ((rec.flags2 & at_port_carries_data) == 0 && is_at_port(rec, settings.device))
        return modem_api_at_port_as_device;
    return connect(rec, request.text_or("proto", "auto"), settings);
}

int32_t modem_enable(Request &request, json_object *)
{
    const auto section = interface_of_bus(request.bus.c_str());
    remove_state(request.bus.c_str(), "fail_count");
    const Uci uci = kuci2_init();
    if (kjson_get_boolean(request.json, "disable")) {
        iface_down(down_polls, section.c_str());
        kuci2_set_name(uci, "network", section.c_str(), "disabled", "1");
        execCommand(compose_kill_tracker(section.c_str()));
    } else {
        kuci2_set_name(uci, "network", section.c_str(), "disabled", "0");
    }
    kuci2_commit(uci, "network");
    execCommand(kill_qmi_clients);
    execCommand(kill_other_instances);
    if (this_board().has_shortcuts)
        execCommand(stop_shortcuts);
    reload_network(reload_timeout_s);
    return modem_api_success;
}
