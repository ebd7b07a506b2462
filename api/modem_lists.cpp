#include "api/modem_lists.h"

#include <algorithm>

#include "api/modem_api.h"
#include "api/shell_lines.h"
#include "core/model/modem.h"
#include "discovery/record/modem_record.h"
#include "platform/boards.h"
#include "platform/shell.h"
#include "platform/text.h"
#include "wifi/interference.h"

namespace {

// The modem at each place; modem_id -1 if there is none.
using ModemsAtPlaces = std::array<ModemDriver, modem_places>;

// Appends a record of each modem that is present to modems. @return how many there are
int list_modems(const ModemBuses &buses, RecordForm form, json_object *modems, ModemsAtPlaces &found)
{
    int count = 0;
    for (size_t place = 0; place < buses.size(); place++) {
        found[place] = {};
        found[place].modem_id = -1;
        if (buses[place].empty())
            continue;
        Json record{json_object_new_object()};
        detect_modem(found[place], record.get(), buses[place].c_str(), form);
        if (found[place].modem_id < 0)
            continue;
        kjson_array_add(modems, std::move(record));
        count++;
    }
    return count;
}

int32_t report_list(json_object *response, RecordForm form)
{
    Json modems{json_object_new_array()};
    ModemsAtPlaces found;
    if (list_modems(read_modem_buses(kuci2_init()), form, modems.get(), found) == 0)
        return modem_api_no_modem;
    kjson_add_object(response, "modems", std::move(modems));
    return modem_api_success;
}

// The subnet, if the LAN bridge has the gateway's address.
std::string_view pick_subnet(const Text<24> &subnet, const Text<24> &gateway)
{
    Text<128> line;
    getShellCommandReturn(compose_find_gateway(gateway.c_str()), line);
    return line.empty() ? std::string_view{} : subnet.view();
}

void add_pass_through(json_object *response, const Uci &uci)
{
    const bool is_on = is_passing_through(uci.text<24>("devconf.passthrough.enable").view(),
                                          uci.text<24>("devconf.passthrough.running").view());
    kjson_add_boolean(response, "passthrough", is_on);
    if (!is_on)
        return;
    const auto gateway = uci.text<24>("devconf.passthrough.gateway");
    const auto subnet = uci.text<24>("devconf.passthrough.subnet");
    kjson_add_string(response, "gateway", gateway.c_str());
    kjson_add_string(response, "netmask", uci.text<24>("devconf.passthrough.netmask").c_str());
    kjson_add_string(response, "subnet", pick_subnet(subnet, gateway));
    Json dns = pick_pass_dns(uci.text<64>("devconf.passthrough.dns").view());
    kjson_add_object(response, "pass_dns", dns == nullptr ? json_text("") : std::move(dns));
}

bool is_disabled(const Uci &uci, const char *bus)
{
    return uci.is_on(Text<64>::format("network.%s.disabled", interface_of_bus(bus).c_str()).c_str());
}

int32_t pick_hint(const ModemsAtPlaces &found, int count, const Uci &uci)
{
    LteBands bands = {};
    std::array<bool, modem_places> disabled = {};
    for (size_t place = 0; place < found.size(); place++) {
        const ModemDriver &rec = found[place];
        if (rec.modem_id < 0)
            continue;
        bands[place] = read_lte_band(rec.bus.c_str(), rec.control_port, static_cast<int>(place));
        disabled[place] = is_disabled(uci, rec.bus.c_str());
    }
    return are_all_off(count, disabled) ? 0 : wifi_channel_hint(bands);
}

} // namespace

bool is_passing_through(std::string_view enable, std::string_view running)
{
    return enable == "1" && !running.empty() && running != "eth1" && running != "pppoe-wan";
}

Json pick_pass_dns(std::string_view list)
{
    if (list.empty())
        return nullptr;
    Json servers{json_object_new_array()};
    bool is_first = true;
    while (!list.empty()) {
        const std::string_view server = first_characters(list, list.find(','));
        list = without_first(list, server.size() + 1);
        if (server.empty())
            continue;
        if (!is_first)
            kjson_array_add_string(servers.get(), server);
        is_first = false;
    }
    return servers;
}

bool are_all_off(int count, const std::array<bool, modem_places> &is_disabled)
{
    return std::ranges::all_of(is_disabled.begin(), is_disabled.begin() + count,
                               [](bool disabled) { return disabled; });
}

int32_t modem_info(Request &, json_object *response)
{
    if (this_board().lists_no_modems)
        return modem_api_not_supported;
    const Uci uci = kuci2_init();
    add_pass_through(response, uci);
    Json modems{json_object_new_array()};
    ModemsAtPlaces found;
    const int count = list_modems(read_modem_buses(uci), RecordForm::full, modems.get(), found);
    if (count == 0)
        return modem_api_no_modem;
    kjson_add_int(response, "hint_modify_wifi_channel", pick_hint(found, count, uci));
    kjson_add_object(response, "modems", std::move(modems));
    return modem_api_success;
}

int32_t modem_brief_info(Request &, json_object *response)
{
    return report_list(response, RecordForm::brief);
}

int32_t modem_app_brief_info(Request &, json_object *response)
{
    return report_list(response, RecordForm::app_brief);
}
