#pragma once

#include <string_view>

#include "platform/json.h"

// The watch's options as programs read and write them: all are texts.

/// Adds the options that are set, for the modem on bus or for all, to values, and what counts otherwise to defaults.
void add_watch_options(json_object *values, json_object *defaults, const char *bus);

/// True if the watch has this option and takes value for it. An empty value, for the default, it always takes.
bool takes_watch_option(std::string_view name, std::string_view value);
