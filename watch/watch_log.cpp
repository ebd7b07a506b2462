#include "watch/watch_log.h"

#include <algorithm>
#include <ctime>

#include "core/model/state_dir.h"
#include "platform/clock.h"
#include "readings/fields.h"

namespace {

// A line for each change: "uptime text".
constexpr char log_file[] = "watch.log";
constexpr size_t longest_log = 8192;

} // namespace

void note_watch_change(const char *bus, std::string_view line)
{
    const HeapText text{static_cast<char *>(calloc(1, longest_log))};
    if (text == nullptr)
        return;
    read_state(bus, log_file, longest_log - 1, {text.get(), longest_log});
    const auto added = Text<200>::format("%u %.*s\n", uptime_s(), static_cast<int>(line.size()), line.data());
    std::string_view kept = text.get();
    while (kept.size() + added.size() >= longest_log)
        take_until(kept, "\n");
    memmove(text.get(), kept.data(), kept.size());
    memcpy(text.get() + kept.size(), added.c_str(), added.size() + 1);
    write_state(bus, log_file, text.get(), 0600);
}

void read_watch_log(const char *bus, json_object *list, size_t most)
{
    const HeapText text{static_cast<char *>(calloc(1, longest_log))};
    if (text == nullptr)
        return;
    read_state(bus, log_file, longest_log - 1, {text.get(), longest_log});
    std::string_view rest = text.get();
    size_t lines = static_cast<size_t>(std::count(rest.begin(), rest.end(), '\n'));
    const time_t now = time(nullptr);
    for (; !rest.empty(); lines--) {
        std::string_view line = take_until(rest, "\n");
        const auto at_s = decimal(take_until(line, " "));
        if (!at_s || lines > most)
            continue;
        Json entry{json_object_new_object()};
        if (now > year_2025)
            kjson_add_int64(entry.get(), "time", now - (uptime_s() - *at_s));
        kjson_add_int64(entry.get(), "uptime_s", *at_s);
        kjson_add_string(entry.get(), "text", line);
        kjson_array_add(list, std::move(entry));
    }
}
