#pragma once

#include "watch/memory.h"

// How often each stage may run: within any 60 minutes and any 24 hours, not within those of the clock.

/// Counts what the memory's clock has passed as over.
void pass_budget_time(WatchMemory &memory);

void spend_budget(WatchMemory &memory, WatchStage stage);

/// How often the stage may run now: the least that is left of its hour, its day, and the resets of all stages.
uint32_t watch_budget(uint32_t resets_per_day, const WatchMemory &memory, WatchStage stage);
uint32_t watch_budget_of_hour(WatchStage stage);

/// True if the modem restarts, and needs its PIN and its connection again.
bool is_reset(WatchStage stage);
