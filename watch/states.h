#pragma once

#include <cstddef>
#include <cstdint>

// The words of the watch: what state a modem is in, what can be tried, and why a person is needed. docs/watch.md
// explains states and stages.

enum class WatchState : uint8_t {
    off,
    absent,
    blocked,
    no_service,
    starting,
    online,
    suspect,
    recovering,
    slow,
    count
};

/// From harmless to harsh; each is tried once per outage, in this order.
enum class WatchStage : uint8_t { refresh, reconnect, radio, modem, usb, power, router, count };
inline constexpr size_t watch_stages = static_cast<size_t>(WatchStage::count);

/// Why a person is needed.
enum class WatchCause : uint8_t {
    none,
    no_sim,
    puk,
    pin_missing,
    pin_refused,
    pin_tries,
    denied,
    settings,
    lock,
    count
};

const char *watch_state_name(WatchState state);
const char *watch_stage_name(WatchStage stage);
const char *watch_cause_name(WatchCause cause);

constexpr uint16_t state_bit(WatchState state)
{
    return static_cast<uint16_t>(1U << static_cast<unsigned>(state));
}

constexpr uint32_t stage_bit(WatchStage stage)
{
    return 1U << static_cast<unsigned>(stage);
}
