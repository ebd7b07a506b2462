#include "core/cli/history_command.h"

#include <cstdio>
#include <cstring>

#include "core/model/modem.h"
#include "discovery/record/snapshot.h"
#include "platform/clock.h"
#include "platform/tell_person.h"
#include "readings/fields.h"
#include "readings/report.h"
#include "status/history.h"
#include "status/usage.h"
#include "watch/states.h"

namespace {

constexpr int exit_usage = 64;
constexpr int exit_nothing = 1;
constexpr int64_t longest_time_s = 7 * 86400;

struct Options {
    bool json = false;
    int64_t since_s = INT32_MIN; ///< uptime
};

bool read_options(std::span<char *const> words, bool has_since, Options &options)
{
    for (size_t i = 0; i < words.size(); i++) {
        const std::string_view word = words[i];
        if (word == "--json") {
            options.json = true;
        } else if (word == "--since" && has_since && i + 1 < words.size()) {
            const auto time = parse_time(words[++i]);
            if (!time)
                return false;
            options.since_s = monotonic_ms() / 1000 - *time;
        } else {
            return false;
        }
    }
    return true;
}

struct Level {
    const char *key;
    int16_t value;
    bool is_in_tenths;
};

void print_sample(void *context, const HistorySample &sample)
{
    auto *list = static_cast<json_object *>(context);
    const Level levels[] = {{"rssi_dbm", sample.rssi_dbm, false},
                            {"rsrp_dbm", sample.rsrp_dbm, false},
                            {"rsrq_db", sample.rsrq_db10, true},
                            {"sinr_db", sample.sinr_db10, true}};
    const char *technology = sample.technology <= static_cast<uint8_t>(Technology::nr_sa)
                                 ? technology_name(static_cast<Technology>(sample.technology))
                                 : nullptr;
    const char *state = sample.state < static_cast<uint8_t>(WatchState::count)
                            ? watch_state_name(static_cast<WatchState>(sample.state))
                            : "";
    Json object{json_object_new_object()};
    const auto add_number = [&object](const char *key, uint64_t number) {
        kjson_add_int64(object.get(), key, static_cast<int64_t>(number));
    };
    add_number("uptime_s", sample.uptime_s);
    // The clock may have been set since.
    if (const time_t now = time(nullptr); now > year_2025)
        add_number("time", static_cast<uint32_t>(now) - uptime_s() + sample.uptime_s);
    kjson_add_string(object.get(), "state", state);
    if (technology != nullptr)
        kjson_add_string(object.get(), "technology", technology);
    if (sample.cell_id != 0)
        add_number("cell_id", static_cast<uint64_t>(sample.cell_id));
    for (const Level &level : levels)
        if (level.value != not_measured)
            kjson_add_object(
                object.get(), level.key,
                Json{level.is_in_tenths
                         ? json_object_new_double_s(level.value / 10.0,
                                                    Text<12>::format("%s%d.%d", level.value < 0 ? "-" : "",
                                                                     abs(level.value) / 10, abs(level.value) % 10)
                                                        .c_str())
                         : json_object_new_int(level.value)});
    add_number("rx_bytes", sample.rx_bytes);
    add_number("tx_bytes", sample.tx_bytes);
    if (list != nullptr) {
        kjson_array_add(list, std::move(object));
        return;
    }
    bool is_first = true;
    json_object_object_foreach(object.get(), key, value)
    {
        printf("%s%s %s", is_first ? "" : "  ", key, json_object_get_string(value));
        is_first = false;
    }
    puts("");
}

} // namespace

std::optional<int64_t> parse_time(std::string_view text)
{
    int64_t unit = 1;
    constexpr struct {
        char letter;
        int64_t seconds;
    } units[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};
    for (const auto &row : units)
        if (text.ends_with(row.letter)) {
            unit = row.seconds;
            text.remove_suffix(1);
            break;
        }
    const auto count = decimal(text);
    if (!count || *count <= 0 || *count > longest_time_s / unit)
        return std::nullopt;
    return *count * unit;
}

Json list_history(const char *bus, int64_t since_s)
{
    Json list{json_object_new_array()};
    read_history(bus, since_s, print_sample, list.get());
    return list;
}

const char *take_bus(std::span<char *const> &words, const char *usual)
{
    if (words.empty() || !is_digit(words.front()[0]) || strchr(words.front(), '-') == nullptr)
        return usual;
    const char *bus = words.front();
    words = words.last(words.size() - 1);
    return bus;
}

int run_history(const CommandRun &run)
{
    std::span<char *const> words = run.arguments;
    const char *bus = take_bus(words, run.bus);
    Options options;
    if (!read_options(words, true, options)) {
        tell_person("history [BUS] [--json] [--since TIME]");
        return exit_usage;
    }
    if (options.json) {
        const Json list = list_history(bus, options.since_s);
        puts(one_line(list.get()));
        return json_object_array_length(list.get()) > 0 ? 0 : exit_nothing;
    }
    const int count = read_history(bus, options.since_s, print_sample, nullptr);
    if (count == 0)
        tell_person("nothing has watched the modem on bus %s", bus);
    return count > 0 ? 0 : exit_nothing;
}

Text<12> month_text(uint32_t month)
{
    return Text<12>::format("%04u-%02u", month / 100, month % 100);
}

Json list_usage(const char *bus)
{
    UsageBook book = read_kept_usage();
    book.add(read_new_usage(bus));
    Json list{json_object_new_array()};
    for (size_t i = 0; i < book.size; i++) {
        const UsageEntry &entry = book.entries[i];
        Json object{json_object_new_object()};
        if (!entry.iccid.empty())
            kjson_add_string(object.get(), "iccid", entry.iccid.view());
        if (entry.month != 0)
            kjson_add_string(object.get(), "month", month_text(entry.month).view());
        kjson_add_int64(object.get(), "rx_bytes", static_cast<int64_t>(entry.rx_bytes));
        kjson_add_int64(object.get(), "tx_bytes", static_cast<int64_t>(entry.tx_bytes));
        kjson_array_add(list.get(), std::move(object));
    }
    return list;
}

int run_usage(const CommandRun &run)
{
    std::span<char *const> words = run.arguments;
    const char *bus = take_bus(words, run.bus);
    Options options;
    if (!read_options(words, false, options)) {
        tell_person("usage [BUS] [--json]");
        return exit_usage;
    }
    const Json list = list_usage(bus);
    if (options.json) {
        puts(one_line(list.get()));
        return 0;
    }
    const auto text = [](json_object *entry, const char *key, const char *otherwise) {
        const char *found = kjson_get_string(entry, key);
        return found == nullptr ? otherwise : found;
    };
    for (size_t i = 0; i < json_object_array_length(list.get()); i++) {
        json_object *entry = json_object_array_get_idx(list.get(), i);
        printf("%-22s  %s  received %s  sent %s\n", text(entry, "iccid", "-"), text(entry, "month", "-      "),
               text(entry, "rx_bytes", ""), text(entry, "tx_bytes", ""));
    }
    return 0;
}
