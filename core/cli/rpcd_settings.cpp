#include "core/cli/rpcd_settings.h"

#include <cstring>

#include "apn/tables.h"
#include "connection/handler_options.h"
#include "platform/uci.h"
#include "readings/fields.h"
#include "watch/options.h"
#include "watch/settings.h"

namespace {

using Value = Text<96>;

bool is_pin(std::string_view text)
{
    return text.size() >= 4 && text.size() <= 8 && starts_with_digits(text, text.size());
}

bool is_login(std::string_view text)
{
    return text.size() < 64;
}

bool is_auth(std::string_view text)
{
    return text == "NONE" || text == "PAP" || text == "CHAP" || text == "PAP or CHAP";
}

bool is_ip_type(std::string_view text)
{
    return text == "ip" || text == "ipv6" || text == "ipv4v6";
}

bool is_truth(std::string_view text)
{
    return text == "0" || text == "1";
}

/// A setting of the interface's section. Nobody is told a secret one.
struct NetworkOption {
    char name[9];
    bool (*takes)(std::string_view text);
    const char *ConnectSettings::*member; ///< as which the protocol's handler gets it; null: it is not one of these
    bool is_secret;
};

// clang-format off
constexpr NetworkOption network_options[] = {
    {"apn",      is_login,   &ConnectSettings::apn,      false},
    {"username", is_login,   &ConnectSettings::username, false},
    {"password", is_login,   &ConnectSettings::password, true},
    {"auth",     is_auth,    &ConnectSettings::auth,     false},
    {"pincode",  is_pin,     &ConnectSettings::pincode,  true},
    {"ip",       is_ip_type, nullptr,                    false},
    {"auto",     is_truth,   nullptr,                    false},
};
// clang-format on

const NetworkOption *find_network_option(std::string_view name)
{
    for (const NetworkOption &option : network_options)
        if (name == option.name)
            return &option;
    return nullptr;
}

// A text, a number or a truth as UCI has it; false for anything else, and for a text that does not fit.
bool read_value(json_object *json, Value &value)
{
    switch (json_object_get_type(json)) {
    case json_type_boolean:
        return value.assign(json_object_get_boolean(json) ? "1" : "0");
    case json_type_int:
    case json_type_string: {
        const char *text = json_object_get_string(json);
        const bool is_whole = !json_object_is_type(json, json_type_string) ||
                              strlen(text) == static_cast<size_t>(json_object_get_string_len(json));
        return is_whole && value.assign(text);
    }
    default:
        return false;
    }
}

// What the protocol's handler would take for more than a value is refused here as in every other place.
bool takes_network_option(const NetworkOption &option, const Value &value, const char *proto)
{
    if (value.empty())
        return true;
    ConnectSettings settings;
    if (option.member != nullptr)
        settings.*option.member = value.c_str();
    return option.takes(value.view()) && find_refused_setting(proto, settings) == nullptr;
}

void set(const Uci &uci, const char *package, const char *section, const char *type, const char *option,
         const char *value)
{
    Text<16> there;
    if (kuci2_get_name(uci, package, section, nullptr, there) != 0)
        kuci2_set_name(uci, package, section, nullptr, type);
    kuci2_set_name(uci, package, section, option, value);
}

struct Changes {
    bool network = false;
    bool devconf = false;
    bool watch = false;
};

void set_network(const Uci &uci, const char *iface, std::string_view name, const Value &value, Changes &changes)
{
    if (name == "ip") {
        // The section in devconf is what is wanted; the other one is written anew at each connect.
        set(uci, "devconf", iface, "interface", "pdptype", value.c_str());
        set(uci, "network", iface, "interface", "pdptype", value.c_str());
        changes.devconf = true;
    } else if (name != "auto") {
        set(uci, "network", iface, "interface", Text<16>{name}.c_str(), value.c_str());
    } else if (value == "1") {
        // Without a device the next connect chooses by the card.
        for (const char *option : {"device", "apn", "username", "password", "auth"})
            kuci2_set_name(uci, "network", iface, option, "");
    }
    changes.network = true;
}

// A package that cannot be written ends it: what was written before is named.
bool commit(const Uci &uci, const Changes &changes, json_object *answer)
{
    const struct {
        bool is_changed;
        const char *package;
    } rows[] = {{changes.network, "network"}, {changes.devconf, "devconf"}, {changes.watch, "modemctl"}};
    Json written{json_object_new_array()};
    for (const auto &row : rows) {
        if (!row.is_changed)
            continue;
        if (kuci2_commit(uci, row.package) != 0) {
            rpcd_fail(answer, "failed", "the configuration %s cannot be written", row.package);
            kjson_add_object(answer, "written", std::move(written));
            return false;
        }
        kjson_array_add_string(written.get(), row.package);
    }
    return true;
}

} // namespace

void answer_settings(const RpcdCall &call, json_object *answer)
{
    const char *bus = call.bus.c_str();
    const auto iface = read_watch_settings(bus).iface;
    const Uci uci = kuci2_init();
    const auto get = [&](const char *package, const char *option) {
        Value value;
        kuci2_get_name(uci, package, iface.c_str(), option, value);
        return value;
    };
    Json network{json_object_new_object()};
    ApnLogin login;
    kjson_add_string(network.get(), "interface", iface.view());
    kjson_add_string(network.get(), "proto", get("network", "proto").view());
    kjson_add_boolean(network.get(), "disabled", get("network", "disabled") == "1");
    kjson_add_boolean(network.get(), "auto", !read_user_login(iface.c_str(), login));
    for (const NetworkOption &option : network_options)
        if (option.is_secret)
            kjson_add_boolean(network.get(), Text<16>::format("%s_set", option.name).c_str(),
                              !get("network", option.name).empty());
        else if (option.member != nullptr)
            kjson_add_string(network.get(), option.name, get("network", option.name).view());
    const Value wanted = get("devconf", "pdptype");
    kjson_add_string(network.get(), "ip", wanted.empty() ? login.ip.view() : wanted.view());
    Json watch{json_object_new_object()};
    Json defaults{json_object_new_object()};
    add_watch_options(watch.get(), defaults.get(), bus);
    const char *roaming = kjson_get_string(watch.get(), "roaming");
    kjson_add_string(network.get(), "roaming", roaming != nullptr ? roaming : "allow");
    kjson_add_object(answer, "network", std::move(network));
    kjson_add_object(answer, "watch", std::move(watch));
    kjson_add_object(answer, "defaults", std::move(defaults));
}

void answer_set(const RpcdCall &call, json_object *answer)
{
    const auto iface = read_watch_settings(call.bus.c_str()).iface;
    json_object *values = kjson_get_object(call.arguments, "values");
    const Uci uci = kuci2_init();
    const auto proto = uci.text<16>(Text<64>::format("network.%s.proto", iface.c_str()).c_str());
    Text<16> section;
    bus_to_ident(call.bus.c_str(), section);
    Changes changes;
    json_object_object_foreach(values, name, json)
    {
        Value value;
        const NetworkOption *option = find_network_option(name);
        const bool is_taken =
            read_value(json, value) && (option != nullptr ? takes_network_option(*option, value, proto.c_str())
                                                          : takes_watch_option(name, value.view()));
        if (!is_taken) {
            rpcd_fail(answer, "bad-argument", "this setting does not exist or does not take this value");
            kjson_add_string(answer, "option", name);
            return;
        }
        if (option != nullptr) {
            set_network(uci, iface.c_str(), name, value, changes);
        } else {
            set(uci, "modemctl", section.c_str(), "modem", name, value.c_str());
            changes.watch = true;
        }
    }
    if (commit(uci, changes, answer))
        rpcd_succeed(answer);
}
