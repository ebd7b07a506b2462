#pragma once

#include "platform/json.h"

// The newest report of a modem, in its state folder, for readers that must not disturb the modem. It contains the
// numbers of a person's card, so only its owner may read it.

inline constexpr size_t longest_snapshot = size_t{64} * 1024;

/// The document as one line, without spaces. Borrowed from object.
const char *one_line(json_object *object);

void write_snapshot(const char *bus, json_object *report);

/// The report with its age as "age_s"; null without one.
Json read_snapshot(const char *bus);

/// Leaves a mark that somebody looks at the modem, so that the watch refreshes the report more often.
void mark_snapshot(const char *bus);

/// True if the mark was left since it was last taken away. Takes it away.
bool take_snapshot_mark(const char *bus);
