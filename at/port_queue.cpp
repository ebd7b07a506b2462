#include "at/port_queue.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/clock.h"

namespace {

constexpr useconds_t settle_us = 50'000; // serial_open's own wait
constexpr int lock_tries = 31;
constexpr useconds_t lock_wait_us = 1000;
constexpr off_t gate = 1 << 30;
// Not the byte after the gate: the kernel would join the two locks of a process that holds both, and a lock of more
// than one byte is taken for another program's.
constexpr off_t first_place = gate + 2;
constexpr useconds_t look_us = 2000;

class Deadline {
  public:
    explicit Deadline(int limit_ms) : limit_ms_(limit_ms) {}
    bool is_over() const { return monotonic_ms() - start_ms_ >= limit_ms_; }

  private:
    int limit_ms_;
    int64_t start_ms_ = monotonic_ms();
};

// The lock is named member by member, for on some processors it has more of them than on others.
bool control_lock(int fd, int command, short type, off_t first, off_t count, struct flock &lock)
{
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = first;
    lock.l_len = count;
    lock.l_pid = 0; // else the kernel refuses it
    return fcntl(fd, command, &lock) == 0;
}

bool set_lock(int fd, short type, off_t place)
{
    struct flock lock;
    return control_lock(fd, F_OFD_SETLK, type, place, 1, lock);
}

enum class Others { none, in_queue, strangers };

// Which other process holds a lock in count bytes from first on (0: in all that follow); place is a place of the queue.
Others find_others(int fd, off_t first, off_t count, off_t &place)
{
    struct flock lock;
    if (!control_lock(fd, F_OFD_GETLK, F_WRLCK, first, count, lock))
        return Others::strangers;
    if (lock.l_type == F_UNLCK)
        return Others::none;
    place = lock.l_start;
    return lock.l_len == 1 ? Others::in_queue : Others::strangers;
}

// Takes the place after the last one. The caller has locked the gate. @return the place; gate if there is none
off_t take_place(int fd)
{
    off_t last = first_place - 1;
    Others others = Others::in_queue;
    while ((others = find_others(fd, last + 1, 0, last)) == Others::in_queue) {
    }
    return others == Others::none && set_lock(fd, F_WRLCK, last + 1) ? last + 1 : gate;
}

} // namespace

void wait_for_turn(int fd, int limit_ms)
{
    const Deadline deadline{limit_ms};
    off_t other = 0;
    while (!set_lock(fd, F_WRLCK, gate)) {
        if (errno != EAGAIN || find_others(fd, gate, 1, other) == Others::strangers || deadline.is_over())
            return;
        usleep(look_us);
    }
    const off_t own = take_place(fd);
    set_lock(fd, F_UNLCK, gate);
    while (own > first_place && find_others(fd, first_place, own - first_place, other) == Others::in_queue &&
           !deadline.is_over())
        usleep(look_us);
}

bool lock_port(int fd)
{
    wait_for_turn(fd);
    for (int attempt = 1; flock(fd, LOCK_EX | LOCK_NB) != 0; attempt++) {
        if (attempt == lock_tries)
            return false;
        usleep(attempt == 1 ? settle_us + lock_wait_us : lock_wait_us);
    }
    return true;
}
