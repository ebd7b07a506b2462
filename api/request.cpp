#include "api/request.h"

#include <iterator>
#include <string_view>

#include "core/model/modem.h"
#include "core/table/modem_table.h"

namespace {

using Kind = Check::Kind;

// clang-format off
constexpr Check checks[] = {
    {Need::modem_id,        Kind::member,       modem_api_parameter_missing, "modem_id"},
    {Need::modem_number,    Kind::number,       modem_api_parameter_missing, "modem_id"},
    {Need::model,           Kind::model,        modem_api_no_modem,          "modem_id"},
    {Need::bound_model,     Kind::bound_model,  modem_api_no_modem,          "modem_id"},
    {Need::bus,             Kind::required_bus, modem_api_parameter_missing, "bus"},
    {Need::optional_bus,    Kind::optional_bus, modem_api_parameter_missing, "bus"},
    {Need::bus_or_success,  Kind::optional_bus, modem_api_success,           "bus"},
    {Need::sim_bus,         Kind::any_bus,      modem_api_bad_sim_request,   "bus"},
    {Need::short_texts,     Kind::short_texts,  modem_api_parameter_or_sim,  ""},
    {Need::sim_num,         Kind::text,         modem_api_bad_sim_request,   "sim_num"},
    {Need::msg_id,          Kind::name,         modem_api_no_message_id,     "msg_id"},
    {Need::number,          Kind::text,         modem_api_no_number,         "number"},
    {Need::message,         Kind::text,         modem_api_no_message,        "message"},
    {Need::device,          Kind::text,         modem_api_parameter_or_sim,  "device"},
    {Need::at_command,      Kind::text,         modem_api_at_failed,         "at-command"},
    {Need::at_port,         Kind::text,         modem_api_at_failed,         "at-port"},
    {Need::modem_url,       Kind::text,         modem_api_parameter_or_sim,  "modem_url"},
    {Need::target_version,  Kind::text,         modem_api_parameter_or_sim,  "target_version"},
    {Need::current_version, Kind::text,         modem_api_parameter_or_sim,  "current_version"},
    {Need::firmware_upload, Kind::text,         modem_api_parameter_or_sim,  "firmware_upload"},
    {Need::hash_type,       Kind::text,         modem_api_parameter_or_sim,  "hash_type"},
    {Need::hash_value,      Kind::text,         modem_api_parameter_or_sim,  "hash_value"},
};
// clang-format on

consteval bool rows_stand_at_their_needs()
{
    for (size_t i = 0; i < std::size(checks); i++)
        if (static_cast<size_t>(checks[i].need) != i + 1)
            return false;
    return std::size(checks) + 1 == static_cast<size_t>(Need::handler);
}
static_assert(rows_stand_at_their_needs());

// Any other text is not a bus and must not reach a shell or a path. A text that is too long could name another bus.
bool names_bus(std::string_view text)
{
    return is_made_of(text, "-.") && fits_record(text);
}

bool take_bus(Request &request, Kind kind, const char *text)
{
    const bool is_left_open = text == nullptr || *text == '\0';
    if (is_left_open && kind == Kind::optional_bus)
        text = default_bus;
    else if (text == nullptr || (is_left_open && kind == Kind::required_bus) || !names_bus(text))
        return false;
    request.bus.assign(text);
    return true;
}

bool take_model(Request &request, Kind kind)
{
    request.model = find_model_by_id(kjson_get_int(request.json, "modem_id"));
    if (request.model != nullptr && kind == Kind::bound_model)
        driver_bind_bus(*request.model, request.bus.c_str());
    return request.model != nullptr;
}

bool has_short_texts(json_object *json)
{
    if (!json_object_is_type(json, json_type_object))
        return true;
    json_object_object_foreach(json, key, member)
    {
        static_cast<void>(key);
        if (json_object_is_type(member, json_type_string) &&
            static_cast<size_t>(json_object_get_string_len(member)) > longest_text)
            return false;
    }
    return true;
}

bool take(Request &request, const Check &check)
{
    switch (check.kind) {
    case Kind::member:
        return kjson_contain_key(request.json, check.key) != 0;
    case Kind::number:
        return kjson_get_int(request.json, check.key) != -1;
    case Kind::text:
        return request.text(check.key) != nullptr;
    case Kind::name:
        return kjson_get_string(request.json, check.key) != nullptr;
    case Kind::short_texts:
        return has_short_texts(request.json);
    case Kind::model:
    case Kind::bound_model:
        return take_model(request, check.kind);
    default:
        return take_bus(request, check.kind, request.text(check.key));
    }
}

} // namespace

const char *Request::text(const char *key) const
{
    const char *found = kjson_get_string(json, key);
    return found != nullptr && strnlen(found, longest_text + 1) > longest_text ? nullptr : found;
}

const Check &check_of(Need need)
{
    return checks[static_cast<size_t>(need) - 1];
}

const Check *find_missing_later(Request &request)
{
    for (; *request.later != Need::nothing && *request.later != Need::handler; request.later++)
        if (const Check &check = check_of(*request.later); !take(request, check))
            return &check;
    return nullptr;
}

int32_t serve(json_object *json, json_object *response, Handler handler, const Needs &needs)
{
    Request request = {.json = json, .later = needs.data()};
    if (const Check *missing = find_missing_later(request); missing != nullptr)
        return missing->status;
    if (*request.later == Need::handler)
        request.later++;
    return handler(request, response);
}
