#include "core/cli/radio_commands.h"

#include <cstdio>
#include <cstring>

#include "core/cli/info_command.h"
#include "discovery/record/radio.h"
#include "platform/json.h"
#include "platform/tell_person.h"
#include "readings/fields.h"

namespace {

constexpr int exit_usage = 64;
constexpr int longest_wait_s = 3600;

struct Arguments {
    bool json = false;
    bool restores = false;
    const char *value = nullptr; ///< what to set; null: nothing is set
    RadioOptions options;
};

// value_option is the word in front of the value; empty: the value stands alone.
bool read_arguments(std::span<char *const> words, std::string_view value_option, Arguments &arguments)
{
    for (size_t i = 0; i < words.size(); i++) {
        const std::string_view word = words[i];
        const bool has_next = i + 1 < words.size();
        const bool is_option = word.starts_with('-');
        if (word == "--json")
            arguments.json = true;
        else if (word == "--restore")
            arguments.restores = true;
        else if (word == "--keep")
            arguments.options.keeps = true;
        else if (word == "--wait" && has_next) {
            const auto seconds = decimal(words[++i]);
            if (!seconds || *seconds < 1 || *seconds > longest_wait_s)
                return false;
            arguments.options.wait_s = static_cast<int>(*seconds);
        } else if (arguments.value == nullptr && word == value_option && has_next)
            arguments.value = words[++i];
        else if (arguments.value == nullptr && value_option.empty() && !is_option)
            arguments.value = words[i];
        else
            return false;
    }
    return !(arguments.restores && arguments.value != nullptr);
}

void add_bands(json_object *object, const char *key, const BandSettings &settings)
{
    const struct {
        const char *key;
        const char *letter;
        const BandSet &set;
    } rows[] = {{"lte", "B", settings.lte}, {"nr", "n", settings.nr}, {"nr_nsa", "n", settings.nr_nsa}};
    Json member{json_object_new_object()};
    for (const auto &row : rows) {
        if (!row.set.told)
            continue;
        Json list{json_object_new_array()};
        for (int band = 1; band <= 512; band++)
            if (row.set.has(band))
                kjson_array_add_string(list.get(), Text<8>::format("%s%d", row.letter, band).view());
        kjson_add_object(member.get(), row.key, std::move(list));
    }
    kjson_add_object(object, key, std::move(member));
}

// One line for each technology: "4G in use       B1 B3 B20".
void print_bands(json_object *object, const char *key, const char *what)
{
    static constexpr struct {
        const char *key;
        const char *name;
    } rows[] = {{"lte", "4G"}, {"nr", "5G"}, {"nr_nsa", "5G beside 4G"}};
    for (const auto &row : rows) {
        json_object *list = kjson_get_object(kjson_get_object(object, key), row.key);
        if (list == nullptr)
            continue;
        printf("%-23s", Text<32>::format("%s %s", row.name, what).c_str());
        for (size_t i = 0; i < json_object_array_length(list); i++)
            printf(" %s", json_object_get_string(json_object_array_get_idx(list, i)));
        puts("");
    }
}

// The document, or its lines, and the exit status.
int finish(const CommandRun &run, const Arguments &arguments, json_object *object, RadioResult result, const Why &why)
{
    if (result == RadioResult::refused) {
        tell_person("%s", why.c_str());
        kjson_add_string(object, "error", why.view());
    } else {
        tell_reason(static_cast<InfoResult>(result), run.bus);
    }
    if (arguments.json) {
        puts(json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE));
    } else if (result == RadioResult::done) {
        print_bands(object, "active", "in use");
        print_bands(object, "supported", "supported");
        const char *value = kjson_get_string(object, "value");
        if (const char *mode = kjson_get_string(object, "mode"); mode != nullptr)
            puts(value == nullptr ? mode : Text<220>::format("%s (%s)", mode, value).c_str());
    }
    return static_cast<int>(result);
}

Json begin(const CommandRun &run)
{
    Json object{json_object_new_object()};
    kjson_add_int(object.get(), "schema", 1);
    kjson_add_string(object.get(), "bus", run.bus);
    return object;
}

int print_usage(const char *usage)
{
    tell_person("%s", usage);
    return exit_usage;
}

} // namespace

int run_bands(const CommandRun &run)
{
    Arguments arguments;
    std::optional<BandSettings> wanted;
    const bool is_read = read_arguments(run.arguments, "--set", arguments);
    const bool is_auto = arguments.value != nullptr && strcmp(arguments.value, "auto") == 0;
    if (arguments.value != nullptr && !is_auto)
        wanted = parse_band_list(arguments.value);
    if (!is_read || (arguments.value != nullptr && !is_auto && !wanted))
        return print_usage("bands [--json] [--set B3,B20,n78|auto | --restore] [--keep] [--wait SECONDS]");
    BandReport report;
    Why why;
    const RadioResult result = arguments.restores ? restore_bands(run.bus, report, why)
                               : arguments.value != nullptr
                                   ? set_bands(run.bus, wanted ? &*wanted : nullptr, arguments.options, report, why)
                                   : read_bands(run.bus, report, why);
    const Json object = begin(run);
    if (result == RadioResult::done) {
        add_bands(object.get(), "active", report.now);
        if (report.has.lte.told || report.has.nr.told)
            add_bands(object.get(), "supported", report.has);
    }
    return finish(run, arguments, object.get(), result, why);
}

int run_mode(const CommandRun &run)
{
    Arguments arguments;
    const bool is_read = read_arguments(run.arguments, "", arguments);
    const RadioMode wanted = arguments.value == nullptr ? RadioMode::other : parse_radio_mode(arguments.value);
    if (!is_read || (arguments.value != nullptr && wanted == RadioMode::other))
        return print_usage("mode [auto|4g|5g|4g+5g|3g|2g | --restore] [--json] [--keep] [--wait SECONDS]");
    ModeSetting setting;
    Why why;
    const RadioResult result = arguments.restores ? restore_radio_mode(run.bus, setting, why)
                               : arguments.value != nullptr
                                   ? set_radio_mode(run.bus, wanted, arguments.options, setting, why)
                                   : read_radio_mode(run.bus, setting, why);
    const Json object = begin(run);
    if (result == RadioResult::done) {
        kjson_add_string(object.get(), "mode", radio_mode_name(setting.mode));
        if (setting.mode == RadioMode::other)
            kjson_add_string(object.get(), "value", setting.value.view());
    }
    return finish(run, arguments, object.get(), result, why);
}
