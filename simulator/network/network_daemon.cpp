#include "simulator/network/network_daemon.h"

#include <utility>

#include <libubus.h>

#include "simulator/network/network_status.h"

namespace simulator {

namespace {

using Interface = NetworkDaemon::Interface;

/// Between the end of a handler and its next start.
constexpr int64_t next_try_ms = 2000;

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

std::string companion_name(const Interface &interface)
{
    return interface.section.name + "_4";
}

void set_error(Interface &interface, const std::string &subsystem, const std::string &code)
{
    interface.error_subsystem = subsystem;
    interface.error_code = code;
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
    const bool misses_device = interface.autostart && !interface.available;
    set_error(interface, misses_device ? "interface" : "", misses_device ? "NO_DEVICE" : "");
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

void NetworkDaemon::start(Interface &interface)
{
    if (interface.state != State::down || !interface.available)
        return;
    const auto behaviour = behaviours_.find(interface.section.name);
    interface.link = behaviour == behaviours_.end() ? default_behaviour_ : behaviour->second;
    interface.l3_device = l3_device_of(interface);
    switch (protocol_kind(interface.section)) {
    case ProtocolKind::none:
        if (!surroundings_.has_carrier || surroundings_.has_carrier(interface.l3_device))
            come_up(interface, surroundings_.now());
        break;
    case ProtocolKind::fixed:
        come_up(interface, surroundings_.now());
        break;
    case ProtocolKind::wired:
    case ProtocolKind::modem:
        interface.state = State::pending;
        begin_setup(interface);
        break;
    }
}

bool NetworkDaemon::start_handler(Interface &interface)
{
    // What --link says to fail fails without one.
    interface.has_handler = interface.link.setup_ms && interface.link.error.empty() && surroundings_.start_handler &&
                            surroundings_.start_handler(interface.section, interface.l3_device);
    return interface.has_handler;
}

void NetworkDaemon::begin_setup(Interface &interface)
{
    if (start_handler(interface))
        return;
    const ModemVariable modem = [&](const std::string &name) {
        return surroundings_.modem_variable ? surroundings_.modem_variable(interface.section, name) : "";
    };
    interface.waits_for_demand = !meets_demand(interface.section, interface.link.demand, modem);
    if (interface.waits_for_demand || !interface.link.setup_ms)
        return;
    interface.setup_ends = *interface.link.setup_ms + surroundings_.now();
    if (surroundings_.wake_at)
        surroundings_.wake_at(*interface.setup_ends);
}

void NetworkDaemon::check_demands()
{
    for (auto &[name, interface] : interfaces_)
        if (interface.state == State::pending && interface.waits_for_demand)
            begin_setup(interface);
}

void NetworkDaemon::hear(const std::string &name, const HandlerReport &report)
{
    Interface *interface = find(name);
    if (!interface || !interface->has_handler)
        return;
    switch (report.kind) {
    case HandlerReport::Kind::up:
        if (interface->state != State::pending)
            return;
        set_error(*interface, "", "");
        interface->l3_device = report.device;
        interface->link.address = report.address;
        interface->link.mask = report.mask;
        interface->link.gateway = report.gateway;
        interface->link.dns = report.dns;
        come_up(*interface, surroundings_.now());
        if (interface->link.companion)
            add_companion(*interface);
        return;
    case HandlerReport::Kind::failed:
        return set_error(*interface, option_of(interface->section, "proto"), report.error);
    case HandlerReport::Kind::ended:
        interface->has_handler = false; // it need not be stopped
        stop(*interface);
        interface->state = State::pending;
        interface->next_try = surroundings_.now() + next_try_ms;
        if (surroundings_.wake_at)
            surroundings_.wake_at(*interface->next_try);
    }
}

void NetworkDaemon::come_up(Interface &interface, int64_t at)
{
    interface.state = State::up;
    interface.up_since = at;
    tell_device(interface, true, interface.link.traffic);
}

void NetworkDaemon::finish_setup(Interface &interface)
{
    const int64_t ended = *std::exchange(interface.setup_ends, std::nullopt);
    if (!interface.link.error.empty()) {
        interface.state = State::down;
        interface.autostart = false;
        set_error(interface, option_of(interface.section, "proto"), interface.link.error);
        return;
    }
    come_up(interface, ended);
    if (interface.link.companion)
        add_companion(interface);
}

void NetworkDaemon::add_companion(const Interface &interface)
{
    LinkBehaviour behaviour = interface.link;
    behaviour.companion = false;
    behaviour.setup_ms = 0;
    behaviour.traffic = {};
    behaviour.demand = {};
    set_behaviour(companion_name(interface), behaviour);
    InterfaceSection section{.name = companion_name(interface)};
    section.options["proto"] = {"dhcp"};
    section.options["device"] = {interface.l3_device};
    section.options["metric"] = {option_of(interface.section, "metric")};
    add(std::move(section), true);
    advance();
}

void NetworkDaemon::stop(Interface &interface)
{
    const State before = std::exchange(interface.state, State::down);
    interface.setup_ends.reset();
    interface.next_try.reset();
    if (std::exchange(interface.has_handler, false) && surroundings_.stop_handler)
        surroundings_.stop_handler(interface.section.name);
    if (before != State::up)
        return;
    if (interface.link.companion)
        erase(companion_name(interface));
    tell_device(interface, false);
}

void NetworkDaemon::tell_device(const Interface &interface, bool up, const Traffic &traffic) const
{
    if (!surroundings_.change_device)
        return;
    DeviceChange change{.interface = interface.section.name, .device = interface.l3_device, .up = up};
    if (up) {
        change.addresses = addresses_of(interface);
        change.gateway = option_is_off(interface.section, "defaultroute") ? "" : gateway_of(interface);
        change.metric = metric_of(interface.section);
        change.traffic = traffic;
        change.names = interface.link.names;
        change.names.own_address = interface.link.dns.empty() ? "" : interface.link.dns.front();
    }
    surroundings_.change_device(change);
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

void NetworkDaemon::check_device(Interface &interface)
{
    const bool there = device_is_there(interface);
    if (!there && interface.available) {
        stop(interface);
        set_error(interface, "interface", "NO_DEVICE");
    } else if (there && !interface.available) {
        set_error(interface, "", "");
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
    if (interface->state == State::down && interface->available) {
        set_error(*interface, "", "");
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
