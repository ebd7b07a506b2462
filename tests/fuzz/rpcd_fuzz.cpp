// Calls of the ubus object: a method's name, a line end, and the arguments as rpcd writes them. Only the checks run, so
// nothing is changed: what they let through must be what a handler may rely on.

#include <cstdint>
#include <string>

#include "core/cli/rpcd_methods.h"
#include "core/cli/watch_command.h"
#include "readings/band_settings.h"
#include "tests/fuzz/check.h"

namespace {

bool is_text(json_object *value, const RpcdArgumentRow &row)
{
    const char *text = json_object_get_string(value);
    const size_t length = json_object_is_type(value, json_type_string) ? strlen(text) : 0;
    return length >= row.least && length <= row.most &&
           length == static_cast<size_t>(json_object_get_string_len(value)) && is_utf8(text) &&
           std::string_view{text}.find_first_of("\r\x1a\x1b\x7f") == std::string_view::npos;
}

// What every handler relies on, said in another way than the checks say it.
void check_taken(const RpcdMethod &method, json_object *given)
{
    for (const RpcdArgument argument : method.takes) {
        const RpcdArgumentRow &row = rpcd_arguments()[static_cast<size_t>(argument)];
        json_object *value = argument == RpcdArgument::none ? nullptr : kjson_get_object(given, row.name);
        if (value == nullptr) {
            check(!row.is_required, "a required argument is there");
            continue;
        }
        if (row.type == RpcdArgumentRow::Type::text)
            check(is_text(value, row), "a text of its length without control characters");
        if (row.type == RpcdArgumentRow::Type::number)
            check(json_object_get_int64(value) >= row.least && json_object_get_int64(value) <= row.most,
                  "a number in its range");
        const char *text = json_object_get_string(value);
        if (argument == RpcdArgument::bus)
            check(is_plain_bus(text) && strchr(text, '/') == nullptr, "a bus is no path");
        if (argument == RpcdArgument::bands)
            check(std::string_view{text} == "auto" || parse_band_list(text).has_value(), "bands are bands");
        if (argument == RpcdArgument::command)
            check(strchr(text, '\n') == nullptr, "a command is one line");
    }
    check(kjson_contain_key(given, "ubus_rpc_session") == 0, "no session is passed on");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::string_view input{reinterpret_cast<const char *>(data), size};
    const std::string_view name = first_characters(input, input.find('\n'));
    input = without_first(input, name.size() + 1);
    for (const RpcdMethod &method : rpcd_methods()) {
        if (name != method.name)
            continue;
        const Json answer{json_object_new_object()};
        const Json given = parse_rpcd_input(input, answer.get());
        if (given != nullptr && check_rpcd_arguments(method, given.get(), answer.get()))
            check_taken(method, given.get());
        else
            check(std::string_view{kjson_get_string(answer.get(), "error")} == "bad-argument" &&
                      kjson_get_string(answer.get(), "message") != nullptr,
                  "what is refused says why");
    }
    return 0;
}
