#include "simulator/network/network_daemon.h"

#include <utility>

#include <libubus.h>

#include "simulator/network/network_status.h"

namespace simulator {

namespace {

using Interface = NetworkDaemon::Interface;

/// Options whose change netifd applies without taking the interface down.
constexpr const char *soft_options[] = {"metric", "defaultroute", "peerdns", "dns", "dns_metric", "delegation"};

std::map<std::string, std::vector<std::string>> hard_options(const InterfaceSection &section)
{
    auto options = section.options;
    for (const char *name : soft_options)
        options.erase(name);
    return options;
}

/// No other words disable an interface.
bool is_wanted(const InterfaceSection &section)
{
    const std::string disabled = option_of(section, "disabled");
    return disabled != "1" && disabled != "true";
}

std::string text_of(json_object *value)
{
    const char *text = json_object_get_string(value);
    return text ? text : "";
}

} // namespace

NetworkDaemon::NetworkDaemon(NetworkSurroundings surroundings) : surroundings_(std::move(surroundings)) {}

void NetworkDaemon::set_behaviour(const std::string &name, LinkBehaviour behaviour)
{
    behaviours_[name] = std::move(behaviour);
}

Interface *NetworkDaemon::find(const std::string &name)
{
    const auto found = interfaces_.find(name);
    return found == interfaces_.end() ? nullptr : &found->second;
}

std::vector<std::string> NetworkDaemon::interface_names() const
{
    std::vector<std::string> names;
    for (const auto &[name, interface] : interfaces_)
        names.push_back(name);
    return names;
}

// Configuration

int NetworkDaemon::reload()
{
    advance();
    const auto sections = surroundings_.read_config();
    if (!sections)
        return UBUS_STATUS_NOT_FOUND;
    std::map<std::string, InterfaceSection> wanted;
    for (const InterfaceSection &section : *sections)
        if (is_wanted(section))
            wanted[section.name] = section;
    for (const std::string &name : interface_names())
        if (const Interface *interface = find(name); interface && !interface->dynamic && wanted.count(name) == 0)
            erase(name);
    for (const auto &[name, section] : wanted) {
        if (Interface *interface = find(name))
            change(*interface, section);
        else
            add(section, false);
    }
    check_demands();
    return UBUS_STATUS_OK;
}

int NetworkDaemon::restart()
{
    for (const std::string &name : interface_names())
        erase(name);
    return reload();
}

void NetworkDaemon::add(InterfaceSection section, bool dynamic)
{
    const std::string name = section.name;
    const bool autostart = !option_is_off(section, "auto");
    Interface &interface = interfaces_[name] =
        Interface{.section = std::move(section), .dynamic = dynamic, .autostart = autostart};
    begin(interface);
    if (interfaces_changed_)
        interfaces_changed_();
}

void NetworkDaemon::erase(const std::string &name)
{
    Interface *interface = find(name);
    if (!interface)
        return;
    stop(*interface);
    interfaces_.erase(name);
    if (interfaces_changed_)
        interfaces_changed_();
}

void NetworkDaemon::change(Interface &interface, const InterfaceSection &section)
{
    if (interface.section == section)
        return;
    const bool anew = hard_options(interface.section) != hard_options(section);
    if (option_is_off(interface.section, "auto") != option_is_off(section, "auto"))
        interface.autostart = !option_is_off(section, "auto");
    if (!anew) {
        interface.section = section;
        if (interface.state == State::up)
            tell_device(interface, true);
        return;
    }
    stop(interface); // with the old section, whose device it has
    interface.section = section;
    begin(interface);
}

// States

/// With a new configuration.
void NetworkDaemon::begin(Interface &interface)
{
    interface.available = device_is_there(interface);
    interface.has_port = port_is_there(interface);
    const bool misses_device = interface.autostart && !interface.available;
    interface.set_error(misses_device ? "interface" : "", misses_device ? "NO_DEVICE" : "");
    if (interface.autostart)
        start(interface);
}

std::string NetworkDaemon::l3_device_of(const Interface &interface) const
{
    const InterfaceSection &section = interface.section;
    if (protocol_kind(section) != ProtocolKind::modem)
        return device_of(section);
    if (!interface.link.l3_device.empty())
        return interface.link.l3_device;
    return modem_device_of(section, surroundings_.modem_netdev ? surroundings_.modem_netdev(section) : "");
}

bool NetworkDaemon::device_is_there(const Interface &interface) const
{
    if (protocol_kind(interface.section) == ProtocolKind::modem)
        return true;
    const std::string device = device_of(interface.section);
    return !device.empty() && (!surroundings_.has_device || surroundings_.has_device(device));
}

bool NetworkDaemon::port_is_there(const Interface &interface) const
{
    return !surroundings_.has_device || surroundings_.has_device(device_of(interface.section));
}

void NetworkDaemon::advance()
{
    // By name, since a setup may add an interface.
    for (const std::string &name : interface_names()) {
        Interface *interface = find(name);
        if (interface && interface->setup_ends && *interface->setup_ends <= surroundings_.now())
            finish_setup(*interface);
        if (interface && interface->next_try && *interface->next_try <= surroundings_.now()) {
            interface->next_try.reset();
            begin_setup(*interface);
        }
    }
}

void NetworkDaemon::check_devices()
{
    for (const std::string &name : interface_names())
        if (Interface *interface = find(name))
            check_device(*interface);
}

/// An interface with a modem's protocol has no device of its own in netifd, so netifd goes on calling it up when its
/// network device is gone. For two protocols the package of their handlers has a script of the terminals' events that
/// takes the interface down; pppd would end without it, too.
void NetworkDaemon::check_port(Interface &interface)
{
    const bool there = port_is_there(interface);
    const bool was_there = std::exchange(interface.has_port, there);
    // A handler sees it for itself.
    if (was_there == there || !follows_port(interface.section) || interface.has_handler || interface.next_try)
        return;
    make_available(interface, there);
}

void NetworkDaemon::make_available(Interface &interface, bool available)
{
    if (std::exchange(interface.available, available) == available)
        return;
    if (!available)
        return stop(interface);
    if (!interface.autostart)
        return;
    interface.set_error("", "");
    start(interface);
}

void NetworkDaemon::check_device(Interface &interface)
{
    if (protocol_kind(interface.section) == ProtocolKind::modem)
        return check_port(interface);
    const bool there = device_is_there(interface);
    if (!there && interface.available) {
        if (interface.dynamic && interface.state != State::down)
            return erase(std::string(interface.section.name)); // the name goes with the interface
        stop(interface);
        interface.set_error("interface", "NO_DEVICE");
    } else if (there && !interface.available) {
        interface.set_error("", "");
    }
    interface.available = there;
    const bool carrier = !surroundings_.has_carrier || surroundings_.has_carrier(device_of(interface.section));
    if (protocol_kind(interface.section) == ProtocolKind::none && there && !carrier)
        stop(interface);
    else if (interface.autostart)
        start(interface);
}

// Commands

int NetworkDaemon::up(const std::string &name)
{
    advance();
    Interface *interface = find(name);
    if (!interface)
        return UBUS_STATUS_NOT_FOUND;
    interface->autostart = true;
    if (interface->state == State::down) {
        interface->set_error(interface->available ? "" : "interface", interface->available ? "" : "NO_DEVICE");
        start(*interface);
    }
    check_demands();
    return UBUS_STATUS_OK;
}

int NetworkDaemon::down(const std::string &name)
{
    advance();
    Interface *interface = find(name);
    if (!interface)
        return UBUS_STATUS_NOT_FOUND;
    interface->autostart = false;
    stop(*interface);
    return UBUS_STATUS_OK;
}

int NetworkDaemon::renew(const std::string &name)
{
    advance();
    const Interface *interface = find(name);
    if (!interface)
        return UBUS_STATUS_NOT_FOUND;
    return interface->state == State::down ? UBUS_STATUS_UNKNOWN_ERROR : UBUS_STATUS_OK;
}

int NetworkDaemon::set_available(const std::string &name, bool available)
{
    advance();
    Interface *interface = find(name);
    if (!interface)
        return UBUS_STATUS_NOT_FOUND;
    make_available(*interface, available);
    check_demands();
    return UBUS_STATUS_OK;
}

int NetworkDaemon::restart(const std::string &name)
{
    if (const int result = renew(name); result != UBUS_STATUS_OK)
        return result;
    Interface &interface = *find(name);
    // The handler of DHCP restarts its client and keeps the address. A dynamic interface would not come back.
    if (protocol_kind(interface.section) == ProtocolKind::wired)
        return UBUS_STATUS_OK;
    if (interface.dynamic)
        return UBUS_STATUS_UNKNOWN_ERROR;
    stop(interface);
    begin(interface);
    return UBUS_STATUS_OK;
}

int NetworkDaemon::add_dynamic(json_object *options)
{
    const std::string name = text_of(json_object_object_get(options, "name"));
    if (name.empty())
        return UBUS_STATUS_INVALID_ARGUMENT;
    InterfaceSection section{.name = name};
    json_object_object_foreach(options, key, value)
    {
        if (json_object_is_type(value, json_type_array))
            for (size_t i = 0; i < json_object_array_length(value); i++)
                section.options[key].push_back(text_of(json_object_array_get_idx(value, i)));
        else
            section.options[key] = {text_of(value)};
    }
    section.options.erase("name");
    erase(name);
    add(std::move(section), true);
    return UBUS_STATUS_OK;
}

int NetworkDaemon::remove(const std::string &name)
{
    if (!find(name))
        return UBUS_STATUS_NOT_FOUND;
    erase(name);
    return UBUS_STATUS_OK;
}

Json NetworkDaemon::status(const std::string &name)
{
    advance();
    const Interface *interface = find(name);
    if (!interface)
        return nullptr;
    Json status{json_object_new_object()};
    add_status(status.get(), *interface, surroundings_.now());
    return status;
}

Json NetworkDaemon::dump()
{
    advance();
    json_object *array = json_object_new_array();
    for (const auto &[name, interface] : interfaces_) {
        json_object *entry = json_object_new_object();
        json_object_object_add(entry, "interface", json_object_new_string(name.c_str()));
        add_status(entry, interface, surroundings_.now());
        json_object_array_add(array, entry);
    }
    Json dump{json_object_new_object()};
    json_object_object_add(dump.get(), "interface", array);
    return dump;
}

} // namespace simulator
