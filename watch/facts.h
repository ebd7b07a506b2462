#pragma once

#include "watch/decide.h"

// What the decider makes of an observation and what is remembered: the facts that its rows name.

/// What holds now. A row needs some of these and excludes others.
enum Fact : uint32_t {
    unwanted = 1U << 0,
    paused = 1U << 1,
    upgrading = 1U << 2,
    gone = 1U << 3,
    changed = 1U << 4,
    over_limit = 1U << 5,
    roaming_off = 1U << 6,
    no_device = 1U << 7,
    looked = 1U << 8,
    up = 1U << 9,
    pending = 1U << 10,
    probed = 1U << 11,
    alive = 1U << 12,
    stalled = 1U << 13,
    idle = 1U << 14,
    told = 1U << 15,
    asked = 1U << 16,
    silent = 1U << 17,
    person = 1U << 18,
    locked = 1U << 19, // a person is needed at once: PIN or PUK
    may_send_pin = 1U << 20,
    unregistered = 1U << 21,
    due = 1U << 22,
    more_rounds = 1U << 23,
    connected = 1U << 24,
    seen = 1U << 25,
    no_ports = 1U << 26,
    can_radio = 1U << 27,
    no_sim = 1U << 28,
    probe_due = 1U << 29,
    registered = 1U << 30,
    failed = 1U << 31,
};

/// Why a person is needed, as far as the modem and the network daemon were asked.
WatchCause pick_cause(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &now);

/// Packets go out, and none or too few come in.
bool is_stalled(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &now);

/// A set of Fact.
uint32_t collect_facts(const WatchConfig &config, const WatchMemory &memory, const WatchObservation &now,
                       WatchCause cause);
