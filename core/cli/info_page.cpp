#include "core/cli/info_page.h"

#include <cstdio>

#include "platform/text.h"

namespace {

// The ends of members' names that are units.
struct Unit {
    std::string_view end;
    const char *unit;
};
constexpr Unit units[] = {
    {"_dbm", " dBm"}, {"_db", " dB"}, {"_mhz", " MHz"}, {"_c", " °C"}, {"_s", " s"}, {"_bytes", " bytes"},
};

const Unit *unit_of(std::string_view key)
{
    for (const Unit &unit : units)
        if (key.ends_with(unit.end))
            return &unit;
    return nullptr;
}

// "rsrp_dbm" and -86 become "rsrp -86 dBm". Texts that speak for themselves are printed without their name.
void append_fact(TextOut line, const char *key, json_object *value)
{
    static constexpr std::string_view nameless[] = {"manufacturer", "model", "state",  "operator_name",
                                                    "technology",   "band",  "duplex", "role",
                                                    "rat",          "words", "name",   "what"};
    const std::string_view name = key;
    const Unit *unit = unit_of(name);
    std::string_view label = unit == nullptr ? name : first_characters(name, name.size() - unit->end.size());
    for (const std::string_view word : nameless)
        if (name == word)
            label = {};
    if (!line.empty())
        line.append(", ");
    for (const char character : label)
        line.append(character == '_' ? " " : std::string_view{&character, 1});
    const bool is_plain_yes = json_object_is_type(value, json_type_boolean) && json_object_get_boolean(value) != 0;
    if (is_plain_yes)
        return;
    if (!label.empty())
        line.append(" ");
    line.append(json_object_get_string(value));
    if (unit != nullptr)
        line.append(unit->unit);
}

void append_list(TextOut line, const char *key, json_object *list)
{
    const size_t length = json_object_array_length(list);
    if (length == 0)
        return;
    if (!line.empty())
        line.append(", ");
    line.append(key);
    for (size_t i = 0; i < length; i++) {
        line.append(" ");
        line.append(json_object_get_string(json_object_array_get_idx(list, i)));
    }
}

void print_line(const char *title, std::string_view text)
{
    if (!text.empty())
        printf("%-11s %.*s\n", title, static_cast<int>(text.size()), text.data());
}

using Line = Text<1000>;

void append_members(TextOut line, json_object *group)
{
    if (group == nullptr)
        return;
    json_object_object_foreach(group, key, value)
    {
        if (json_object_is_type(value, json_type_array))
            append_list(line, key, value);
        else
            append_fact(line, key, value);
    }
}

void print_group(json_object *report, const char *key)
{
    Line line;
    append_members(line, kjson_get_object(report, key));
    print_line(key, line.view());
}

void print_groups(json_object *report, const char *key)
{
    json_object *list = kjson_get_object(report, key);
    const char *title = key;
    for (size_t i = 0; list != nullptr && i < json_object_array_length(list); i++) {
        Line line;
        append_members(line, json_object_array_get_idx(list, i));
        print_line(title, line.view());
        title = "";
    }
}

void print_numbers(json_object *report, const char *key)
{
    Line line;
    json_object *list = kjson_get_object(report, key);
    for (size_t i = 0; list != nullptr && i < json_object_array_length(list); i++) {
        line.append(i == 0 ? "" : " ");
        line.append(json_object_get_string(json_object_array_get_idx(list, i)));
    }
    print_line(key, line.view());
}

// [####.] good, limited by sinr
void print_quality(json_object *report, bool in_colour)
{
    constexpr int best_level = 5;
    static constexpr const char *colours[] = {"\033[31m", "\033[31m", "\033[31m", "\033[33m", "\033[32m", "\033[32m"};
    json_object *quality = kjson_get_object(report, "quality");
    if (quality == nullptr)
        return;
    const int level = kjson_get_int(quality, "level");
    Line line;
    line.append("[");
    for (int i = 0; i < best_level; i++)
        line.append(i < level ? "#" : ".");
    line.append("] ");
    line.append(kjson_get_string(quality, "words"));
    if (const char *limit = kjson_get_string(quality, "limit"); limit != nullptr) {
        line.append(", limited by ");
        line.append(limit);
    }
    if (in_colour && level >= 0 && level <= best_level)
        printf("%-11s %s%s\033[0m\n", "signal", colours[level], line.c_str());
    else
        print_line("signal", line.view());
}

void print_csq(json_object *report)
{
    if (kjson_contain_key(report, "csq_rssi_dbm") != 0)
        print_line("csq", Text<32>::format("rssi %d dBm", kjson_get_int(report, "csq_rssi_dbm")).view());
}

} // namespace

void print_info_page(json_object *report, bool in_colour)
{
    print_line(
        "bus",
        Text<60>::format("%s, %d s old", kjson_get_string(report, "bus"), kjson_get_int(report, "age_s")).view());
    for (const char *key : {"model", "modem", "sim", "network", "serving"})
        print_group(report, key);
    print_quality(report, in_colour);
    print_csq(report);
    print_group(report, "nr");
    print_groups(report, "carriers");
    print_groups(report, "neighbours");
    print_numbers(report, "lte_bands");
    print_numbers(report, "nr_bands");
    for (const char *key : {"interface", "sms"})
        print_group(report, key);
    if (const char *mode = kjson_get_string(report, "scan_mode"); mode != nullptr)
        print_line("scan_mode", mode);
    print_groups(report, "missing");
}
