#include "api/sms.h"

#include "api/modem_api.h"
#include "api/request.h"
#include "api/shell_lines.h"
#include "core/model/modem.h"
#include "core/table/modem_table.h"
#include "platform/shell.h"
#include "platform/uci.h"
#include "sms/spool.h"

namespace {

constexpr RequiredMember message_id_required = {"msg_id", RequiredMember::Kind::text, modem_api_no_message_id};

// What every handler of messages checks: the members, then the model.
int32_t check_message_request(json_object *request, std::span<const RequiredMember> members)
{
    if (const int32_t status = check_request(request, members); status != modem_api_success)
        return status;
    return requested_model(request) == nullptr ? modem_api_no_modem : modem_api_success;
}

void set_country(json_object *request)
{
    const char *country = kjson_get_string(request, "country");
    const char *country_code = kjson_get_string(request, "country_code");
    const Uci uci = kuci2_init();
    kuci2_set(uci, "devconf.modem_sms", "service");
    // A null value would delete the option.
    if (country != nullptr)
        kuci2_set(uci, "devconf.modem_sms.country", country);
    if (country_code != nullptr)
        kuci2_set(uci, "devconf.modem_sms.country_code", country_code);
    kuci2_commit(uci, "devconf");
}

void report_country(json_object *response)
{
    Text<60> country;
    Text<20> country_code;
    const Uci uci = kuci2_init();
    kuci2_get(uci, "devconf.modem_sms.country", country);
    kuci2_get(uci, "devconf.modem_sms.country_code", country_code);
    kjson_add_string(response, "country", country.view());
    kjson_add_string(response, "country_code", country_code.view());
}

} // namespace

int32_t list_messages(json_object *request, json_object *response)
{
    static constexpr RequiredMember required[] = {modem_id_required};
    if (const int32_t status = check_message_request(request, required); status != modem_api_success)
        return status;
    Json messages{json_object_new_array()};
    sms_list_spool(messages.get());
    kjson_add_object(response, "messages", std::move(messages));
    return modem_api_success;
}

int32_t delete_message(json_object *request, json_object *)
{
    static constexpr RequiredMember required[] = {modem_id_required, message_id_required};
    if (const int32_t status = check_message_request(request, required); status != modem_api_success)
        return status;
    return remove_sms(kjson_get_string(request, "msg_id")) == 0 ? modem_api_success : modem_api_sms_not_deleted;
}

int32_t delete_all_messages(json_object *request, json_object *)
{
    static constexpr RequiredMember required[] = {modem_id_required};
    if (const int32_t status = check_message_request(request, required); status != modem_api_success)
        return status;
    const int result = remove_all_sms(kjson_get_int(request, "modem_id"));
    return result == 0 ? modem_api_success : modem_api_sms_not_deleted;
}

int32_t send_message(json_object *request, json_object *)
{
    using enum RequiredMember::Kind;
    static constexpr RequiredMember required[] = {
        modem_id_required, {"number", text, modem_api_no_number}, {"message", text, modem_api_no_message}};
    if (const int32_t status = check_message_request(request, required); status != modem_api_success)
        return status;
    set_current_modem_id(kjson_get_int(request, "modem_id"));
    execCommand(compose_send_message(kjson_get_string(request, "number"), kjson_get_string(request, "message"),
                                     requested_text(request, "type", "international"))
                    .c_str());
    return modem_api_success;
}

int32_t mark_message_read(json_object *request, json_object *)
{
    static constexpr RequiredMember required[] = {modem_id_required, message_id_required};
    if (const int32_t status = check_message_request(request, required); status != modem_api_success)
        return status;
    const int result = sms_mark_read(kjson_get_string(request, "msg_id"));
    return result == 0 ? modem_api_success : modem_api_sms_not_changed;
}

int32_t keep_message_country(json_object *request, json_object *response)
{
    const std::string_view action = requested_text(request, "action", "get");
    if (action == "set")
        set_country(request);
    else if (action == "get")
        report_country(response);
    return modem_api_success;
}
