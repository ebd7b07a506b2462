#pragma once

#include "platform/json.h"

// The signal cache "/tmp/modem.<bus>/signal": one JSON object that the router's signal LED script keeps up to date for
// modems that the program does not ask for their signal.

/// Grades the cached values. @return technology code: 4 LTE, 3 WCDMA or HDR, 2 CDMA, GSM or TDMA; -1 without a file,
/// or without a known type. level, 1 to 4, is written unless -1 is returned
int evaluate_signal_cache(const char *bus, int32_t &level);

/// Appends one object with the cached values as texts to array, an empty object if there are none, and evaluates them.
/// @return as evaluate_signal_cache
int signal_details(const char *bus, json_object *array, int32_t &level);

/// The same for a cache that has been read; a null object is a missing cache.
int grade_signal_cache(json_object *cache, int32_t &level);
void add_cached_signal(json_object *cache, json_object *details);
