#include "simulator/network/network_status.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>

#include <arpa/inet.h>

namespace simulator {

namespace {

using Interface = NetworkDaemon::Interface;

constexpr std::array modem_protocols{"3g", "callip", "directip", "mbim", "ncm", "qcm", "qmi", "wwan"};
constexpr std::array dial_up_protocols{"3g"};
constexpr std::array port_protocols{"3g", "ncm"};
constexpr std::array wired_protocols{"dhcp", "dhcpv6", "pppoe"};

bool is_one_of(const auto &names, const std::string &name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

void add(json_object *object, const char *key, Json child)
{
    json_object_object_add(object, key, child.release());
}

void add(json_object *object, const char *key, const std::string &text)
{
    json_object_object_add(object, key, json_object_new_string(text.c_str()));
}

void add(json_object *object, const char *key, bool truth)
{
    json_object_object_add(object, key, json_object_new_boolean(truth));
}

void add(json_object *object, const char *key, int number)
{
    json_object_object_add(object, key, json_object_new_int(number));
}

Json new_array()
{
    return Json{json_object_new_array()};
}

Json array_of(const std::vector<std::string> &texts)
{
    Json array = new_array();
    for (const std::string &text : texts)
        json_object_array_add(array.get(), json_object_new_string(text.c_str()));
    return array;
}

bool is_ipv6(const InterfaceAddress &address)
{
    return address.address.find(':') != std::string::npos;
}

Json address_array(const std::vector<InterfaceAddress> &addresses, bool ipv6)
{
    Json array = new_array();
    for (const InterfaceAddress &address : addresses) {
        if (is_ipv6(address) != ipv6)
            continue;
        json_object *entry = json_object_new_object();
        add(entry, "address", address.address);
        add(entry, "mask", address.mask);
        if (!address.peer.empty())
            add(entry, "ptpaddress", address.peer);
        json_object_array_add(array.get(), entry);
    }
    return array;
}

Json route_array(const std::string &gateway)
{
    Json array = new_array();
    if (gateway.empty())
        return array;
    json_object *entry = json_object_new_object();
    add(entry, "target", std::string("0.0.0.0"));
    add(entry, "mask", 0);
    add(entry, "nexthop", gateway);
    add(entry, "source", std::string("0.0.0.0/0"));
    json_object_array_add(array.get(), entry);
    return array;
}

/// "10.0.0.1/24", or without a mask the one of the option netmask.
InterfaceAddress parse_address(const std::string &text, int default_mask)
{
    const size_t slash = text.find('/');
    if (slash == std::string::npos)
        return {text, default_mask};
    return {text.substr(0, slash), atoi(text.c_str() + slash + 1)};
}

int prefix_of_netmask(const std::string &netmask)
{
    in_addr mask{};
    if (inet_pton(AF_INET, netmask.c_str(), &mask) != 1)
        return 32;
    return std::popcount(mask.s_addr);
}

/// An option's values, which the configuration may also have as one text with spaces.
std::vector<std::string> values_of(const InterfaceSection &section, const std::string &name)
{
    std::vector<std::string> values;
    const auto option = section.options.find(name);
    if (option == section.options.end())
        return values;
    for (const std::string &text : option->second)
        for (size_t start = 0; (start = text.find_first_not_of(' ', start)) != std::string::npos;) {
            const size_t end = std::min(text.find(' ', start), text.size());
            values.push_back(text.substr(start, end - start));
            start = end;
        }
    return values;
}

bool runs_script(const Interface &interface)
{
    const ProtocolKind kind = protocol_kind(interface.section);
    return kind == ProtocolKind::modem || kind == ProtocolKind::wired;
}

std::string protocol_name(const InterfaceSection &section)
{
    return protocol_kind(section) == ProtocolKind::none ? "none" : option_of(section, "proto");
}

Json data_of(const Interface &interface)
{
    if (interface.state == NetworkDaemon::State::up && runs_script(interface))
        if (Json data{json_tokener_parse(interface.link.data.c_str())};
            json_object_is_type(data.get(), json_type_object))
            return data;
    return Json{json_object_new_object()};
}

std::vector<std::string> updates_of(const Interface &interface)
{
    std::vector<std::string> updates;
    if (!addresses_of(interface).empty())
        updates.emplace_back("addresses");
    if (!gateway_of(interface).empty())
        updates.emplace_back("routes");
    if (json_object_object_length(data_of(interface).get()) > 0)
        updates.emplace_back("data");
    return updates;
}

void add_connection(json_object *object, const Interface &interface)
{
    const InterfaceSection &section = interface.section;
    if (const auto updates = updates_of(interface); !updates.empty())
        add(object, "updated", array_of(updates));
    add(object, "metric", metric_of(section));
    add(object, "dns_metric", atoi(option_of(section, "dns_metric").c_str()));
    add(object, "delegation", !option_is_off(section, "delegation"));

    const auto addresses = addresses_of(interface);
    const std::string gateway = gateway_of(interface);
    const bool route_off = option_is_off(section, "defaultroute");
    std::vector<std::string> servers = values_of(section, "dns");
    std::vector<std::string> unused_servers;
    if (runs_script(interface) && !interface.link.companion) {
        auto &place = option_is_off(section, "peerdns") ? unused_servers : servers;
        place.insert(place.end(), interface.link.dns.begin(), interface.link.dns.end());
    }
    add(object, "ipv4-address", address_array(addresses, false));
    add(object, "ipv6-address", address_array(addresses, true));
    add(object, "ipv6-prefix", new_array());
    add(object, "ipv6-prefix-assignment", new_array());
    add(object, "route", route_array(route_off ? "" : gateway));
    add(object, "dns-server", array_of(servers));
    add(object, "dns-search", new_array());
    add(object, "neighbors", new_array());
    Json inactive{json_object_new_object()};
    add(inactive.get(), "ipv4-address", new_array());
    add(inactive.get(), "ipv6-address", new_array());
    add(inactive.get(), "route", route_array(route_off ? gateway : ""));
    add(inactive.get(), "dns-server", array_of(unused_servers));
    add(inactive.get(), "dns-search", new_array());
    add(inactive.get(), "neighbors", new_array());
    add(object, "inactive", std::move(inactive));
}

Json error_array(const Interface &interface)
{
    Json array = new_array();
    json_object *entry = json_object_new_object();
    add(entry, "subsystem", interface.error_subsystem);
    add(entry, "code", interface.error_code);
    json_object_array_add(array.get(), entry);
    return array;
}

} // namespace

ProtocolKind protocol_kind(const InterfaceSection &section)
{
    const std::string protocol = option_of(section, "proto");
    if (protocol == "static")
        return ProtocolKind::fixed;
    if (is_one_of(modem_protocols, protocol))
        return ProtocolKind::modem;
    return is_one_of(wired_protocols, protocol) ? ProtocolKind::wired : ProtocolKind::none;
}

bool names_port(const InterfaceSection &section)
{
    return protocol_kind(section) == ProtocolKind::modem && option_of(section, "device").starts_with("/dev/");
}

bool follows_port(const InterfaceSection &section)
{
    return is_one_of(port_protocols, option_of(section, "proto"));
}

std::string option_of(const InterfaceSection &section, const std::string &name)
{
    const auto option = section.options.find(name);
    return option == section.options.end() || option->second.empty() ? "" : option->second.front();
}

bool option_is_off(const InterfaceSection &section, const std::string &name)
{
    constexpr std::array words{"0", "no", "off", "false", "disabled"};
    return is_one_of(words, option_of(section, name));
}

std::string device_of(const InterfaceSection &section)
{
    const std::string device = option_of(section, "device");
    return device.empty() ? option_of(section, "ifname") : device;
}

std::string modem_device_of(const InterfaceSection &section, const std::string &netdev)
{
    const std::string protocol = option_of(section, "proto");
    if (protocol == "3g")
        return "3g-" + section.name;
    const std::string ifname = option_of(section, "ifname");
    if (protocol == "directip" && !ifname.empty())
        return ifname;
    if (!netdev.empty())
        return netdev;
    const std::string device = option_of(section, "device");
    const bool second = device.find("wdm1") != std::string::npos && device.find("wdm0") == std::string::npos;
    return second ? "wwan1" : "wwan0";
}

std::vector<InterfaceAddress> addresses_of(const Interface &interface)
{
    std::vector<InterfaceAddress> addresses;
    const ProtocolKind kind = protocol_kind(interface.section);
    if (kind == ProtocolKind::fixed) {
        const int mask = prefix_of_netmask(option_of(interface.section, "netmask"));
        for (const std::string &address : values_of(interface.section, "ipaddr"))
            addresses.push_back(parse_address(address, mask));
        for (const std::string &address : values_of(interface.section, "ip6addr"))
            addresses.push_back(parse_address(address, 128));
    } else if (runs_script(interface) && !interface.link.companion && !interface.link.address.empty()) {
        // pppd gives the address of the line, and the other end's.
        const bool is_dialled = is_one_of(dial_up_protocols, option_of(interface.section, "proto"));
        addresses.push_back(is_dialled ? InterfaceAddress{interface.link.address, 32, interface.link.gateway}
                                       : InterfaceAddress{interface.link.address, interface.link.mask});
    }
    return addresses;
}

std::string gateway_of(const Interface &interface)
{
    if (protocol_kind(interface.section) == ProtocolKind::fixed)
        return option_of(interface.section, "gateway");
    return runs_script(interface) && !interface.link.companion ? interface.link.gateway : "";
}

int metric_of(const InterfaceSection &section)
{
    return atoi(option_of(section, "metric").c_str());
}

void add_status(json_object *object, const Interface &interface, int64_t now)
{
    const bool up = interface.state == NetworkDaemon::State::up;
    add(object, "up", up);
    add(object, "pending", interface.state == NetworkDaemon::State::pending);
    add(object, "available", interface.available);
    add(object, "autostart", interface.autostart);
    add(object, "dynamic", interface.dynamic);
    if (up) {
        add(object, "uptime", static_cast<int>((now - interface.up_since) / 1000));
        add(object, "l3_device", interface.l3_device);
    }
    add(object, "proto", protocol_name(interface.section));
    const std::string device = device_of(interface.section);
    if (protocol_kind(interface.section) != ProtocolKind::modem && !device.empty())
        add(object, "device", device);
    if (up)
        add_connection(object, interface);
    add(object, "data", data_of(interface));
    if (!interface.error_subsystem.empty())
        add(object, "errors", error_array(interface));
}

} // namespace simulator
