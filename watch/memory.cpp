#include "watch/memory.h"

#include <algorithm>

#include "at/reply.h"

namespace {

// The numbers of a memory in the order of its text. A memory with a number above its limit is not ours.
struct MemoryRow {
    uint32_t WatchMemory::*number;
    char name[11];
    uint8_t most; ///< any: every number; half: what a sum of two still holds
};
constexpr uint8_t any = 255;
constexpr uint8_t half = 254;
// clang-format off
constexpr MemoryRow memory_rows[] = {
    {&WatchMemory::clock,      "clock",     half},
    {&WatchMemory::seen,       "seen",      any},
    {&WatchMemory::state,      "state",     static_cast<uint8_t>(WatchState::count) - 1},
    {&WatchMemory::since,      "since",     half},
    {&WatchMemory::due,        "due",       any},
    {&WatchMemory::next,       "next",      watch_stages},
    {&WatchMemory::round,      "round",     any},
    {&WatchMemory::tries,      "tries",     any},
    {&WatchMemory::connected,  "connected", 1},
    {&WatchMemory::downed,     "downed",    1},
    {&WatchMemory::asked,      "asked",     1},
    {&WatchMemory::facts,      "facts",     7},
    {&WatchMemory::cause,      "cause",     static_cast<uint8_t>(WatchCause::count) - 1},
    {&WatchMemory::there,      "there",     1},
    {&WatchMemory::received,   "received",  any},
    {&WatchMemory::sent,       "sent",      any},
    {&WatchMemory::quiet,      "quiet",     half},
    {&WatchMemory::moved,      "moved",     1},
    {&WatchMemory::heard,      "heard",     any},
    {&WatchMemory::probed,     "probed",    half},
    {&WatchMemory::answered,   "answered",  1},
    {&WatchMemory::outage,     "outage",    half},
    {&WatchMemory::pin_sent,   "pin_sent",  any},
    {&WatchMemory::reboots,    "reboots",   any},
    {&WatchMemory::slot,       "slot",      any},
};
// clang-format on

uint32_t most_of(const MemoryRow &row)
{
    return row.most < half ? row.most : UINT32_MAX >> (any - row.most);
}

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

// A count is one character from '0' up: no stage runs more than 60 times a day.
constexpr char count_zero = '0';
constexpr uint8_t most_count = 'z' - count_zero;

bool read_memory(std::string_view text, WatchMemory &memory)
{
    for (const MemoryRow &row : memory_rows)
        if (!consume(text, row.name) || !consume(text, " ") || !take_number(text, memory.*row.number) ||
            memory.*row.number > most_of(row) || !consume(text, "\n"))
            return false;
    const auto read = [&text](uint8_t &count) {
        if (text.empty() || text[0] < count_zero || text[0] > count_zero + most_count)
            return false;
        count = static_cast<uint8_t>(text[0] - count_zero);
        text.remove_prefix(1);
        return true;
    };
    return consume(text, "budgets ") && each_count(memory, read) && text == "\n" &&
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
