#include "watch/sleep.h"

#include <array>
#include <cstring>
#include <iterator>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <poll.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "core/model/state_dir.h"
#include "platform/clock.h"

namespace {

// What another process leaves in the state folder for the watch: a pause, its end, or that the snapshot is read.
bool is_call(const inotify_event &event)
{
    if (event.len == 0)
        return false;
    return strcmp(event.name, pause_file) == 0 ||
           (strcmp(event.name, "info.read") == 0 && (event.mask & IN_DELETE) == 0);
}

} // namespace

sigset_t only_ending()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    return set;
}

WatchSleep::WatchSleep() : calls_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    const sigset_t ending = only_ending();
    ends_ = Fd{signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK)};
}

bool WatchSleep::rest(const char *bus, uint32_t seconds) const
{
    inotify_add_watch(calls_.get(), state_dir(bus).c_str(), IN_MOVED_TO | IN_CREATE | IN_DELETE);
    const int64_t end = monotonic_ms() + int64_t{seconds} * 1000;
    for (int64_t left = end - monotonic_ms(); left > 0; left = end - monotonic_ms()) {
        pollfd inputs[] = {{.fd = calls_.get(), .events = POLLIN, .revents = 0},
                           {.fd = ends_.get(), .events = POLLIN, .revents = 0}};
        if (poll(inputs, std::size(inputs), static_cast<int>(left)) <= 0)
            continue;
        if (inputs[1].revents != 0)
            return false;
        if (has_call())
            break;
    }
    return true;
}

bool WatchSleep::has_call() const
{
    alignas(inotify_event) std::array<char, 1024> events;
    const ssize_t got = read(calls_.get(), events.data(), events.size());
    for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(inotify_event)) <= got;) {
        const auto *event = reinterpret_cast<const inotify_event *>(events.data() + at);
        if (is_call(*event))
            return true;
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
    return false;
}

// Inside its caller, this would give back what the caller has on the stack.
[[gnu::noinline]] void give_back_memory()
{
    constexpr size_t used_at_most = size_t{128} * 1024;
    const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto here = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    const uintptr_t end = here / page * page - page; // the pages below are of calls that have returned
    madvise(reinterpret_cast<void *>(end - used_at_most), used_at_most, MADV_DONTNEED);
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}
