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
    /// As when the device is pulled: the node goes, who has it open gets a hang-up.
    ~Terminal();

    /// The node goes, who has it open notices nothing yet: so all devices of a modem are gone before the first hang-up
    /// is seen.
    void remove_node();
    /// Whether somebody in the router has it open.
    bool is_open() const;
    /// Never waits: what the reader does not take yet is kept, at most 256 KiB.
    /// @return false when bytes were lost, since nobody has the device open or too much waits already
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
