#pragma once

#include <cstddef>
#include <termios.h>

// The serial port below the AT transaction. Failures go to standard error, one line each with path, errno's text and
// number.

/// A port that one transaction has opened, with what its close needs. Closed at the end of its scope.
struct SerialPort {
    int fd = -1;
    const char *path = nullptr; ///< lives as long as the port is open
    termios before = {};        ///< the attributes that it had
    int output_waits = 50;      ///< how many more waits of 10 ms there are for output that the modem does not take

    SerialPort() = default;
    SerialPort(const SerialPort &) = delete;
    SerialPort &operator=(const SerialPort &) = delete;
    ~SerialPort();
};

/// Opens path raw, 8N1, at rate (300 to 115200, those of the table), claims it exclusively, waits 50 ms and discards
/// what is queued. hardware_flow 0 means off. timeout_ms is the port's own read time-out in whole tenths of a second:
/// below 0 a read blocks, 0 to 99 polls.
/// wait_for_port, if given, is called before anything is changed. It waits for the port's lock; false means that
/// another process keeps the lock.
/// @return descriptor, -1 on failure, serial_held when wait_for_port gave up; port stays closed then
int serial_open(SerialPort &port, const char *path, int rate, int hardware_flow, int timeout_ms,
                bool (*wait_for_port)(int fd) = nullptr);
inline constexpr int serial_held = -2;

/// Discards output that the modem has not taken, restores the port's attributes, and closes it.
/// @return the result of closing
int serial_close(SerialPort &port);

/// Discards both queues; nothing happens without a port.
void serial_flush(const SerialPort &port);

/// Waits until all output is sent, then reads up to count bytes, waiting up to timeout_ms in whole tenths of a second;
/// 0 or below blocks (unlike serial_open's, where 0 polls). All waits for output on one open port last half a second
/// together at most.
/// @return bytes read; 0 on silence; -1 on failure
int serial_read_timeout(SerialPort &port, size_t count, char *buffer, int timeout_ms);

/// Waits for the output, and discards what the port does not take.
/// @return bytes left unwritten, 0 when all went out
size_t serial_write_all(SerialPort &port, size_t count, const char *buffer);

/// From now on SIGTERM, SIGINT and SIGHUP restore the open port before they end the process. An ignored signal stays
/// ignored. Only for modemctl's own process: the library does not touch its host's signals.
void put_port_back_on_signals();
