#pragma once

#include "platform/json.h"

/// Prints a report of `modemctl info` for people: the same facts as in its JSON, one line for each group. in_colour:
/// the quality of the signal is coloured.
void print_info_page(json_object *report, bool in_colour);
