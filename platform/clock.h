#pragma once

#include <cstdint>

/// Milliseconds of a clock that is never set: it counts from the router's start.
int64_t monotonic_ms();
