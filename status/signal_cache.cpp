#include "status/signal_cache.h"

#include <span>

#include "core/model/generation.h"
#include "core/model/signal_grade.h"
#include "core/model/state_dir.h"
#include "platform/shell.h"
#include "status/shell_lines.h"

namespace {

using enum Generation;

// The SNR is in tenths of a dB.
constexpr Metric lte_metrics[] = {
    {"rsrp", lte_rsrp_steps}, {"rsrq", lte_rsrq_steps}, {"snr", {200, 120, 0}}, {"rssi", lte_rssi_steps}};
constexpr Metric cdma_metrics[] = {{"rssi", older_rssi_steps}, {"ecio", older_ecio_steps}};
constexpr Metric gsm_metrics[] = {{"signal", older_rssi_steps}};

// A value that the cache lacks is reported and graded as 0.
int32_t cached_value(json_object *cache, const char *key)
{
    return kjson_contain_key(cache, key) ? kjson_get_int(cache, key) : 0;
}

// A cached value and the key it is reported under.
struct Detail {
    const char *key;
    const char *cached;
};

struct Technology {
    std::string_view word;
    Generation generation;
    std::span<const Metric> metrics;
    const char *type;
    Detail details[4];
};
// clang-format off
constexpr Technology technologies[] = {
    {"lte",   g4, lte_metrics,  "LTE",   {{"rssi", "rssi"}, {"rsrp", "rsrp"}, {"rsrq", "rsrq"}, {"sinr", "snr"}}},
    {"wcdma", g3, cdma_metrics, "WCDMA", {{"rssi", "rssi"}, {"ecio", "ecio"}}},
    {"hdr",   g3, cdma_metrics, "HDR",   {{"rssi", "rssi"}, {"ecio", "ecio"}}},
    {"cdma",  g2, cdma_metrics, "CDMA",  {{"rssi", "rssi"}, {"ecio", "ecio"}}},
    {"gsm",   g2, gsm_metrics,  "GSM",   {{"rssi", "signal"}}},
    {"tdma",  g2, gsm_metrics,  "TDMA",  {{"rssi", "rssi"}}},  // graded by "signal" although it reports "rssi"
};
// clang-format on

// The first technology whose word starts with the cache's type: an empty type counts as LTE. Null without one.
const Technology *technology_of(json_object *cache)
{
    const char *type = kjson_get_string(cache, "type");
    if (type == nullptr)
        return nullptr;
    for (const Technology &technology : technologies)
        if (technology.word.starts_with(type))
            return &technology;
    return nullptr;
}

Json read_signal_cache(const char *bus)
{
    const auto command = compose_read_signal_cache(bus);
    if (!can_print_state(command, bus, "signal"))
        return nullptr;
    const HeapText text = getShellCommandReturnDynamic(command, Duration::short_time);
    Json cache{text == nullptr ? nullptr : json_tokener_parse(text.get())};
    return json_object_is_type(cache.get(), json_type_object) ? std::move(cache) : nullptr;
}

} // namespace

int grade_signal_cache(json_object *cache, int32_t &level)
{
    const Technology *technology = technology_of(cache);
    if (technology == nullptr)
        return -1;
    level = sum_of_grades(technology->metrics, [&](const char *key) { return cached_value(cache, key); }) /
            static_cast<int32_t>(technology->metrics.size());
    return static_cast<int>(technology->generation);
}

void add_cached_signal(json_object *cache, json_object *details)
{
    const Technology *technology = technology_of(cache);
    if (technology == nullptr)
        return;
    kjson_add_string(details, "type", technology->type);
    for (const Detail &detail : technology->details) {
        if (detail.key == nullptr)
            break;
        kjson_add_string(details, detail.key, Text<12>::format("%d", cached_value(cache, detail.cached)).c_str());
    }
}

int evaluate_signal_cache(const char *bus, int32_t &level)
{
    return grade_signal_cache(read_signal_cache(bus).get(), level);
}

int signal_details(const char *bus, json_object *array, int32_t &level)
{
    Json details{json_object_new_object()};
    add_cached_signal(read_signal_cache(bus).get(), details.get());
    kjson_array_add(array, std::move(details));
    // Reads the file a second time, on purpose: the writer may have replaced it, and scripts depend on the latest
    // level. It also keeps the list of commands that are run unchanged.
    return evaluate_signal_cache(bus, level);
}
