#pragma once

#include <cstddef>

// The serial port below the AT transaction. One port may be open at a time: the process remembers its descriptor and
// the terminal attributes that it had. Failures are told on standard error, one line each with path, errno's text and
// number.

/// Opens path raw, 8N1, at rate (300 to 115200, those of the table), claims it exclusively, waits 50 ms and discards
/// what is queued. hardware_flow 0 means off. timeout_ms is the port's own read time-out in whole tenths of a second:
/// below 0 a read blocks, 0 to 99 polls.
/// wait_for_port, where given, is called before anything is changed: it waits for the port's lock, and false means that
/// another process keeps it.
/// @return descriptor, -1 on failure, serial_held when wait_for_port gave up
int serial_open(const char *path, int rate, int hardware_flow, int timeout_ms, bool (*wait_for_port)(int fd) = nullptr);
inline constexpr int serial_held = -2;

/// Puts the attributes back that the port had, and closes it. @return the result of closing
int serial_close(int fd);

/// Discards both queues; nothing happens for -1.
void serial_flush(int fd);

/// Waits until all output is sent, for half a second at most, then reads up to count bytes, waiting up to timeout_ms in
/// whole tenths of a second; 0 or below blocks (unlike serial_open's, where 0 polls).
/// @return bytes read; 0 on silence; -1 on failure
int serial_read_timeout(int fd, size_t count, char *buffer, int timeout_ms);

/// @return bytes left unwritten, 0 when all went out
size_t serial_write_all(int fd, size_t count, const char *buffer);
