#include "discovery/record/snapshot.h"

#include "core/model/state_dir.h"
#include "platform/clock.h"
#include "platform/text.h"

namespace {

constexpr char snapshot_file[] = "info.json";
constexpr char mark_file[] = "info.read";

} // namespace

const char *one_line(json_object *object)
{
    return json_object_to_json_string_ext(object, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

void write_snapshot(const char *bus, json_object *report)
{
    write_state(bus, snapshot_file, one_line(report), 0600);
}

Json read_snapshot(const char *bus)
{
    HeapText text{static_cast<char *>(calloc(1, longest_snapshot))};
    if (text == nullptr || read_state(bus, snapshot_file, longest_snapshot - 1, {text.get(), longest_snapshot}) <= 0)
        return nullptr;
    Json report{json_tokener_parse(text.get())};
    if (!json_object_is_type(report.get(), json_type_object))
        return nullptr;
    const int64_t made = json_object_get_int64(kjson_get_object(report.get(), "uptime_s"));
    const int64_t age = monotonic_ms() / 1000 - made;
    if (age < 0)
        return nullptr;
    kjson_add_int(report.get(), "age_s", static_cast<int32_t>(age));
    return report;
}

void mark_snapshot(const char *bus)
{
    write_state(bus, mark_file, {}, 0600);
}

bool take_snapshot_mark(const char *bus)
{
    const bool is_there = has_state(bus, mark_file);
    remove_state(bus, mark_file);
    return is_there;
}
