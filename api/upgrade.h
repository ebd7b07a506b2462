#pragma once

#include "platform/text.h"

/// The letters, digits, points and underscores of what a modem prints as its firmware version, in order; cut at 127.
Text<128> filter_version(std::string_view output);
