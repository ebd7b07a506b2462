#pragma once

#include <cstdint>
#include <string_view>

#include "at/serial_port.h"
#include "platform/text.h"

/// Several questions over one opening of the port: it is opened, locked and settled once, and each question costs no
/// more than the modem's own time. An answer ends with its final result line (OK, ERROR, +CME ERROR, +CMS ERROR; ITU-T
/// V.250, 3GPP TS 27.007), wherever its packets end.
class AtSession {
  public:
    enum class Opened : uint8_t {
        ready,
        no_port, ///< it cannot be opened
        busy,    ///< another process holds it, also after 3 s of waiting in the queue
    };
    Opened open(const char *port_path);

    enum class Answer : uint8_t {
        complete, ///< reply has all of it, the final line included, cut at its capacity
        silent,   ///< no final line came within the time; reply holds what did
        lost,     ///< the port has disappeared
    };
    /// Sends command (without line end) and waits up to limit_ms for its answer. What the modem sent before, unasked,
    /// is discarded. Zero bytes are left out.
    Answer ask(const char *command, TextOut reply, int limit_ms);

    /// Gives the port back; the end of the scope does it too.
    void close() { serial_close(port_); }

  private:
    SerialPort port_;
};

/// True if text ends with a final result line that has its line end.
bool has_final_line(std::string_view text);
