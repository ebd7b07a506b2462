#include "at/port_queue.h"

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr off_t gate = 1 << 30;
constexpr useconds_t look_us = 2000;
constexpr int longest_wait_ms = 3000;

class Deadline {
  public:
    bool is_over() const { return now_ms() - start_ms_ >= longest_wait_ms; }

  private:
    static int64_t now_ms()
    {
        timespec time;
        clock_gettime(CLOCK_MONOTONIC, &time);
        return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
    }
    int64_t start_ms_ = now_ms();
};

bool set_lock(int fd, short type, off_t place)
{
    struct flock lock = {.l_type = type, .l_whence = SEEK_SET, .l_start = place, .l_len = 1, .l_pid = 0};
    return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

enum class Others { none, in_queue, strangers };

// Who else holds a lock in count bytes from first on (0: in all that follow); place is one of the queue's.
Others find_others(int fd, off_t first, off_t count, off_t &place)
{
    struct flock lock = {.l_type = F_WRLCK, .l_whence = SEEK_SET, .l_start = first, .l_len = count, .l_pid = 0};
    if (fcntl(fd, F_OFD_GETLK, &lock) != 0)
        return Others::strangers;
    if (lock.l_type == F_UNLCK)
        return Others::none;
    place = lock.l_start;
    return lock.l_len == 1 ? Others::in_queue : Others::strangers;
}

// Takes the place behind the last one. The gate is ours. @return the place; gate when none can be had
off_t take_place(int fd)
{
    off_t last = gate;
    Others others = Others::in_queue;
    while ((others = find_others(fd, last + 1, 0, last)) == Others::in_queue) {
    }
    return others == Others::none && set_lock(fd, F_WRLCK, last + 1) ? last + 1 : gate;
}

} // namespace

void wait_for_turn(int fd)
{
    const Deadline deadline;
    off_t other = 0;
    while (!set_lock(fd, F_WRLCK, gate)) {
        if (errno != EAGAIN || find_others(fd, gate, 1, other) == Others::strangers || deadline.is_over())
            return;
        usleep(look_us);
    }
    const off_t own = take_place(fd);
    set_lock(fd, F_UNLCK, gate);
    while (own > gate + 1 && find_others(fd, gate + 1, own - gate - 1, other) == Others::in_queue &&
           !deadline.is_over())
        usleep(look_us);
}
