#pragma once

#include "platform/text.h"

/// Searches directory and below (1000 visits at most, counted by visits) for directories named name. out (50 bytes)
/// becomes the nearest directory above the match whose name looks like a USB bus or interface ("1-1.2:1.4").
/// @return matches; 0 or below when there is none
int find_usb_node(const char *directory, const char *name, TextOut out, int &visits);
