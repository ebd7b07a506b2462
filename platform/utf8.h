#pragma once

#include <cstdint>

#include "platform/text.h"

/// A character of Unicode in UTF-8: 1 to 4 bytes; an empty text for 0.
Text<5> encode_utf8(uint32_t character);
