#pragma once

#include <cstdint>

/// Milliseconds of a clock that nobody sets: it counts from the router's start.
int64_t monotonic_ms();
