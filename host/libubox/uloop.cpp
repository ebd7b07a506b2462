#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <sys/epoll.h>
#include <unistd.h>

extern "C" {
#include <libubox/uloop.h>
}

namespace {

constexpr int taken_over[] = {SIGINT, SIGTERM, SIGCHLD};

int epoll_descriptor = -1;
int wake_pipe[2] = {-1, -1};

void handle_signal(int)
{
    const int saved_errno = errno;
    // The pipe is non-blocking: when it is full, the loop wakes up anyway.
    if (write(wake_pipe[1], "", 1) < 0)
        errno = saved_errno;
}

/// Replaces the action of a signal if it is still the given one.
void exchange_handler(int signal_number, void (*from)(int), void (*to)(int))
{
    struct sigaction action;
    if (sigaction(signal_number, nullptr, &action) != 0 || action.sa_handler != from)
        return;
    action = {};
    action.sa_handler = to;
    sigaction(signal_number, &action, nullptr);
}

} // namespace

int uloop_init()
{
    if (epoll_descriptor < 0)
        epoll_descriptor = epoll_create1(EPOLL_CLOEXEC);
    if (wake_pipe[0] < 0 && pipe2(wake_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        wake_pipe[0] = wake_pipe[1] = -1;
    if (epoll_descriptor < 0 || wake_pipe[0] < 0) {
        uloop_done();
        return -1;
    }
    for (const int signal_number : taken_over)
        exchange_handler(signal_number, SIG_DFL, handle_signal);
    exchange_handler(SIGPIPE, SIG_DFL, SIG_IGN);
    return 0;
}

void uloop_done()
{
    for (const int signal_number : taken_over)
        exchange_handler(signal_number, handle_signal, SIG_DFL);
    for (int *descriptor : {&epoll_descriptor, &wake_pipe[0], &wake_pipe[1]}) {
        if (*descriptor >= 0)
            close(*descriptor);
        *descriptor = -1;
    }
}
