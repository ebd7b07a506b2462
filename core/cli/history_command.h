#pragma once

#include <optional>
#include <string_view>

#include "core/cli/commands.h"
#include "platform/json.h"

/// `history [BUS] [--json] [--since TIME]`: what the watch saw, a sample a minute.
int run_history(const CommandRun &run);

/// Its samples since an uptime as an array.
Json list_history(const char *bus, int64_t since_s);

/// `usage [BUS] [--json]`: bytes by SIM card and month.
int run_usage(const CommandRun &run);

/// "2026-11" of 202611.
Text<12> month_text(uint32_t month);

/// Its entries as an array of objects.
Json list_usage(const char *bus);

/// "90", "90s", "30m", "2h", "1d" in seconds; nothing for another text, 0, and more than a week.
std::optional<int64_t> parse_time(std::string_view text);

/// Takes a bus off the front of words. @return it, or the usual one
const char *take_bus(std::span<char *const> &words, const char *usual);
