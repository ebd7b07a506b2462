#include "status/interface_report.h"

#include <cstring>

#include "platform/shell.h"
#include "status/shell_lines.h"
#include "status/traffic.h"

namespace {

Json read_ifstatus(const char *iface)
{
    const HeapText text = getShellCommandReturnDynamic(compose_ifstatus(iface));
    if (text == nullptr || strstr(text.get(), "not found") != nullptr)
        return nullptr;
    Json status{json_tokener_parse(text.get())};
    return json_object_is_type(status.get(), json_type_object) ? std::move(status) : nullptr;
}

InterfaceState report_state(json_object *result, json_object *status)
{
    const InterfaceState state = parse_interface_state(status);
    if (state == interface_is_pending) {
        kjson_add_string(result, "up", "connecting");
        return state;
    }
    kjson_add_string(result, "up", state == interface_is_up ? "on" : "off");
    if (const char *device = kjson_get_string(status, "l3_device"); device != nullptr)
        add_traffic(result, device);
    return state;
}

// @return true if status contains an IPv4 address
bool add_address(json_object *result, json_object *status)
{
    json_object *addresses = kjson_get_object(status, "ipv4-address");
    if (!json_object_is_type(addresses, json_type_array) || json_object_array_length(addresses) == 0)
        return false;
    if (const char *address = kjson_get_string(json_object_array_get_idx(addresses, 0), "address"); address != nullptr)
        kjson_add_string(result, "ip_addr", address);
    return true;
}

} // namespace

InterfaceState report_interface(json_object *result, const char *iface)
{
    const Json status = read_ifstatus(iface);
    return status == nullptr ? interface_is_down : report_state(result, status.get());
}

InterfaceState report_interface_with_address(json_object *result, const char *iface, int timeout_s)
{
    Json status = read_ifstatus(iface);
    if (status == nullptr)
        return interface_is_down;
    const InterfaceState state = report_state(result, status.get());
    if (state == interface_is_pending || add_address(result, status.get()))
        return state;
    status = interface_status(Text<64>::format("%s_4", iface).c_str(), timeout_s);
    if (status == nullptr)
        return interface_is_down;
    add_address(result, status.get());
    return state;
}
