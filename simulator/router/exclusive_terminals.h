#pragma once

#include "platform/files.h"
#include "simulator/router/event_loop.h"

namespace simulator {

/// Makes TIOCEXCL succeed without effect on the terminals of a router whose root is an ordinary user outside. On a
/// router everybody is root, whom an exclusive terminal does not keep out; here everybody would be kept out, also after
/// the last close, since a pseudo terminal stays exclusive for as long as its other side lives.
class ExclusiveTerminals {
  public:
    /// From now on for this process and all that it starts. Throws std::system_error.
    explicit ExclusiveTerminals(EventLoop &loop);
    ExclusiveTerminals(const ExclusiveTerminals &) = delete;
    ExclusiveTerminals &operator=(const ExclusiveTerminals &) = delete;
    ~ExclusiveTerminals() { loop_.unwatch(listener_.get()); }

  private:
    void on_call() const;

    EventLoop &loop_;
    Fd listener_;
};

} // namespace simulator
