#include "platform/clock.h"

#include <ctime>

int64_t monotonic_ms()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

uint32_t uptime_s()
{
    return static_cast<uint32_t>(monotonic_ms() / 1000);
}
