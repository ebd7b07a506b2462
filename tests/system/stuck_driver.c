// A serial driver whose modem takes no bytes, as Linux's drivers of USB modems behave and no pseudo terminal does:
// output stays queued, tcflush takes nothing back, and the last close waits for closing_wait. Loaded in front of the C
// library (LD_PRELOAD) of the program to be tested. What is asked of the driver goes to /tmp/driver.

#include <linux/serial.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

static int closing_wait = 3000; // hundredths of a second, as a driver starts
static int is_queued[64];

static int is_port(int fd)
{
    return fd >= 0 && fd < 64 && isatty(fd);
}

static void keep(const char *what, int number)
{
    FILE *file = fopen("/tmp/driver", "a");
    fprintf(file, "%s %d\n", what, number);
    fclose(file);
}

ssize_t write(int fd, const void *bytes, size_t count)
{
    if (!is_port(fd))
        return syscall(SYS_write, fd, bytes, count);
    is_queued[fd] = 1;
    return (ssize_t)count;
}

int tcdrain(int fd)
{
    if (is_port(fd) && is_queued[fd])
        pause();
    return 0;
}

int ioctl(int fd, unsigned long request, ...)
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (request == TIOCOUTQ && is_port(fd)) {
        *(int *)argument = is_queued[fd] ? 8 : 0;
    } else if (request == TIOCGSERIAL) {
        memset(argument, 0, sizeof(struct serial_struct));
        ((struct serial_struct *)argument)->closing_wait = (unsigned short)closing_wait;
    } else if (request == TIOCSSERIAL) {
        closing_wait = ((struct serial_struct *)argument)->closing_wait;
        keep("closing_wait", closing_wait);
    } else {
        return (int)syscall(SYS_ioctl, fd, request, argument);
    }
    return 0;
}

int close(int fd)
{
    if (is_port(fd) && is_queued[fd]) {
        is_queued[fd] = 0;
        keep("closed, and waits", closing_wait == ASYNC_CLOSING_WAIT_NONE ? 0 : closing_wait);
        if (closing_wait != ASYNC_CLOSING_WAIT_NONE)
            usleep((useconds_t)closing_wait * 10000);
    }
    return (int)syscall(SYS_close, fd);
}
