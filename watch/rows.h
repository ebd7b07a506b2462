#pragma once

#include <span>

#include "watch/facts.h"

// The table of the decider: what is done in which state.

/// What a row does beside the actions: the ladder's next stage, its restart after a back-off, a stage of its own.
enum class Deed : uint8_t { none, again, look, probe, ask, connect, disconnect, enter_pin, climb, retry, radio, round };

/// As the state to which a row leads: it stays.
inline constexpr WatchState same_state = WatchState::count;

struct WatchRow {
    uint16_t from;   ///< a bit for each state
    uint16_t reason; ///< where watch_reason has it
    uint32_t needs;
    uint32_t lacks;
    WatchState to;
    Deed deed;
};

/// The first row that fits decides. A change of state without an action is followed by the rows of the new state, so
/// that one step can go from a stalled line to its first probe.
extern const std::span<const WatchRow> watch_rows;

/// For people; empty for most rows.
const char *watch_reason(const WatchRow &row);
