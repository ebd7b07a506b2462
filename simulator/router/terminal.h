#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "simulator/router/event_loop.h"

namespace simulator {

/// A serial device of the router: a pseudo terminal at the device's real name. The other side of it is the modem's.
class Terminal {
  public:
    using Received = std::function<void(std::string_view bytes)>;

    enum class Manner {
        serial,     ///< as the kernel's serial drivers start: 9600 baud, line by line, with echo
        transparent ///< bytes pass as they are
    };

    /// Makes node ("/dev/ttyUSB2"). received is called from the loop for what is written to it. Throws
    /// std::system_error.
    Terminal(EventLoop &loop, std::string node, Manner manner, Received received);
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;
    /// As if the device was pulled out: the node disappears, and a process that has it open gets a hang-up.
    ~Terminal();

    /// The node disappears, but a process that has it open does not notice yet: so all devices of a modem are gone
    /// before the first hang-up is seen.
    void remove_node();
    /// True if a process in the router has it open.
    bool is_open() const;
    /// Never waits: what the reader does not take yet is kept, at most 256 KiB.
    /// @return false if bytes were lost, because no process has the device open or too many bytes wait already
    bool send(std::string_view bytes);

  private:
    void on_ready(uint32_t events);
    void flush_pending();
    void discard_unread();

    EventLoop &loop_;
    std::string node_;
    Received received_;
    Fd master_;
    std::string slave_path_;
    std::string pending_;
    bool sent_since_open_ = false;
};

} // namespace simulator
