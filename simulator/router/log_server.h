#pragma once

#include <string>
#include <string_view>

#include "simulator/router/event_loop.h"
#include "simulator/router/journal.h"

namespace simulator {

/// One line of syslog, as a C library sends it.
struct LogLine {
    std::string who;  ///< "modemctl", the program's name
    std::string text; ///< "debug MCU SIM ERROR": the priority's name and the message without a line end
    bool operator==(const LogLine &) const = default;
};

/// Reads "<15>Nov 21 01:10:51 modemctl[77]: text"; what is none gives empty texts.
LogLine parse_log_line(std::string_view datagram);

/// The router's syslog: "/dev/log", whose lines go into the journal as "syslog".
class LogServer {
  public:
    /// Throws std::system_error.
    LogServer(EventLoop &loop, Journal &journal);

  private:
    void read_lines();

    Journal &journal_;
    Fd socket_;
};

} // namespace simulator
