#include "at/serial_port.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

struct LineRate {
    int rate;
    speed_t speed;
};

constexpr LineRate line_rates[] = {
    {300, B300},     {1200, B1200},   {2400, B2400},   {4800, B4800},     {9600, B9600},
    {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}, {0, B0},
};

constexpr useconds_t settle_us = 50'000;
constexpr useconds_t send_poll_us = 10'000;
constexpr int send_polls = 50;

// The open port: one at a time, -1 when the last open failed.
struct OpenPort {
    int fd;
    termios attributes;
};
constinit OpenPort open_port{.fd = -1, .attributes = {}};

const LineRate *find_rate(int rate)
{
    for (const LineRate *row = line_rates; row->rate != 0; row++)
        if (row->rate == rate)
            return row;
    return nullptr;
}

void tell(const char *what, const char *path)
{
    const int error = errno;
    fprintf(stderr, "%s %s - %s(%d).\n", what, path, strerror(error), error);
}

void set_read_timeout(termios &attributes, bool block, int timeout_ms)
{
    attributes.c_cc[VMIN] = block ? 1 : 0;
    attributes.c_cc[VTIME] = block ? 0 : static_cast<cc_t>(timeout_ms / 100);
}

void make_raw(termios &attributes, int hardware_flow)
{
    cfmakeraw(&attributes);
    attributes.c_iflag = IGNBRK;
    attributes.c_oflag = 0;
    attributes.c_cflag &= ~static_cast<tcflag_t>(PARENB | CSTOPB | CRTSCTS);
    if (hardware_flow != 0)
        attributes.c_cflag |= CRTSCTS;
    attributes.c_cflag |= CS8 | CREAD | CLOCAL;
    attributes.c_lflag = 0;
}

// What failed while the open port was prepared; null when nothing did. Its attributes are then saved.
const char *prepare(int fd, speed_t speed, int hardware_flow, int timeout_ms)
{
    if (ioctl(fd, TIOCEXCL) == -1)
        return "Error setting TIOCEXCL on";
    if (tcgetattr(fd, &open_port.attributes) == -1)
        return "Error getting tty attributes";
    if (fcntl(fd, F_SETFL, 0) == -1)
        return "Error clearing O_NONBLOCK";
    termios attributes = open_port.attributes;
    if (cfsetspeed(&attributes, speed) == -1)
        return "Error setting baud rate";
    make_raw(attributes, hardware_flow);
    set_read_timeout(attributes, timeout_ms < 0, timeout_ms);
    if (tcsetattr(fd, TCSANOW, &attributes) == -1)
        return "Error setting tty attributes";
    return nullptr;
}

// tcdrain alone would wait for ever on a modem that takes no more input.
void wait_until_sent(int fd)
{
    int queued = 0;
    for (int i = 0; i < send_polls; i++) {
        if (ioctl(fd, TIOCOUTQ, &queued) != 0 || queued == 0) {
            tcdrain(fd);
            return;
        }
        usleep(send_poll_us);
    }
}

} // namespace

int serial_open(const char *path, int rate, int hardware_flow, int timeout_ms, bool (*wait_for_port)(int fd))
{
    open_port.fd = -1;
    const LineRate *row = find_rate(rate);
    if (row == nullptr) {
        tell("Baud rate not supported", path);
        return -1;
    }
    const int fd = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd == -1) {
        tell("Error opening serial port", path);
        return -1;
    }
    if (wait_for_port != nullptr && !wait_for_port(fd)) {
        close(fd);
        return serial_held;
    }
    if (const char *failure = prepare(fd, row->speed, hardware_flow, timeout_ms); failure != nullptr) {
        tell(failure, path);
        close(fd);
        return -1;
    }
    open_port.fd = fd;
    usleep(settle_us);
    tcflush(fd, TCIOFLUSH);
    return fd;
}

int serial_close(int fd)
{
    tcsetattr(fd, TCSANOW, &open_port.attributes);
    const int result = close(fd);
    if (result != 0) {
        const int error = errno;
        fprintf(stderr, "Error opening serial port - %s(%d).\n", strerror(error), error);
    }
    return result;
}

void serial_flush(int fd)
{
    if (fd != -1)
        tcflush(fd, TCIOFLUSH);
}

int serial_read_timeout(int fd, size_t count, char *buffer, int timeout_ms)
{
    wait_until_sent(fd);
    termios saved;
    if (tcgetattr(fd, &saved) == -1)
        return -1;
    termios attributes = saved;
    cfmakeraw(&attributes);
    set_read_timeout(attributes, timeout_ms <= 0, timeout_ms);
    if (tcsetattr(fd, TCSANOW, &attributes) == -1)
        return -1;
    const ssize_t got = read(fd, buffer, count);
    if (tcsetattr(fd, TCSANOW, &saved) == -1)
        return -1;
    return static_cast<int>(got);
}

size_t serial_write_all(int fd, size_t count, const char *buffer)
{
    while (count > 0) {
        const ssize_t written = write(fd, buffer, count);
        if (written <= 0)
            break;
        count -= static_cast<size_t>(written);
        buffer += written;
    }
    return count;
}
