#include "watch/budgets.h"

#include <algorithm>

namespace {

struct Budget {
    uint8_t hour;
    uint8_t day;
    bool is_reset;
};
// clang-format off
constexpr Budget budgets[watch_stages] = {
    {6, 60, false}, {6, 40, false}, {3, 12, false}, {2, 8, true}, {2, 6, true}, {1, 4, true}, {1, 1, true},
};
// clang-format on

template <size_t N> void shift(std::array<uint8_t, N> &counts)
{
    std::copy_backward(counts.begin(), counts.end() - 1, counts.end());
    counts[0] = 0;
}

template <size_t N> uint32_t sum(const std::array<uint8_t, N> &counts)
{
    uint32_t total = 0;
    for (const uint8_t count : counts)
        total += count;
    return total;
}

} // namespace

void pass_budget_time(WatchMemory &memory)
{
    for (const uint32_t slot = memory.clock / watch_slot_length; memory.slot < slot; memory.slot++)
        for (size_t stage = 0; stage < watch_stages; stage++) {
            shift(memory.by_slot[stage]);
            if ((memory.slot + 1) % 6 == 0)
                shift(memory.by_hour[stage]);
        }
}

void spend_budget(WatchMemory &memory, WatchStage stage)
{
    memory.by_slot[static_cast<size_t>(stage)][0]++;
    memory.by_hour[static_cast<size_t>(stage)][0]++;
}

bool is_reset(WatchStage stage)
{
    return budgets[static_cast<size_t>(stage)].is_reset;
}

uint32_t watch_budget_of_hour(WatchStage stage)
{
    return budgets[static_cast<size_t>(stage)].hour;
}

uint32_t watch_budget(uint32_t resets_per_day, const WatchMemory &memory, WatchStage stage)
{
    const auto index = static_cast<size_t>(stage);
    const auto left = [](uint32_t budget, uint32_t spent) { return spent < budget ? budget - spent : 0; };
    uint32_t least = std::min(left(budgets[index].hour, sum(memory.by_slot[index])),
                              left(budgets[index].day, sum(memory.by_hour[index])));
    if (stage >= WatchStage::modem) {
        uint32_t resets = 0;
        for (auto other = static_cast<size_t>(WatchStage::modem); other < watch_stages; other++)
            resets += sum(memory.by_hour[other]);
        least = std::min(least, left(resets_per_day, resets));
    }
    return least;
}
