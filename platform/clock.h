#pragma once

#include <cstdint>
#include <ctime>

/// Milliseconds of a clock that is never set: it counts from the router's start.
int64_t monotonic_ms();

/// The same in seconds.
uint32_t uptime_s();

/// An earlier time of day is that of a router whose clock is not set.
constexpr time_t year_2025 = 1'735'689'600;
