#include "discovery/record/info.h"

#include <cstdio>
#include <cstring>

#include "core/model/modem.h"
#include "core/model/state_dir.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/interface_state.h"
#include "readings/fields.h"
#include "readings/interview.h"
#include "readings/report_json.h"
#include "sms/spool.h"

namespace {

constexpr int report_limit_ms = 10'000;
// An answer that is given up reaches whoever has the port next, and who waits for the port gives up after 3 s.
constexpr int shared_limit_ms = 2800;
constexpr int interface_timeout_s = 2;
constexpr char identity_file[] = "identity";

// The identity is kept as lines: the plug number, the maker, the model, the revision, the IMEI. @return false without
// one for this plugging
bool read_identity(const char *bus, const Text<16> &plug, Report &report)
{
    Text<400> kept;
    if (plug.empty() || read_state(bus, identity_file, kept.capacity() - 1, kept) <= 0)
        return false;
    std::string_view rest = kept.view();
    if (take_until(rest, "\n") != plug.view())
        return false;
    tell_text(report.manufacturer, take_until(rest, "\n"));
    tell_text(report.model, take_until(rest, "\n"));
    tell_text(report.revision, take_until(rest, "\n"));
    tell_text(report.imei, take_until(rest, "\n"));
    return true;
}

void keep_identity(const char *bus, const Text<16> &plug, const Report &report)
{
    if (plug.empty() || report.model.empty() || report.imei.empty())
        return;
    write_state(bus, identity_file,
                Text<400>::format("%s\n%s\n%s\n%s\n%s\n", plug.c_str(), report.manufacturer.c_str(),
                                  report.model.c_str(), report.revision.c_str(), report.imei.c_str())
                    .view());
}

struct Conversation {
    AtSession &session;
    const char *port_path;
    PortUse use;
    int64_t deadline_ms;
    bool has_answered = false;
    InfoResult unheard = InfoResult::no_answer; ///< the result if nothing is answered
};

AskResult ask(void *context, const Question &question, TextOut reply)
{
    auto &conversation = *static_cast<Conversation *>(context);
    const int64_t left = conversation.deadline_ms - monotonic_ms();
    if (left <= 0)
        return AskResult::stopped;
    int limit = left < question.limit_ms ? static_cast<int>(left) : question.limit_ms;
    if (conversation.use == PortUse::one_question) {
        limit = shared_limit_ms;
        const AtSession::Opened opened = conversation.session.open(conversation.port_path);
        if (opened == AtSession::Opened::busy)
            conversation.unheard = InfoResult::port_busy;
        if (opened != AtSession::Opened::ready)
            return AskResult::stopped;
    }
    const AtSession::Answer answer = conversation.session.ask(question.command, reply, limit);
    if (conversation.use == PortUse::one_question)
        conversation.session.close();
    switch (answer) {
    case AtSession::Answer::complete:
        conversation.has_answered = true;
        return AskResult::answered;
    case AtSession::Answer::silent:
        // A second question to a deaf modem would keep the port from others for as long again.
        if (conversation.use == PortUse::whole_report || conversation.has_answered)
            return AskResult::silent;
        break;
    case AtSession::Answer::lost:
        break;
    }
    return AskResult::stopped;
}

Text<96> reason_of(const Miss &miss)
{
    switch (miss.why) {
    case Miss::Why::silent:
        return Text<96>::format("no answer within %d s", miss.question->limit_ms / 1000);
    case Miss::Why::refused:
        return Text<96>::format("refused (%s)", miss.error.c_str());
    case Miss::Why::not_understood:
        return "not understood";
    case Miss::Why::stopped:
        break;
    }
    return Text<96>::format("no time left of %d s", report_limit_ms / 1000);
}

void add_miss(json_object *list, const char *what, const char *command, std::string_view why)
{
    Json miss{json_object_new_object()};
    kjson_add_string(miss.get(), "what", what);
    if (command != nullptr)
        kjson_add_string(miss.get(), "command", command);
    kjson_add_string(miss.get(), "why", why);
    kjson_array_add(list, std::move(miss));
}

void add_misses(json_object *object, const Misses &misses)
{
    Json list{json_object_new_array()};
    for (size_t i = 0; i < misses.size; i++)
        add_miss(list.get(), misses.items[i].question->what, misses.items[i].question->command,
                 reason_of(misses.items[i]).view());
    kjson_add_object(object, "missing", std::move(list));
}

void add_only_miss(json_object *object, std::string_view why)
{
    Json list{json_object_new_array()};
    add_miss(list.get(), "modem", nullptr, why);
    kjson_add_object(object, "missing", std::move(list));
}

void add_model(json_object *object, const ModemDriver &rec, const char *dialect)
{
    Json model{json_object_new_object()};
    kjson_add_int(model.get(), "id", rec.modem_id);
    if (!is_unknown_device(rec))
        kjson_add_string(model.get(), "name", rec.name);
    if (dialect != nullptr)
        kjson_add_string(model.get(), "dialect", dialect);
    kjson_add_object(object, "model", std::move(model));
}

// A counter or another number of a network device.
void add_device_number(json_object *object, const char *key, const char *device, const char *file)
{
    Text<24> digits;
    read_file(Text<96>::format("/sys/class/net/%s/%s", device, file).c_str(), 20, digits);
    if (const auto number = decimal(trim(digits.view())))
        kjson_add_int64(object, key, *number);
}

void add_text_of(json_object *object, const char *key, json_object *source, const char *member)
{
    if (const char *text = kjson_get_string(source, member); text != nullptr && *text != '\0')
        kjson_add_string(object, key, text);
}

// [{"address":"10.64.1.2","mask":30}] as ["10.64.1.2/30"].
void add_addresses(json_object *object, const char *key, json_object *addresses)
{
    Json list{json_object_new_array()};
    for (size_t i = 0; json_object_is_type(addresses, json_type_array) && i < json_object_array_length(addresses);
         i++) {
        json_object *entry = json_object_array_get_idx(addresses, i);
        if (const char *address = kjson_get_string(entry, "address"); address != nullptr)
            kjson_array_add_string(list.get(), Text<64>::format("%s/%d", address, kjson_get_int(entry, "mask")).view());
    }
    kjson_add_object(object, key, std::move(list));
}

void add_dns(json_object *object, json_object *servers)
{
    Json list{json_object_new_array()};
    for (size_t i = 0; json_object_is_type(servers, json_type_array) && i < json_object_array_length(servers); i++)
        if (const char *server = json_object_get_string(json_object_array_get_idx(servers, i)); server != nullptr)
            kjson_array_add_string(list.get(), server);
    kjson_add_object(object, "dns", std::move(list));
}

void add_counters(json_object *member, const char *device)
{
    if (device == nullptr || !is_made_of(device, "_-."))
        return;
    add_device_number(member, "mtu", device, "mtu");
    add_device_number(member, "rx_bytes", device, "statistics/rx_bytes");
    add_device_number(member, "tx_bytes", device, "statistics/tx_bytes");
}

// @return false if that report has no interface that is up
bool add_interface_of(json_object *object, json_object *before)
{
    json_object *member = kjson_get_object(before, "interface");
    if (!kjson_contain_key(member, "uptime_s"))
        return false;
    const int passed = kjson_get_int(object, "uptime_s") - kjson_get_int(before, "uptime_s");
    kjson_add_int(member, "uptime_s", kjson_get_int(member, "uptime_s") + passed);
    add_counters(member, kjson_get_string(member, "device"));
    kjson_add_object(object, "interface", json_share(member));
    return true;
}

void add_router_facts(json_object *object, const ModemDriver &rec, const char *bus, json_object *before)
{
    if (!add_interface_of(object, before))
        add_interface(object, rec.iface.c_str());
    Json sms{json_object_new_object()};
    kjson_add_int(sms.get(), "unread", sms_count_unread(bus));
    kjson_add_object(object, "sms", std::move(sms));
}

void add_head(json_object *object, const char *bus)
{
    kjson_add_int(object, "schema", 1);
    kjson_add_string(object, "bus", bus);
    kjson_add_int64(object, "uptime_s", monotonic_ms() / 1000);
    kjson_add_int(object, "age_s", 0);
}

} // namespace

void add_interface(json_object *object, const char *iface, const char *companion_of)
{
    static constexpr const char *states[] = {"up", "pending", "down"};
    const Json status = interface_status(iface, interface_timeout_s);
    if (status == nullptr || (companion_of != nullptr && !is_companion(status.get(), companion_of)))
        return;
    Json member{json_object_new_object()};
    const InterfaceState state = parse_interface_state(status.get());
    kjson_add_string(member.get(), "name", iface);
    add_text_of(member.get(), "device", status.get(), "l3_device");
    add_text_of(member.get(), "proto", status.get(), "proto");
    kjson_add_string(member.get(), "state", states[state]);
    if (state == interface_is_up) {
        if (kjson_contain_key(status.get(), "uptime"))
            kjson_add_int(member.get(), "uptime_s", kjson_get_int(status.get(), "uptime"));
        add_addresses(member.get(), "ipv4", kjson_get_object(status.get(), "ipv4-address"));
        add_addresses(member.get(), "ipv6", kjson_get_object(status.get(), "ipv6-address"));
        add_dns(member.get(), kjson_get_object(status.get(), "dns-server"));
    }
    add_counters(member.get(), kjson_get_string(status.get(), "l3_device"));
    if (json_object *errors = kjson_get_object(status.get(), "errors");
        json_object_is_type(errors, json_type_array) && json_object_array_length(errors) > 0)
        add_text_of(member.get(), "error", json_object_array_get_idx(errors, 0), "code");
    kjson_add_object(object, "interface", std::move(member));
}

InfoResult add_info(json_object *object, const char *bus, PortUse use, Report *told, json_object *before)
{
    add_head(object, bus);
    ModemPort modem{};
    Conversation conversation{.session = modem.session,
                              .port_path = modem.path.c_str(),
                              .use = use,
                              .deadline_ms = monotonic_ms() + report_limit_ms};
    const InfoResult result = open_modem(bus, modem);
    if (result == InfoResult::no_modem) {
        add_only_miss(object, "no modem on this bus");
        return result;
    }
    const ModemDriver &rec = modem.rec;
    if (result != InfoResult::reported) {
        add_model(object, rec, nullptr);
        add_router_facts(object, rec, bus, before);
        add_only_miss(object, result == InfoResult::port_busy ? "busy" : "no answer");
        return result;
    }
    if (use == PortUse::one_question)
        modem.session.close();
    Report report;
    Misses misses;
    const Text<16> plug = plug_number(bus);
    const bool knows_identity = read_identity(bus, plug, report);
    const Dialect &dialect =
        ask_all({.ask = ask, .context = &conversation}, modem.usb_vendor, knows_identity, report, misses);
    if (use == PortUse::whole_report)
        modem.session.close();
    if (!knows_identity)
        keep_identity(bus, plug, report);
    add_model(object, rec, conversation.has_answered ? dialect.name : nullptr);
    add_report(object, report);
    add_router_facts(object, rec, bus, before);
    add_misses(object, misses);
    if (told != nullptr)
        *told = report;
    return conversation.has_answered ? InfoResult::reported : conversation.unheard;
}
