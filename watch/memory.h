#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "platform/text.h"
#include "watch/states.h"

/// What is remembered of an outage. All members are numbers, so a table writes and reads them.
struct WatchMemory {
    uint32_t clock = 0; ///< seconds of its own: it never goes back and never leaps
    uint32_t seen = 0;  ///< the observation's time at the last step
    uint32_t state = static_cast<uint32_t>(WatchState::off);
    uint32_t since = 0;     ///< clock at the change to this state
    uint32_t due = 0;       ///< clock at which the state has waited long enough
    uint32_t next = 0;      ///< the next stage of the ladder
    uint32_t round = 0;     ///< how often the ladder was done in this outage
    uint32_t tries = 0;     ///< rounds of probes in this suspicion
    uint32_t connected = 0; ///< 1 if this start has brought the interface up
    uint32_t downed = 0;    ///< 1 if the watch itself took the interface down
    uint32_t asked = 0;     ///< 1 if the modem was asked in this suspicion
    uint32_t facts = 0;     ///< what came of that: fact_silent and so on
    uint32_t cause = 0;     ///< WatchCause
    uint32_t there = 0;     ///< 1 if the modem was seen since the router's start
    uint32_t received = 0;
    uint32_t sent = 0;                                           ///< packets when enough last came in
    uint32_t quiet = 0;                                          ///< clock at which enough packets last came in
    uint32_t moved = 0;                                          ///< 1 if what came in since the last step is life
    uint32_t heard = 0;                                          ///< packets received at "probed"
    uint32_t probed = 0;                                         ///< clock of the last probe, or of a busy line
    uint32_t answered = 0;                                       ///< 1 if a probe was answered: silence tells
    uint32_t outage = 0;                                         ///< clock at which the outage began
    uint32_t pin_sent = 0;                                       ///< hash of a PIN that was sent and not yet accepted
    uint32_t reboots = 0;                                        ///< of the router, since the modem was last online
    uint32_t slot = 0;                                           ///< clock / slot_length
    std::array<std::array<uint8_t, 7>, watch_stages> by_slot{};  ///< how often each stage ran, newest first
    std::array<std::array<uint8_t, 25>, watch_stages> by_hour{}; ///< so any 24 hours are within the day's budget

    bool operator==(const WatchMemory &) const = default;
};
inline constexpr uint32_t watch_slot_length = 600;
inline constexpr uint32_t fact_silent = 1;
inline constexpr uint32_t fact_other_address = 2;
inline constexpr uint32_t fact_busy = 4; ///< another program had the port

/// The memory as lines "name number"; at most 1400 bytes.
inline constexpr size_t longest_watch_memory = 1400;
void write_watch_memory(const WatchMemory &memory, TextOut out);
/// A new memory if text is not what write_watch_memory writes.
WatchMemory read_watch_memory(std::string_view text);
