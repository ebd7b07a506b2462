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

void set_country(const Request &request)
{
    const char *country = request.text("country");
    const char *country_code = request.text("country_code");
    const Uci uci = kuci2_init();
    kuci2_set(uci, "devconf.modem_sms", "service");
    // An absent text leaves the option as it is; null would empty it.
    if (country != nullptr)
        kuci2_set(uci, "devconf.modem_sms.country", country);
    if (country_code != nullptr)
        kuci2_set(uci, "devconf.modem_sms.country_code", country_code);
    kuci2_commit(uci, "devconf");
}

void report_country(json_object *response)
{
    const Uci uci = kuci2_init();
    kjson_add_string(response, "country", uci.text<60>("devconf.modem_sms.country").c_str());
    kjson_add_string(response, "country_code", uci.text<20>("devconf.modem_sms.country_code").c_str());
}

} // namespace

int32_t modem_sms_list(Request &, json_object *response)
{
    Json messages{json_object_new_array()};
    sms_list_spool(messages.get());
    kjson_add_object(response, "messages", std::move(messages));
    return modem_api_success;
}

int32_t modem_sms_delete(Request &request, json_object *)
{
    return remove_sms(kjson_get_string(request.json, "msg_id")) == 0 ? modem_api_success : modem_api_sms_not_deleted;
}

int32_t modem_sms_delete_all(Request &request, json_object *)
{
    const int result = remove_all_sms(request.model->modem_id);
    return result == 0 ? modem_api_success : modem_api_sms_not_deleted;
}

int32_t modem_sms_send(Request &request, json_object *)
{
    set_current_modem_id(request.model->modem_id);
    execCommand(compose_send_message(request.text("number"), request.text("message"),
                                     request.text_or("type", "international")));
    return modem_api_success;
}

int32_t modem_sms_status(Request &request, json_object *)
{
    const int result = sms_mark_read(kjson_get_string(request.json, "msg_id"));
    return result == 0 ? modem_api_success : modem_api_sms_not_changed;
}

int32_t modem_sms_code(Request &request, json_object *response)
{
    // Any other text does nothing, whatever its length: it is not stored.
    const char *asked = kjson_get_string(request.json, "action");
    const std::string_view action = asked == nullptr ? "get" : asked;
    if (action == "set")
        set_country(request);
    else if (action == "get")
        report_country(response);
    return modem_api_success;
}
