#pragma once

#include "platform/text.h"

// What the router's SIM watcher knows of the card. It keeps two files; each is printed by "cat", whose output has 20
// bytes, and the last character, which is the newline, does not count. What is no regular file is not read: a pipe in
// its place would hold us up for ever.

Text<20> capture_sim_status(); ///< "ready", or what is wrong
Text<20> capture_sim_type();   ///< the card's operator where modems need to know it ("verizon")

/// What a file holds in front of its newline; the last character goes whatever it is.
std::string_view without_last(std::string_view captured);
