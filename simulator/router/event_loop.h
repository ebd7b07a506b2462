#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "platform/files.h"

namespace simulator {

/// Waits for descriptors and times and calls back; one thread. A callback may watch, unwatch, set and cancel as it
/// likes.
class EventLoop {
  public:
    using Ready = std::function<void(uint32_t events)>; ///< events of epoll: EPOLLIN, EPOLLOUT, EPOLLHUP ...
    using Due = std::function<void()>;
    using Timer = uint64_t;

    EventLoop();

    /// Calls ready when descriptor has one of events (EPOLLET allowed), until unwatch. Errors and hang-ups are always
    /// reported.
    void watch(int descriptor, uint32_t events, Ready ready);
    /// Before the descriptor is closed. Nothing happens when it is not watched.
    void unwatch(int descriptor);

    /// Calls due once, when now_ms() has reached at_ms.
    Timer at(int64_t at_ms, Due due);
    /// Nothing happens when the timer is over.
    void cancel(Timer timer);

    /// Handles what is ready; waits for it up to wait_ms, for ever when negative. @return whether anything was
    bool run_once(int wait_ms);
    /// Until stop is called.
    void run();
    void stop() { stopped_ = true; }

    /// Milliseconds of the monotonic clock.
    static int64_t now_ms();

  private:
    bool run_due();
    int wait_limit(int wait_ms) const;

    Fd epoll_;
    std::map<int, std::shared_ptr<Ready>> watched_;
    std::map<std::pair<int64_t, Timer>, Due> timers_; ///< in the order in which they are due
    std::map<Timer, int64_t> timer_times_;
    Timer last_timer_ = 0;
    bool stopped_ = false;
};

} // namespace simulator
