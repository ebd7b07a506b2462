#pragma once

#include "platform/text.h"

// What the router's SIM watcher knows about the card. It keeps two files; each is printed by "cat", whose output has 20
// bytes, and the last character, which is the newline, does not count. A file that is not regular is not read: a pipe
// in its place would block for ever.

Text<20> capture_sim_status(); ///< "ready", or what is wrong
Text<20> capture_sim_type();   ///< the card's operator, for cards that modems must know ("verizon")

/// The content of a file before its newline; the last character is dropped, whatever it is.
std::string_view without_last(std::string_view captured);
