#include "watch/options.h"

#include <arpa/inet.h>

#include "core/model/modem.h"
#include "readings/fields.h"
#include "watch/settings.h"

namespace {

bool is_one_of(std::string_view word, std::string_view words)
{
    while (!words.empty())
        if (take_until(words, " ") == word)
            return true;
    return false;
}

// Addresses only: a name would have to be looked up on the line that is in doubt.
bool are_addresses(std::string_view text, std::string_view)
{
    while (!text.empty()) {
        const Text<46> address{take_until(text, " ")};
        in6_addr parsed;
        if (inet_pton(AF_INET, address.c_str(), &parsed) != 1 && inet_pton(AF_INET6, address.c_str(), &parsed) != 1)
            return false;
    }
    return true;
}

bool are_countries(std::string_view text, std::string_view words)
{
    if (is_one_of(text, words))
        return true;
    while (!text.empty())
        if (const std::string_view code = take_until(text, " ,");
            !code.empty() && (code.size() != 3 || !starts_with_digits(code, 3)))
            return false;
    return true;
}

bool is_number(std::string_view text, std::string_view range)
{
    const auto number = decimal(text);
    return number && *number >= *decimal(take_until(range, " ")) && *number <= *decimal(range);
}

bool are_percents(std::string_view text, std::string_view)
{
    while (!text.empty())
        if (!is_number(take_until(text, " "), "1 100"))
            return false;
    return true;
}

struct TextOption {
    char name[13];
    uint8_t longest;
    bool (*takes)(std::string_view text, std::string_view parameter);
    const char *parameter;
    const char *usual;
};

// clang-format off
constexpr TextOption texts[] = {
    {"enabled",      1,  is_one_of,     "0 1",                                            "1"},
    {"interface",    15, is_made_of,    "_",                                              ""},
    {"probe",        4,  is_one_of,     "none dns ping both",                             "both"},
    {"target",       93, are_addresses, "",                                               ""},
    {"led",          31, is_made_of,    "_-.:",                                           ""},
    {"roaming",      63, are_countries, "allow deny",                                     "allow"},
    {"last_stage",   11, is_one_of,     "refresh reconnect radio modem usb power router", "power"},
    {"usage_limit",  9,  is_number,     "0 100000000",                                    "0"},
    {"usage_day",    2,  is_number,     "1 28",                                           "1"},
    {"usage_warn",   15, are_percents,  "",                                               ""},
    {"usage_action", 10, is_one_of,     "disconnect",                                     ""},
};
// clang-format on

class OptionAdder {
  public:
    OptionAdder(const char *bus, json_object *values, json_object *defaults)
        : uci_(kuci2_init()), values_(values), defaults_(defaults)
    {
        bus_to_ident(bus, section_);
    }

    void add(const char *name, std::string_view usual) const
    {
        Text<96> value;
        read_watch_option(uci_, section_.c_str(), name, value);
        if (!value.empty())
            kjson_add_string(values_, name, value.view());
        kjson_add_string(defaults_, name, usual);
    }

  private:
    Uci uci_;
    Text<16> section_;
    json_object *values_;
    json_object *defaults_;
};

} // namespace

void add_watch_options(json_object *values, json_object *defaults, const char *bus)
{
    const WatchConfig usual;
    const OptionAdder adder{bus, values, defaults};
    for (const WatchNumber &option : watch_numbers())
        adder.add(option.name, Text<12>::format("%u", usual.*option.number).view());
    for (const TextOption &option : texts)
        adder.add(option.name, option.usual);
    kjson_add_string(defaults, "interface", interface_of_bus(bus).view());
}

bool takes_watch_option(std::string_view name, std::string_view value)
{
    for (const WatchNumber &option : watch_numbers())
        if (name == option.name) {
            const auto number = decimal(value);
            return value.empty() || (number && *number >= option.least && *number <= option.most);
        }
    for (const TextOption &option : texts)
        if (name == option.name)
            return value.empty() || (value.size() <= option.longest && option.takes(value, option.parameter));
    return false;
}
