#include "api/at_pass_through.h"

#include "api/modem_api.h"
#include "api/request.h"
#include "at/at_command.h"
#include "drivers/quectel_config.h"

namespace {

constexpr size_t longest_command = 255;

int32_t set_default_band(const char *port, json_object *response)
{
    Text<500> message;
    const int result = set_band_by_revision(port, message);
    kjson_add_string(response, "message", message.c_str());
    if (result == -1)
        return modem_api_at_failed;
    return result == -2 ? int32_t{modem_api_not_supported} : result;
}

} // namespace

int32_t modem_at(Request &request, json_object *response)
{
    const std::string_view command = first_characters(request.text("at-command"), longest_command);
    const char *port = request.text("at-port");
    if (command == "default_band")
        return set_default_band(port, response);
    Text<4096> reply;
    if (at_command(port, command, reply) != 0)
        return modem_api_at_failed;
    kjson_add_string(response, "message", reply.c_str());
    return modem_api_success;
}
