#pragma once

#include "core/cli/rpcd_call.h"

// The settings of a modem as programs read and write them: those of its connection, and the watch's options.

void answer_settings(const RpcdCall &call, json_object *answer);

/// Writes all values or, if one does not fit, none.
void answer_set(const RpcdCall &call, json_object *answer);
