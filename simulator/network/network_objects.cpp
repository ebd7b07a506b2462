#include <memory>
#include <set>

#include <libubus.h>

#include "simulator/network/network_daemon.h"
#include "simulator/network/ubus_server.h"

namespace simulator {

namespace {

const std::string prefix = "network.interface.";

UbusReply reply_of(Json data)
{
    if (!data)
        return {UBUS_STATUS_NOT_FOUND};
    return {UBUS_STATUS_OK, std::move(data)};
}

UbusReply call_interface(NetworkDaemon &daemon, const std::string &name, const std::string &method)
{
    if (method == "up")
        return {daemon.up(name)};
    if (method == "down")
        return {daemon.down(name)};
    if (method == "remove")
        return {daemon.remove(name)};
    if (method == "renew")
        return {daemon.renew(name)};
    if (method == "restart")
        return {daemon.restart(name)};
    if (method == "dump")
        return {UBUS_STATUS_OK, daemon.dump()};
    return reply_of(daemon.status(name));
}

/// What a handler says; only the notice that its device is there, or is not, comes from scripts of hotplug events too.
UbusReply notify(NetworkDaemon &daemon, const std::string &name, json_object *arguments)
{
    constexpr int set_available = 5;
    json_object *available = json_object_object_get(arguments, "available");
    if (json_object_get_int(json_object_object_get(arguments, "action")) != set_available || available == nullptr)
        return {UBUS_STATUS_INVALID_ARGUMENT};
    return {daemon.set_available(name, json_object_get_boolean(available) != 0)};
}

UbusReply call_interfaces(NetworkDaemon &daemon, const std::string &method, json_object *arguments)
{
    if (method == "dump")
        return {UBUS_STATUS_OK, daemon.dump()};
    json_object *name = json_object_object_get(arguments, "interface");
    if (!json_object_is_type(name, json_type_string))
        return {UBUS_STATUS_INVALID_ARGUMENT};
    if (method == "notify_proto")
        return notify(daemon, json_object_get_string(name), arguments);
    return call_interface(daemon, json_object_get_string(name), method);
}

UbusReply call_network(NetworkDaemon &daemon, const std::string &method, json_object *arguments)
{
    if (method == "reload")
        return {daemon.reload()};
    if (method == "restart")
        return {daemon.restart()};
    return {daemon.add_dynamic(arguments)};
}

/// Objects of interfaces that stay are left alone, so that they keep their ids.
void update_objects(UbusServer &server, NetworkDaemon &daemon, std::set<std::string> &known)
{
    const auto names = daemon.interface_names();
    const std::set<std::string> wanted(names.begin(), names.end());
    for (const std::string &name : known)
        if (wanted.count(name) == 0)
            server.remove_object(prefix + name);
    for (const std::string &name : wanted)
        if (known.count(name) == 0)
            server.add_object(prefix + name,
                              {{"up"}, {"down"}, {"renew"}, {"restart"}, {"status"}, {"dump"}, {"remove"}},
                              [&daemon, name](const std::string &method, json_object *) {
                                  return call_interface(daemon, name, method);
                              });
    known = wanted;
}

} // namespace

void register_network_daemon(UbusServer &server, NetworkDaemon &daemon)
{
    server.add_object("network", {{"restart"}, {"reload"}, {"add_dynamic", {{"name", BLOBMSG_TYPE_STRING}}}},
                      [&daemon](const std::string &method, json_object *arguments) {
                          return call_network(daemon, method, arguments);
                      });
    const std::vector<std::pair<std::string, int>> interface {
        {
            "interface", BLOBMSG_TYPE_STRING
        }
    };
    server.add_object("network.interface",
                      {{"up", interface},
                       {"down", interface},
                       {"renew", interface},
                       {"restart", interface},
                       {"status", interface},
                       {"dump"},
                       {"remove", interface},
                       {"notify_proto", interface}},
                      [&daemon](const std::string &method, json_object *arguments) {
                          return call_interfaces(daemon, method, arguments);
                      });
    const auto update = [&server, &daemon, known = std::make_shared<std::set<std::string>>()] {
        update_objects(server, daemon, *known);
    };
    update();
    daemon.set_interfaces_changed(update);
}

} // namespace simulator
