#include "core/cli/rpcd_call.h"

#include <cstring>

#include "core/cli/modems.h"
#include "core/cli/rpcd_jobs.h"
#include "core/cli/rpcd_methods.h"
#include "core/cli/watch_command.h"
#include "readings/band_settings.h"
#include "readings/radio_modes.h"

namespace {

using Type = RpcdArgumentRow::Type;

// clang-format off
constexpr RpcdArgumentRow arguments[] = {
    // name       type          required  least   most
    {"",          Type::none,   false,    0,      0},
    {"bus",       Type::text,   false,    1,      BusName::capacity() - 1},
    {"since",     Type::number, false,    1,      10'080},
    {"values",    Type::object, true,     1,      40},
    {"minutes",   Type::number, true,     1,      10'080},
    {"number",    Type::text,   true,     3,      21},
    {"text",      Type::text,   true,     1,      2'048},
    {"id",        Type::text,   true,     4,      120},
    {"lines",     Type::number, false,    1,      500},
    {"id",        Type::text,   true,     32,     32},
    {"bands",     Type::list,   true,     1,      64},
    {"keep",      Type::truth,  false,    0,      1},
    {"mode",      Type::text,   true,     2,      5},
    {"command",   Type::text,   true,     2,      253},
};
// clang-format on
static_assert(std::size(arguments) == static_cast<size_t>(RpcdArgument::count));

constexpr char bad_argument[] = "bad-argument";

const RpcdArgumentRow &row_of(RpcdArgument argument)
{
    return arguments[static_cast<size_t>(argument)];
}

bool is_printable(std::string_view text)
{
    for (const char character : text)
        if (character < ' ' || character > '~')
            return false;
    return true;
}

// A message may have several lines, but nothing else that a terminal or a header of the spool would take for an order.
bool is_message_text(std::string_view text)
{
    for (const char character : text)
        if ((static_cast<unsigned char>(character) < ' ' && character != '\n') || character == '\x7f')
            return false;
    return true;
}

bool is_recipient(std::string_view text)
{
    if (text.starts_with('+'))
        text.remove_prefix(1);
    return starts_with_digits(text, text.size()) && text.size() >= 3 && text.size() <= 20;
}

bool is_job_id(std::string_view text)
{
    return text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

// A line end would begin a second command.
bool is_at_command(std::string_view text)
{
    return is_printable(text) && (text[0] == 'A' || text[0] == 'a') && (text[1] == 'T' || text[1] == 't');
}

bool fits_form(RpcdArgument argument, std::string_view text)
{
    switch (argument) {
    case RpcdArgument::bus:
        return is_plain_bus(text);
    case RpcdArgument::recipient:
        return is_recipient(text);
    case RpcdArgument::text:
        return is_message_text(text);
    case RpcdArgument::message:
        return is_message_text(text) && text.find('\n') == std::string_view::npos;
    case RpcdArgument::job:
        return is_job_id(text);
    case RpcdArgument::mode:
        return parse_radio_mode(text) != RadioMode::other;
    default:
        return is_at_command(text);
    }
}

// The bands as the command line takes them: "B3,n78"; empty if they are no bands.
Text<400> band_list(json_object *value)
{
    Text<400> list;
    if (json_object_is_type(value, json_type_string))
        return json_object_get_string(value) == std::string_view{"auto"} ? "auto" : list;
    for (size_t i = 0; i < json_object_array_length(value); i++) {
        json_object *band = json_object_array_get_idx(value, i);
        const char *name = json_object_is_type(band, json_type_string) ? json_object_get_string(band) : "";
        if (*name == '\0' || !is_made_of(name, "") || !list.append(i == 0 ? "" : ",") || !list.append(name))
            return {};
    }
    return parse_band_list(list.view()) ? list : Text<400>{};
}

bool fits(RpcdArgument argument, json_object *value)
{
    const RpcdArgumentRow &row = row_of(argument);
    switch (row.type) {
    case Type::text: {
        if (!json_object_is_type(value, json_type_string))
            return false;
        const std::string_view text{json_object_get_string(value),
                                    static_cast<size_t>(json_object_get_string_len(value))};
        return text.size() >= row.least && text.size() <= row.most && text.find('\0') == std::string_view::npos &&
               fits_form(argument, text);
    }
    case Type::number: {
        const int64_t number = json_object_get_int64(value);
        return json_object_is_type(value, json_type_int) && number >= row.least && number <= row.most;
    }
    case Type::truth:
        return json_object_is_type(value, json_type_boolean);
    case Type::list: {
        const bool is_list = json_object_is_type(value, json_type_array);
        const size_t count = is_list ? json_object_array_length(value) : 1;
        return (is_list || json_object_is_type(value, json_type_string)) && count >= row.least && count <= row.most &&
               !band_list(value).empty();
    }
    default:
        return json_object_is_type(value, json_type_object) && json_object_object_length(value) >= row.least &&
               json_object_object_length(value) <= row.most;
    }
}

RpcdArgument find_argument(const RpcdMethod &method, std::string_view name)
{
    for (const RpcdArgument argument : method.takes)
        if (argument != RpcdArgument::none && name == row_of(argument).name)
            return argument;
    return RpcdArgument::none;
}

// The first modem of the router; empty without one.
BusName first_bus()
{
    const Json modems = list_modems();
    const char *bus = json_object_array_length(modems.get()) == 0
                          ? nullptr
                          : kjson_get_string(json_object_array_get_idx(modems.get(), 0), "bus");
    return bus != nullptr && is_plain_bus(bus) ? BusName{std::string_view{bus}} : BusName{};
}

} // namespace

std::span<const RpcdArgumentRow> rpcd_arguments()
{
    return arguments;
}

const char *RpcdCall::text(RpcdArgument argument) const
{
    const char *found = kjson_get_string(arguments, row_of(argument).name);
    return found == nullptr ? "" : found;
}

int RpcdCall::number(RpcdArgument argument, int usual) const
{
    json_object *value = kjson_get_object(arguments, row_of(argument).name);
    return value == nullptr ? usual : json_object_get_int(value);
}

void rpcd_fail(json_object *answer, const char *word, const char *format, ...)
{
    Text<200> sentence;
    va_list values;
    va_start(values, format);
    sentence.out().assign_format(format, values);
    va_end(values);
    kjson_add_string(answer, "error", word);
    kjson_add_string(answer, "message", sentence.view());
}

void rpcd_succeed(json_object *answer)
{
    kjson_add_string(answer, "result", "ok");
}

void rpcd_add_members(json_object *answer, json_object *source)
{
    if (!json_object_is_type(source, json_type_object))
        return;
    json_object_object_foreach(source, name, value) kjson_add_object(answer, name, json_share(value));
}

Json parse_rpcd_input(std::string_view input, json_object *answer)
{
    constexpr int deepest = 4;
    constexpr std::string_view white_space = " \t\r\n";
    if (input.size() > longest_rpcd_input) {
        rpcd_fail(answer, bad_argument, "the arguments are longer than %zu bytes", longest_rpcd_input);
        return nullptr;
    }
    while (!input.empty() && white_space.find(input.back()) != std::string_view::npos)
        input.remove_suffix(1);
    if (input.empty())
        return Json{json_object_new_object()};
    json_tokener *tokener = json_tokener_new_ex(deepest);
    Json parsed;
    if (tokener != nullptr && input.find('\0') == std::string_view::npos && is_utf8(input)) {
        parsed.reset(json_tokener_parse_ex(tokener, input.data(), static_cast<int>(input.size())));
        if (json_tokener_get_error(tokener) != json_tokener_success ||
            json_tokener_get_parse_end(tokener) != input.size() || !json_object_is_type(parsed.get(), json_type_object))
            parsed.reset();
    }
    if (tokener != nullptr)
        json_tokener_free(tokener);
    if (parsed == nullptr)
        rpcd_fail(answer, bad_argument, "the arguments are not a JSON object");
    return parsed;
}

bool check_rpcd_arguments(const RpcdMethod &method, json_object *given, json_object *answer)
{
    // uhttpd adds the caller's session.
    kjson_del_key(given, "ubus_rpc_session");
    json_object_object_foreach(given, name, value)
    {
        const RpcdArgument argument = find_argument(method, name);
        if (argument == RpcdArgument::none) {
            rpcd_fail(answer, bad_argument, "%s takes no argument of this name", method.name);
            return false;
        }
        if (value != nullptr && !fits(argument, value)) {
            rpcd_fail(answer, bad_argument, "%s is not as it must be", row_of(argument).name);
            return false;
        }
    }
    for (const RpcdArgument argument : method.takes)
        if (row_of(argument).is_required && kjson_get_object(given, row_of(argument).name) == nullptr) {
            rpcd_fail(answer, bad_argument, "%s is missing", row_of(argument).name);
            return false;
        }
    if (json_object *bands = kjson_get_object(given, "bands"); bands != nullptr)
        kjson_add_string(given, "bands", band_list(bands).view());
    return true;
}

void answer_rpcd_call(std::string_view name, std::string_view input, json_object *answer)
{
    for (const RpcdMethod &method : rpcd_methods()) {
        if (name != method.name)
            continue;
        const Json given = parse_rpcd_input(input, answer);
        if (given == nullptr || !check_rpcd_arguments(method, given.get(), answer))
            return;
        RpcdCall call{.method = method, .bus = {}, .arguments = given.get()};
        if (find_argument(method, "bus") != RpcdArgument::none) {
            call.bus.assign(call.text(RpcdArgument::bus));
            if (call.bus.empty())
                call.bus = first_bus();
            if (call.bus.empty())
                return rpcd_fail(answer, "no-modem", "there is no modem on any bus");
        }
        if (method.answer != nullptr)
            method.answer(call, answer);
        else
            start_rpcd_job(call, answer);
        return;
    }
    rpcd_fail(answer, "not-found", "there is no such method");
}

Json list_rpcd_methods()
{
    Json list{json_object_new_object()};
    for (const RpcdMethod &method : rpcd_methods()) {
        Json signature{json_object_new_object()};
        for (const RpcdArgument argument : method.takes) {
            const RpcdArgumentRow &row = row_of(argument);
            constexpr int example = 32; // rpcd takes the number for its size in bits
            if (row.type == Type::text)
                kjson_add_string(signature.get(), row.name, "");
            else if (row.type == Type::number)
                kjson_add_int(signature.get(), row.name, example);
            else if (row.type == Type::truth)
                kjson_add_boolean(signature.get(), row.name, false);
            else if (row.type != Type::none)
                kjson_add_object(signature.get(), row.name,
                                 Json{row.type == Type::list ? json_object_new_array() : json_object_new_object()});
        }
        kjson_add_object(list.get(), method.name, std::move(signature));
    }
    return list;
}
