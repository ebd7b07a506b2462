#include "simulator/network/network_daemon.h"

#include <utility>

#include "simulator/network/network_status.h"

// From the start of an interface's protocol handler to its end.

namespace simulator {

namespace {

using Interface = NetworkDaemon::Interface;

/// Between the end of a handler and its next start.
constexpr int64_t next_try_ms = 2000;

std::string companion_name(const Interface &interface)
{
    return interface.section.name + "_4";
}

} // namespace

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
        interface->set_error("", "");
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
        return interface->set_error(option_of(interface->section, "proto"), report.error);
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
        interface.set_error(option_of(interface.section, "proto"), interface.link.error);
        return;
    }
    if (names_port(interface.section) && !port_is_there(interface)) {
        interface.state = State::down;
        interface.available = interface.has_port = false;
        interface.set_error(option_of(interface.section, "proto"), "NO_DEVICE");
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

} // namespace simulator
