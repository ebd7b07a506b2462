#include "at/serial_port.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

#include "platform/files.h"

namespace {

struct LineRate {
    int rate;
    speed_t speed;
};

constexpr LineRate line_rates[] = {
    {300, B300},     {1200, B1200},   {2400, B2400},   {4800, B4800},     {9600, B9600},
    {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}, {0, B0},
};

constexpr int open_flags = O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC;
constexpr useconds_t settle_us = 50'000;
constexpr useconds_t output_wait_us = 10'000;
constexpr int no_closing_wait = -1;

// The port that a signal handler must restore.
constinit std::atomic<SerialPort *> open_port{nullptr};

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

// What failed while the port was set up; null if nothing did. Its attributes are then saved.
const char *prepare(SerialPort &port, int fd, speed_t speed, int hardware_flow, int timeout_ms)
{
    if (ioctl(fd, TIOCEXCL) == -1)
        return "Error setting TIOCEXCL on";
    if (tcgetattr(fd, &port.before) == -1)
        return "Error getting tty attributes";
    if (fcntl(fd, F_SETFL, 0) == -1)
        return "Error clearing O_NONBLOCK";
    termios attributes = port.before;
    if (cfsetspeed(&attributes, speed) == -1)
        return "Error setting baud rate";
    make_raw(attributes, hardware_flow);
    set_read_timeout(attributes, timeout_ms < 0, timeout_ms);
    port.fd = fd;
    open_port = &port;
    if (tcsetattr(fd, TCSANOW, &attributes) == -1) {
        open_port = nullptr;
        port.fd = -1;
        return "Error setting tty attributes";
    }
    return nullptr;
}

// Bytes that the driver still has to send; 0 if it does not report them.
int queued_output(int fd)
{
    int queued = 0;
    return ioctl(fd, TIOCOUTQ, &queued) == 0 ? queued : 0;
}

// False when the waits of this port are used up: the modem then counts as one that takes nothing.
bool wait_for_output(SerialPort &port)
{
    if (port.output_waits == 0)
        return false;
    port.output_waits--;
    usleep(output_wait_us);
    return true;
}

// tcdrain alone would wait for ever on a modem that takes no more input.
void wait_until_sent(SerialPort &port)
{
    while (queued_output(port.fd) != 0)
        if (!wait_for_output(port))
            return;
    tcdrain(port.fd);
}

// How long the driver waits for its output at the last close, in hundredths of a second.
// @return what it was before; no_closing_wait when nothing was changed
int set_closing_wait(int fd, int wait)
{
    serial_struct settings;
    if (ioctl(fd, TIOCGSERIAL, &settings) != 0 || settings.closing_wait == wait)
        return no_closing_wait;
    const int before = std::exchange(settings.closing_wait, static_cast<unsigned short>(wait));
    return ioctl(fd, TIOCSSERIAL, &settings) == 0 ? before : no_closing_wait;
}

// The functions from here to close_port are called by a signal handler too.

// Linux's drivers wait 30 s in the close if the modem takes no output, and the drivers of USB modems cannot discard
// output. @return the closing wait to restore
int give_up_output(const SerialPort &port)
{
    if (port.output_waits != 0 || queued_output(port.fd) == 0)
        return no_closing_wait;
    tcflush(port.fd, TCOFLUSH);
    return set_closing_wait(port.fd, ASYNC_CLOSING_WAIT_NONE);
}

// @return 0, or what close left in errno
int close_port(SerialPort &port)
{
    const int closing_wait = give_up_output(port);
    tcsetattr(port.fd, TCSANOW, &port.before);
    open_port = nullptr;
    const int error = close(std::exchange(port.fd, -1)) == 0 ? 0 : errno;
    if (closing_wait != no_closing_wait)
        if (const Fd again{open(port.path, open_flags)}; again)
            set_closing_wait(again.get(), closing_wait);
    return error;
}

void put_port_back(int number)
{
    if (SerialPort *port = open_port; port != nullptr) {
        ioctl(port->fd, TIOCNXCL); // another process may have it open: it must not stay exclusive
        close_port(*port);
    }
    raise(number); // the handler is gone, so this ends the process
}

} // namespace

SerialPort::~SerialPort()
{
    if (fd >= 0)
        serial_close(*this);
}

int serial_open(SerialPort &port, const char *path, int rate, int hardware_flow, int timeout_ms,
                bool (*wait_for_port)(int fd))
{
    const LineRate *row = find_rate(rate);
    if (row == nullptr) {
        tell("Baud rate not supported", path);
        return -1;
    }
    Fd fd{open(path, open_flags)};
    if (!fd) {
        tell("Error opening serial port", path);
        return -1;
    }
    if (wait_for_port != nullptr && !wait_for_port(fd.get()))
        return serial_held;
    port.path = path;
    if (const char *failure = prepare(port, fd.get(), row->speed, hardware_flow, timeout_ms); failure != nullptr) {
        tell(failure, path);
        return -1;
    }
    usleep(settle_us);
    tcflush(fd.get(), TCIOFLUSH);
    return fd.release();
}

int serial_close(SerialPort &port)
{
    const int error = close_port(port);
    if (error != 0) // "opening", although the close failed: scripts that watch standard error know this text
        fprintf(stderr, "Error opening serial port - %s(%d).\n", strerror(error), error);
    return error == 0 ? 0 : -1;
}

void serial_flush(const SerialPort &port)
{
    if (port.fd != -1)
        tcflush(port.fd, TCIOFLUSH);
}

int serial_read_timeout(SerialPort &port, size_t count, char *buffer, int timeout_ms)
{
    wait_until_sent(port);
    termios saved;
    if (tcgetattr(port.fd, &saved) == -1)
        return -1;
    termios attributes = saved;
    cfmakeraw(&attributes);
    set_read_timeout(attributes, timeout_ms <= 0, timeout_ms);
    if (tcsetattr(port.fd, TCSANOW, &attributes) == -1)
        return -1;
    const ssize_t got = read(port.fd, buffer, count);
    if (tcsetattr(port.fd, TCSANOW, &saved) == -1)
        return -1;
    return static_cast<int>(got);
}

size_t serial_write_all(SerialPort &port, size_t count, const char *buffer)
{
    // If the port takes nothing (its output was stopped, its driver is full), a blocking write would hang.
    fcntl(port.fd, F_SETFL, O_NONBLOCK);
    while (count > 0) {
        const ssize_t written = write(port.fd, buffer, count);
        if (written > 0) {
            count -= static_cast<size_t>(written);
            buffer += written;
        } else if (written == 0 || errno != EAGAIN || !wait_for_output(port))
            break;
    }
    fcntl(port.fd, F_SETFL, 0);
    return count;
}

void put_port_back_on_signals()
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) != 0 || action.sa_handler != SIG_DFL)
            continue;
        action.sa_handler = put_port_back;
        action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_NODEFER;
        sigaction(number, &action, nullptr);
    }
}
