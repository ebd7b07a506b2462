#include "readings/quality.h"

#include <span>

namespace {

// The least value of each level from 5 down to 1, in whole dBm and dB. The steps are those that makers of routers and
// antennas publish for aligning antennas, with the range that they call good cut in two.
struct Steps {
    Quantity quantity;
    const char *name;
    int16_t least[5];
};

// Asked in order: of two equally bad values the first is named, and interference is what a person can change least.
constexpr Steps lte_steps[] = {
    {Quantity::sinr, "sinr", {20, 10, 3, 0, -6}},
    {Quantity::rsrq, "rsrq", {-9, -12, -15, -18, -20}},
    {Quantity::rsrp, "rsrp", {-80, -95, -105, -115, -125}},
};
constexpr Steps wcdma_steps[] = {
    {Quantity::ecio, "ecio", {-6, -9, -12, -15, -20}},
    {Quantity::rscp, "rscp", {-70, -80, -90, -100, -110}},
};
constexpr Steps gsm_steps[] = {
    {Quantity::rssi, "rssi", {-70, -80, -90, -100, -107}},
};

constexpr const char *level_words[] = {"none", "very weak", "weak", "fair", "good", "excellent"};
constexpr int best_level = 5;

int level_of(int64_t hundredths, const Steps &steps)
{
    int level = best_level;
    for (const int16_t least : steps.least) {
        if (hundredths >= int64_t{least} * 100)
            return level;
        level--;
    }
    return level;
}

std::optional<Quality> judge(const Cell &cell, std::span<const Steps> rows)
{
    std::optional<Quality> worst;
    for (const Steps &steps : rows) {
        const auto value = cell.get(steps.quantity);
        if (!value)
            continue;
        const int level = level_of(*value, steps);
        if (!worst || level < worst->level)
            worst = Quality{.level = level, .words = level_words[level], .limit = steps.name};
    }
    return worst;
}

} // namespace

std::optional<Quality> judge(const Report &report)
{
    switch (report.technology) {
    case Technology::none:
        return Quality{.level = 0, .words = level_words[0], .limit = nullptr};
    case Technology::gsm:
        return judge(report.serving, gsm_steps);
    case Technology::wcdma:
        return judge(report.serving, wcdma_steps);
    default:
        return judge(report.serving, lte_steps);
    }
}
