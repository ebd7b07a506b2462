#include "api/request.h"

#include <string_view>

#include "api/modem_api.h"
#include "core/table/modem_table.h"

namespace {

bool names_bus(std::string_view text)
{
    return is_made_of(text, "-.");
}

bool has_member(json_object *request, const RequiredMember &member)
{
    if (member.kind == RequiredMember::Kind::present)
        return kjson_contain_key(request, member.key) != 0;
    const char *text = kjson_get_string(request, member.key);
    return text != nullptr && (member.kind == RequiredMember::Kind::text || names_bus(text));
}

} // namespace

int32_t check_request(json_object *request, std::span<const RequiredMember> members)
{
    for (const RequiredMember &member : members)
        if (!has_member(request, member))
            return member.status;
    return modem_api_success;
}

std::optional<BusName> requested_bus(json_object *request)
{
    const std::string_view bus = requested_text(request, "bus", "");
    if (!names_bus(bus))
        return std::nullopt;
    return bus.empty() ? BusName{default_bus} : BusName{bus};
}

const char *requested_text(json_object *request, const char *key, const char *fallback)
{
    const char *text = kjson_get_string(request, key);
    return text == nullptr ? fallback : text;
}

ModemDriver *requested_model(json_object *request)
{
    return find_driver_by_id(modem_drivers(), kjson_get_int(request, "modem_id"));
}
