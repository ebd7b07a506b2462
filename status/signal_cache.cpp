#include "status/signal_cache.h"

#include "core/model/signal_grade.h"
#include "core/model/state_dir.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "status/shell_lines.h"

namespace {

constexpr GradeSteps lte_snr_tenths_steps = {200, 120, 0};

int32_t grade(json_object *cache, const char *key, const GradeSteps &steps)
{
    const int32_t reading = kjson_contain_key(cache, key) ? kjson_get_int(cache, key) : 0;
    return grade_reading(reading, steps);
}

int32_t lte_level(json_object *cache)
{
    return (grade(cache, "rsrp", lte_rsrp_steps) + grade(cache, "rsrq", lte_rsrq_steps) +
            grade(cache, "snr", lte_snr_tenths_steps) + grade(cache, "rssi", lte_rssi_steps)) /
           4;
}

int32_t cdma_level(json_object *cache)
{
    return (grade(cache, "rssi", older_rssi_steps) + grade(cache, "ecio", older_ecio_steps)) / 2;
}

int32_t gsm_level(json_object *cache)
{
    return grade(cache, "signal", older_rssi_steps);
}

// A cached value and the key it is reported under.
struct Detail {
    const char *key;
    const char *cached;
};

struct Technology {
    std::string_view word;
    int code;
    int32_t (*level)(json_object *cache);
    const char *type;
    Detail details[4];
};
// clang-format off
constexpr Technology technologies[] = {
    {"lte",   4, lte_level,  "LTE",   {{"rssi", "rssi"}, {"rsrp", "rsrp"}, {"rsrq", "rsrq"}, {"sinr", "snr"}}},
    {"wcdma", 3, cdma_level, "WCDMA", {{"rssi", "rssi"}, {"ecio", "ecio"}}},
    {"hdr",   3, cdma_level, "HDR",   {{"rssi", "rssi"}, {"ecio", "ecio"}}},
    {"cdma",  2, cdma_level, "CDMA",  {{"rssi", "rssi"}, {"ecio", "ecio"}}},
    {"gsm",   2, gsm_level,  "GSM",   {{"rssi", "signal"}}},
    {"tdma",  2, gsm_level,  "TDMA",  {{"rssi", "rssi"}}},  // graded by "signal" although it reports "rssi"
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
    const auto file = state_path(bus, "signal");
    if (file.empty() || !can_be_read_to_its_end(file.c_str())) // "cat" would wait for a pipe's writer for ever
        return nullptr;
    const HeapText text = getShellCommandReturnDynamic(compose_read_signal_cache(bus));
    Json cache{text == nullptr ? nullptr : json_tokener_parse(text.get())};
    return json_object_is_type(cache.get(), json_type_object) ? std::move(cache) : nullptr;
}

} // namespace

int grade_signal_cache(json_object *cache, int32_t &level)
{
    const Technology *technology = technology_of(cache);
    if (technology == nullptr)
        return -1;
    level = technology->level(cache);
    return technology->code;
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
        const int32_t value = kjson_contain_key(cache, detail.cached) ? kjson_get_int(cache, detail.cached) : 0;
        kjson_add_string(details, detail.key, Text<12>::format("%d", value).view());
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
    return evaluate_signal_cache(bus, level);
}
