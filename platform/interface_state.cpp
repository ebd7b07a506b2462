#include "platform/interface_state.h"

#include <cstring>
#include <syslog.h>

#include "platform/text.h"
#include "platform/ubus.h"

namespace {

UbusResult call(const char *object, const char *method, int timeout_s)
{
    UbusResult result = ubus_call(object, method, timeout_s * 1000);
    if (result.step == UbusStep::lookup)
        syslog(LOG_DEBUG, "lookup network.interface failed\n");
    else if (result.step == UbusStep::invoke)
        syslog(LOG_DEBUG, "meth network.interface failed\n");
    return result;
}

} // namespace

InterfaceState parse_interface_state(json_object *status)
{
    if (kjson_get_boolean(status, "pending"))
        return interface_is_pending;
    return kjson_get_boolean(status, "up") ? interface_is_up : interface_is_down;
}

bool is_companion(json_object *status, std::string_view device)
{
    const char *own = kjson_get_string(status, "l3_device");
    return kjson_get_boolean(status, "dynamic") || (own != nullptr && device == own);
}

Json interface_status(const char *iface, int timeout_s)
{
    if (strlen(iface) > longest_interface_name)
        return nullptr;
    return call(Text<64>::format("network.interface.%s", iface).c_str(), "status", timeout_s).reply;
}

InterfaceState interface_state(const char *iface, int timeout_s)
{
    return parse_interface_state(interface_status(iface, timeout_s).get());
}

int reload_network(int timeout_s)
{
    return call("network", "reload", timeout_s).code;
}
