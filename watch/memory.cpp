#include "watch/memory.h"

#include <algorithm>

namespace {

// The numbers of a memory in the order of its text. A memory with a number above its limit is not ours.
struct MemoryRow {
    char name[10];
    uint32_t WatchMemory::*number;
    uint32_t most;
};
// clang-format off
constexpr MemoryRow memory_rows[] = {
    {"clock",     &WatchMemory::clock,     UINT32_MAX / 2},
    {"seen",      &WatchMemory::seen,      UINT32_MAX},
    {"state",     &WatchMemory::state,     static_cast<uint32_t>(WatchState::count) - 1},
    {"since",     &WatchMemory::since,     UINT32_MAX / 2},
    {"due",       &WatchMemory::due,       UINT32_MAX},
    {"next",      &WatchMemory::next,      watch_stages},
    {"round",     &WatchMemory::round,     UINT32_MAX},
    {"tries",     &WatchMemory::tries,     UINT32_MAX},
    {"connected", &WatchMemory::connected, 1},
    {"downed",    &WatchMemory::downed,    1},
    {"asked",     &WatchMemory::asked,     1},
    {"facts",     &WatchMemory::facts,     7},
    {"cause",     &WatchMemory::cause,     static_cast<uint32_t>(WatchCause::count) - 1},
    {"there",     &WatchMemory::there,     1},
    {"received",  &WatchMemory::received,  UINT32_MAX},
    {"sent",      &WatchMemory::sent,      UINT32_MAX},
    {"quiet",     &WatchMemory::quiet,     UINT32_MAX / 2},
    {"moved",     &WatchMemory::moved,     1},
    {"heard",     &WatchMemory::heard,     UINT32_MAX},
    {"probed",    &WatchMemory::probed,    UINT32_MAX / 2},
    {"answered",  &WatchMemory::answered,  1},
    {"outage",    &WatchMemory::outage,    UINT32_MAX / 2},
    {"pin_sent",  &WatchMemory::pin_sent,  UINT32_MAX},
    {"reboots",   &WatchMemory::reboots,   UINT32_MAX},
    {"slot",      &WatchMemory::slot,      UINT32_MAX},
};
// clang-format on

template <typename Visit> bool each_count(WatchMemory &memory, Visit visit)
{
    for (size_t stage = 0; stage < watch_stages; stage++) {
        for (uint8_t &count : memory.by_slot[stage])
            if (!visit(count))
                return false;
        for (uint8_t &count : memory.by_hour[stage])
            if (!visit(count))
                return false;
    }
    return true;
}

bool take_number(std::string_view &text, uint32_t &number)
{
    uint64_t value = 0;
    size_t digits = 0;
    for (; digits < text.size() && is_digit(text[digits]) && digits < 10; digits++)
        value = value * 10 + static_cast<uint64_t>(text[digits] - '0');
    text.remove_prefix(digits);
    number = static_cast<uint32_t>(value);
    return digits > 0 && value <= UINT32_MAX;
}

bool take_word(std::string_view &text, std::string_view word)
{
    if (!text.starts_with(word))
        return false;
    text.remove_prefix(word.size());
    return true;
}

// A count is one character from '0' up: no stage runs more than 60 times a day.
constexpr char count_zero = '0';
constexpr uint8_t most_count = 'z' - count_zero;

bool read_memory(std::string_view text, WatchMemory &memory)
{
    for (const MemoryRow &row : memory_rows)
        if (!take_word(text, row.name) || !take_word(text, " ") || !take_number(text, memory.*row.number) ||
            memory.*row.number > row.most || !take_word(text, "\n"))
            return false;
    const auto read = [&text](uint8_t &count) {
        if (text.empty() || text[0] < count_zero || text[0] > count_zero + most_count)
            return false;
        count = static_cast<uint8_t>(text[0] - count_zero);
        text.remove_prefix(1);
        return true;
    };
    return take_word(text, "budgets ") && each_count(memory, read) && text == "\n" &&
           memory.slot == memory.clock / watch_slot_length &&
           std::max({memory.since, memory.quiet, memory.probed, memory.outage}) <= memory.clock;
}

} // namespace

void write_watch_memory(const WatchMemory &memory, TextOut out)
{
    out.clear();
    for (const MemoryRow &row : memory_rows)
        out.append(Text<24>::format("%s %u\n", row.name, memory.*row.number).view());
    out.append("budgets ");
    WatchMemory copy = memory;
    each_count(copy, [&out](uint8_t &count) {
        const char character = static_cast<char>(count_zero + std::min(count, most_count));
        return out.append({&character, 1});
    });
    out.append("\n");
}

WatchMemory read_watch_memory(std::string_view text)
{
    WatchMemory memory;
    return read_memory(text, memory) ? memory : WatchMemory{};
}
