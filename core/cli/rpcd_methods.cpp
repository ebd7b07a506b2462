#include "core/cli/rpcd_methods.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>

#include "core/cli/history_command.h"
#include "core/cli/modems.h"
#include "core/cli/rpcd_jobs.h"
#include "core/cli/rpcd_messages.h"
#include "core/cli/rpcd_settings.h"
#include "core/cli/rpcd_work.h"
#include "discovery/record/info.h"
#include "discovery/record/snapshot.h"
#include "platform/clock.h"
#include "status/traffic.h"
#include "status/usage.h"
#include "watch/settings.h"
#include "watch/watch.h"
#include "watch/watch_log.h"

// The methods that answer at once. None of them asks the modem.

namespace {

void answer_modems(const RpcdCall &, json_object *answer)
{
    Json modems = list_modems();
    for (size_t i = 0; i < json_object_array_length(modems.get()); i++) {
        json_object *modem = json_object_array_get_idx(modems.get(), i);
        add_holder(modem);
        kjson_add_string(modem, "name", kjson_get_string(modem, "model"));
        kjson_add_string(modem, "interface", read_watch_settings(kjson_get_string(modem, "bus")).iface.view());
    }
    kjson_add_object(answer, "modems", std::move(modems));
}

bool has_modem(const char *bus)
{
    const Json modems = list_modems();
    for (size_t i = 0; i < json_object_array_length(modems.get()); i++)
        if (strcmp(kjson_get_string(json_object_array_get_idx(modems.get(), i), "bus"), bus) == 0)
            return true;
    return false;
}

// The newest report of a modem that is there; null with the error in answer.
Json find_report(const RpcdCall &call, json_object *answer)
{
    const char *bus = call.bus.c_str();
    if (!has_modem(bus)) {
        rpcd_fail(answer, "no-modem", "there is no modem on bus %s", bus);
        return nullptr;
    }
    Json report = read_snapshot(bus);
    if (report == nullptr)
        rpcd_fail(answer, "no-snapshot", "nothing has asked the modem on bus %s yet", bus);
    return report;
}

void answer_info(const RpcdCall &call, json_object *answer)
{
    const Json report = find_report(call, answer);
    if (report == nullptr)
        return;
    mark_snapshot(call.bus.c_str());
    remove_identity(report.get());
    rpcd_add_members(answer, report.get());
    kjson_add_int(answer, "age", kjson_get_int(answer, "age_s"));
}

void answer_identity(const RpcdCall &call, json_object *answer)
{
    static constexpr struct {
        const char *key;
        const char *group;
    } members[] = {{"imei", "modem"}, {"imsi", "sim"}, {"iccid", "sim"}, {"number", "sim"}};
    const Json report = find_report(call, answer);
    for (const auto &member : members)
        if (const char *text = kjson_get_string(kjson_get_object(report.get(), member.group), member.key);
            text != nullptr)
            kjson_add_string(answer, member.key, text);
}

// The addresses of companions ("wwan_4", "wwan_6") count as those of the interface.
void add_companion(json_object *facts, const char *iface, const char *suffix, const char *addresses)
{
    const Json object{json_object_new_object()};
    const char *device = kjson_get_string(facts, "device");
    add_interface(object.get(), Text<32>::format("%s%s", iface, suffix).c_str(), device != nullptr ? device : "");
    json_object *companion = kjson_get_object(object.get(), "interface");
    json_object *list = kjson_get_object(companion, addresses);
    if (!json_object_is_type(list, json_type_array) || json_object_array_length(list) == 0)
        return;
    kjson_add_object(facts, addresses, json_share(list));
    json_object *servers = kjson_get_object(facts, "dns");
    json_object *more = kjson_get_object(companion, "dns");
    for (size_t i = 0; servers != nullptr && more != nullptr && i < json_object_array_length(more); i++)
        kjson_array_add_string(servers, json_object_get_string(json_object_array_get_idx(more, i)));
}

void answer_status(const RpcdCall &call, json_object *answer)
{
    const char *bus = call.bus.c_str();
    const auto iface = read_watch_settings(bus).iface;
    if (!add_watch_status(answer, bus)) {
        if (!has_modem(bus))
            return rpcd_fail(answer, "no-modem", "there is no modem on bus %s", bus);
        kjson_add_string(answer, "bus", bus);
        kjson_add_string(answer, "interface", iface.view());
    }
    const Json object{json_object_new_object()};
    add_interface(object.get(), iface.c_str());
    json_object *facts = kjson_get_object(object.get(), "interface");
    if (facts == nullptr)
        return;
    if (const char *device = kjson_get_string(facts, "device"); device != nullptr) {
        const DeviceCounters counters = read_device_counters(device);
        for (const auto &[key, count] : {std::pair{"rx_bytes", counters.rx_bytes}, {"tx_bytes", counters.tx_bytes}})
            kjson_add_int64(facts, key, static_cast<int64_t>(count));
    }
    if (kjson_contain_key(facts, "ipv4")) {
        add_companion(facts, iface.c_str(), "_4", "ipv4");
        add_companion(facts, iface.c_str(), "_6", "ipv6");
    }
    kjson_add_object(answer, "interface_status", json_share(facts));
}

void answer_history(const RpcdCall &call, json_object *answer)
{
    const int64_t minutes = call.number(RpcdArgument::since, 1440);
    const int64_t since_s = monotonic_ms() / 1000 - minutes * 60;
    kjson_add_object(answer, "history", list_history(call.bus.c_str(), since_s));
}

// The last digits tell a person's cards apart, and tell nobody else whose they are.
void answer_usage(const RpcdCall &call, json_object *answer)
{
    constexpr size_t shown = 4;
    const Json report = read_snapshot(call.bus.c_str());
    const char *card = kjson_get_string(kjson_get_object(report.get(), "sim"), "iccid");
    Json list = list_usage(call.bus.c_str());
    for (size_t i = 0; i < json_object_array_length(list.get()); i++) {
        json_object *entry = json_object_array_get_idx(list.get(), i);
        if (const char *iccid = kjson_get_string(entry, "iccid"); iccid != nullptr) {
            const size_t length = strlen(iccid);
            kjson_add_string(entry, "sim", iccid + (length > shown ? length - shown : 0));
            // The cards of other modems are in the list, too.
            if (card != nullptr)
                kjson_add_boolean(entry, "present", strcmp(iccid, card) == 0);
        }
        kjson_del_key(entry, "iccid");
    }
    kjson_add_object(answer, "usage", std::move(list));
    const WatchSettings settings = read_watch_settings(call.bus.c_str());
    kjson_add_int(answer, "limit_mb", static_cast<int32_t>(settings.limit_mb));
    if (const uint32_t month = billing_month(time(nullptr), settings.first_day); month != 0)
        kjson_add_string(answer, "month", month_text(month).view());
}

void answer_pause(const RpcdCall &call, json_object *answer)
{
    constexpr int minute_s = 60;
    if (pause_watch(call.bus.c_str(), call.number(RpcdArgument::minutes, 0) * minute_s) == 0)
        rpcd_succeed(answer);
    else
        rpcd_fail(answer, "failed", "the pause cannot be noted");
}

void answer_resume(const RpcdCall &call, json_object *answer)
{
    resume_watch(call.bus.c_str());
    rpcd_succeed(answer);
}

void answer_log(const RpcdCall &call, json_object *answer)
{
    constexpr int usual = 100;
    Json lines{json_object_new_array()};
    read_watch_log(call.bus.c_str(), lines.get(), static_cast<size_t>(call.number(RpcdArgument::lines, usual)));
    kjson_add_object(answer, "lines", std::move(lines));
}

// What a stock router may lack. One of the files is enough.
constexpr struct {
    char what[16];
    const char *files[3];
    const char *why;
} parts[] = {
    {"smstools3",
     {"/etc/init.d/smstools3", "/usr/sbin/smsd", "/usr/bin/smsd"},
     "text messages are not received or sent"},
    {"modemctl-data", {"/usr/share/modem/apns", "/www/src/lib/apn-config.js"}, "the APN of a SIM card is not known"},
    {"uqmi", {"/sbin/uqmi", "/usr/sbin/uqmi", "/usr/bin/uqmi"}, "modems do not connect by QMI"},
    {"comgt", {"/lib/netifd/proto/3g.sh", "/usr/bin/comgt"}, "modems do not connect by PPP"},
    {"comgt-ncm", {"/lib/netifd/proto/ncm.sh"}, "modems do not connect by NCM"},
    {"umbim", {"/lib/netifd/proto/mbim.sh"}, "modems do not connect by MBIM"},
    {"modemctl-watch", {"/etc/init.d/modemctl-watch"}, "nothing keeps the modems online"},
};

void answer_missing(const RpcdCall &, json_object *answer)
{
    Json list{json_object_new_array()};
    for (const auto &part : parts) {
        const bool is_there = std::ranges::any_of(
            part.files, [](const char *file) { return file != nullptr && access(file, F_OK) == 0; });
        if (is_there)
            continue;
        Json entry{json_object_new_object()};
        kjson_add_string(entry.get(), "what", part.what);
        kjson_add_string(entry.get(), "why", part.why);
        kjson_array_add(list.get(), std::move(entry));
    }
    kjson_add_object(answer, "missing", std::move(list));
}

using enum RpcdArgument;

// clang-format off
constexpr RpcdMethod methods[] = {
    // quick        arguments          answer
    {"modems",         {},               answer_modems,         nullptr, nullptr, 0, false, false},
    {"info",           {bus},            answer_info,           nullptr, nullptr, 0, false, false},
    {"identity",       {bus},            answer_identity,       nullptr, nullptr, 0, false, true},
    {"status",         {bus},            answer_status,         nullptr, nullptr, 0, false, false},
    {"history",        {bus, since},     answer_history,        nullptr, nullptr, 0, false, false},
    {"usage",          {bus},            answer_usage,          nullptr, nullptr, 0, false, false},
    {"settings",       {bus},            answer_settings,       nullptr, nullptr, 0, false, false},
    {"set",            {bus, values},    answer_set,            nullptr, nullptr, 0, false, false},
    {"pause",          {bus, minutes},   answer_pause,          nullptr, nullptr, 0, false, false},
    {"resume",         {bus},            answer_resume,         nullptr, nullptr, 0, false, false},
    {"messages",       {},               answer_messages,       nullptr, nullptr, 0, false, false},
    {"message_send",   {recipient, text}, answer_message_send,  nullptr, nullptr, 0, false, false},
    {"message_delete", {message},        answer_message_delete, nullptr, nullptr, 0, false, false},
    {"message_read",   {message},        answer_message_read,   nullptr, nullptr, 0, false, false},
    {"log",            {bus, lines},     answer_log,            nullptr, nullptr, 0, false, false},
    {"missing",        {},               answer_missing,        nullptr, nullptr, 0, false, false},
    {"job",            {job},            answer_job,            nullptr, nullptr, 0, false, false},
    // jobs         arguments                   work                      words                limit control admin
    {"refresh",        {bus},              nullptr, work_refresh,    nullptr,                 30,  false, false},
    {"apn",            {bus},              nullptr, nullptr,         "apn --json",            60,  false, false},
    {"bands",          {bus},              nullptr, nullptr,         "bands --json",          60,  false, false},
    {"bands_set",      {bus, bands, keep}, nullptr, nullptr,         "bands --json --set ?",  300, true,  false},
    {"bands_restore",  {bus},              nullptr, nullptr,         "bands --json --restore", 120, true, false},
    {"mode",           {bus},              nullptr, nullptr,         "mode --json",           60,  false, false},
    {"mode_set",       {bus, mode, keep},  nullptr, nullptr,         "mode --json ?",         300, true,  false},
    {"mode_restore",   {bus},              nullptr, nullptr,         "mode --json --restore", 120, true,  false},
    {"connect",        {bus},              nullptr, work_connect,    nullptr,                 300, true,  false},
    {"disconnect",     {bus},              nullptr, work_disconnect, nullptr,                 60,  true,  false},
    {"restart",        {bus},              nullptr, work_restart,    nullptr,                 150, true,  true},
    {"at",             {bus, command},     nullptr, work_at,         nullptr,                 190, false, true},
    {"record",         {bus},              nullptr, work_record,     nullptr,                 180, false, true},
};
// clang-format on

} // namespace

std::span<const RpcdMethod> rpcd_methods()
{
    return methods;
}
