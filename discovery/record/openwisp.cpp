#include "discovery/record/openwisp.h"

#include <cstring>
#include <span>

#include "platform/text.h"

namespace {

// A member of the report's cell under the schema's name.
struct SignalMember {
    const char *member;
    const char *name;
};
constexpr SignalMember lte_members[] = {
    {"rssi_dbm", "rssi"}, {"rsrp_dbm", "rsrp"}, {"rsrq_db", "rsrq"}, {"sinr_db", "snr"}};
constexpr SignalMember umts_members[] = {{"rssi_dbm", "rssi"}, {"rscp_dbm", "rscp"}, {"ecio_db", "ecio"}};
constexpr SignalMember gsm_members[] = {{"rssi_dbm", "rssi"}};

// The technology's signal; one that lacks what the schema requires of it is left out.
void add_signal(json_object *signals, const char *technology, json_object *cell, std::span<const SignalMember> members,
                const char *required)
{
    Json signal{json_object_new_object()};
    for (const SignalMember &row : members)
        if (json_object *value = kjson_get_object(cell, row.member); value != nullptr)
            kjson_add_object(signal.get(), row.name, json_share(value));
    const bool has_required = required == nullptr || kjson_contain_key(signal.get(), required) != 0;
    if (has_required && json_object_object_length(signal.get()) > 0)
        kjson_add_object(signals, technology, std::move(signal));
}

bool begins(const char *text, const char *start)
{
    return text != nullptr && strncmp(text, start, strlen(start)) == 0;
}

Json signals_of(json_object *report, const char *technology)
{
    Json signals{json_object_new_object()};
    json_object *serving = kjson_get_object(report, "serving");
    if (begins(technology, "NR5G-SA"))
        add_signal(signals.get(), "5g", serving, lte_members, nullptr);
    else if (begins(technology, "GSM"))
        add_signal(signals.get(), "gsm", serving, gsm_members, "rssi");
    else if (begins(technology, "WCDMA"))
        add_signal(signals.get(), "umts", serving, umts_members, "ecio");
    else
        add_signal(signals.get(), "lte", serving, lte_members, nullptr);
    add_signal(signals.get(), "5g", kjson_get_object(report, "nr"), lte_members, nullptr);
    return signals;
}

// The words of ModemManager, which OpenWISP's own agent reports.
const char *connection_status(json_object *report)
{
    const char *interface = kjson_get_string(kjson_get_object(report, "interface"), "state");
    const char *registration = kjson_get_string(kjson_get_object(report, "network"), "registration");
    const char *sim = kjson_get_string(kjson_get_object(report, "sim"), "state");
    if (sim != nullptr && strcmp(sim, "ready") != 0)
        return begins(sim, "p") || begins(sim, "network") ? "locked" : "failed";
    if (interface != nullptr && strcmp(interface, "up") == 0)
        return "connected";
    if (registration == nullptr)
        return "unknown";
    const bool is_registered =
        strcmp(registration, "home") == 0 || strcmp(registration, "roaming") == 0 || begins(registration, "registered");
    return is_registered ? "registered" : strcmp(registration, "searching") == 0 ? "searching" : "enabled";
}

bool add_required(json_object *mobile, const char *name, const char *text, size_t least = 1)
{
    return text != nullptr && strlen(text) >= least && kjson_add_string(mobile, name, text) == 0;
}

} // namespace

Json openwisp_mobile(json_object *report)
{
    json_object *modem = kjson_get_object(report, "modem");
    json_object *network = kjson_get_object(report, "network");
    const char *mcc = kjson_get_string(network, "mcc");
    const char *mnc = kjson_get_string(network, "mnc");
    Text<8> code;
    if (mcc != nullptr && mnc != nullptr)
        code = Text<8>::format("%s%s", mcc, mnc);
    const char *name = kjson_get_string(network, "operator_name");
    Json mobile{json_object_new_object()};
    constexpr size_t imei_digits = 15;
    constexpr size_t code_digits = 5;
    if (!add_required(mobile.get(), "imei", kjson_get_string(modem, "imei"), imei_digits) ||
        !add_required(mobile.get(), "operator_code", code.c_str(), code_digits) ||
        !add_required(mobile.get(), "operator_name", name != nullptr ? name : code.c_str()) ||
        !add_required(mobile.get(), "manufacturer", kjson_get_string(modem, "manufacturer")) ||
        !add_required(mobile.get(), "model", kjson_get_string(modem, "model")))
        return nullptr;
    kjson_add_string(mobile.get(), "connection_status", connection_status(report));
    kjson_add_string(mobile.get(), "power_status", "on");
    if (Json signals = signals_of(report, kjson_get_string(network, "technology"));
        json_object_object_length(signals.get()) > 0)
        kjson_add_object(mobile.get(), "signal", std::move(signals));
    return mobile;
}
