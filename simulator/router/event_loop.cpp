#include "simulator/router/event_loop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <sys/epoll.h>
#include <system_error>

namespace simulator {

EventLoop::EventLoop() : epoll_(epoll_create1(EPOLL_CLOEXEC))
{
    if (!epoll_)
        throw std::system_error(errno, std::generic_category(), "epoll_create1");
}

void EventLoop::watch(int descriptor, uint32_t events, Ready ready)
{
    epoll_event event{.events = events, .data = {.fd = descriptor}};
    const int operation = watched_.contains(descriptor) ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
    if (epoll_ctl(epoll_.get(), operation, descriptor, &event) != 0)
        throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    watched_[descriptor] = std::make_shared<Ready>(std::move(ready));
}

void EventLoop::unwatch(int descriptor)
{
    if (watched_.erase(descriptor) > 0)
        epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, descriptor, nullptr);
}

EventLoop::Timer EventLoop::at(int64_t at_ms, Due due)
{
    const Timer timer = ++last_timer_;
    timers_.emplace(std::pair(at_ms, timer), std::move(due));
    timer_times_.emplace(timer, at_ms);
    return timer;
}

void EventLoop::cancel(Timer timer)
{
    const auto time = timer_times_.find(timer);
    if (time == timer_times_.end())
        return;
    timers_.erase({time->second, timer});
    timer_times_.erase(time);
}

bool EventLoop::run_once(int wait_ms)
{
    std::array<epoll_event, 32> events;
    const int count = epoll_wait(epoll_.get(), events.data(), events.size(), wait_limit(wait_ms));
    for (int i = 0; i < count; i++) {
        const auto watched = watched_.find(events[i].data.fd);
        if (watched == watched_.end())
            continue;
        const auto ready = watched->second; // kept alive: the callback may unwatch its own descriptor
        (*ready)(events[i].events);
    }
    return run_due() || count > 0;
}

void EventLoop::run()
{
    stopped_ = false;
    while (!stopped_)
        run_once(-1);
}

int64_t EventLoop::now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000) + now.tv_nsec / 1000000;
}

bool EventLoop::run_due()
{
    bool any = false;
    const int64_t now = now_ms();
    while (!timers_.empty() && timers_.begin()->first.first <= now) {
        auto timer = timers_.extract(timers_.begin());
        timer_times_.erase(timer.key().second);
        timer.mapped()();
        any = true;
    }
    return any;
}

int EventLoop::wait_limit(int wait_ms) const
{
    if (timers_.empty())
        return wait_ms;
    const int64_t until_timer = std::clamp<int64_t>(timers_.begin()->first.first - now_ms(), 0, INT_MAX);
    return static_cast<int>(wait_ms < 0 ? until_timer : std::min<int64_t>(wait_ms, until_timer));
}

} // namespace simulator
