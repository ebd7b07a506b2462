#pragma once

/// True if debug_print prints; false at start.
void set_debug(bool on);
bool debug_is_on();

/// Prints to standard output when debugging is on, nothing otherwise; no newline is added. Output beyond 1023 bytes is
/// cut.
void debug_print(const char *format, ...) __attribute__((format(printf, 1, 2)));
