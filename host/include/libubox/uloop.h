#pragma once

// Only the start and end of the event loop: libubus sets it up when it connects, and a program that does not run it
// must undo that.

#include <stdbool.h>

struct uloop_fd {
    int fd;
    bool eof; ///< the other side is gone
};

/// Opens an epoll descriptor and a pipe, once, and takes over SIGINT, SIGTERM, SIGCHLD and SIGPIPE if they still have
/// their default action. @return 0, -1 without descriptors
int uloop_init(void);

/// Closes the descriptors and gives SIGINT, SIGTERM and SIGCHLD back; SIGPIPE stays ignored.
void uloop_done(void);
