// What a program meets at a modem's port, one fact a line. It runs in the simulated router, where the port may be a
// driver's or a pseudo terminal.
//   port_probe facts PORT             a fresh port and what can be asked of it
//   port_probe gone PORT COMMAND      sends COMMAND, reads until the port is gone, then tries it once more
//   port_probe output PORT            writes what the modem does not take
//   port_probe exclusive PORT         who may open a port that a program has for itself
//   port_probe events SCRIPT SECONDS  runs SCRIPT for each of the kernel's events, with its words as environment

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/netlink.h>
#include <linux/serial.h>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr int longest_wait_ms = 60000;
constexpr int look_again_ms = 20;

std::string result(long value)
{
    return value < 0 ? strerrorname_np(errno) : "ok";
}

int open_port(const char *path)
{
    const int port = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (port < 0)
        printf("open %s\n", strerrorname_np(errno));
    return port;
}

void make_raw(int port)
{
    termios attributes;
    tcgetattr(port, &attributes);
    cfmakeraw(&attributes);
    tcsetattr(port, TCSANOW, &attributes);
}

void print_facts(const char *path)
{
    const int port = open_port(path);
    struct stat node {};
    fstat(port, &node);
    printf("major %u, mode %o\n", major(node.st_rdev), node.st_mode & 0777);
    termios attributes{};
    tcgetattr(port, &attributes);
    printf("c_cflag 0%o\n", attributes.c_cflag);
    cfsetspeed(&attributes, B115200);
    tcsetattr(port, TCSANOW, &attributes);
    tcgetattr(port, &attributes);
    printf("speed after 115200: %s\n", cfgetospeed(&attributes) == B115200 ? "115200" : "9600");
    int lines = 0;
    printf("TIOCMGET %s\n", result(ioctl(port, TIOCMGET, &lines)).c_str());
    serial_struct settings{};
    const int answer = ioctl(port, TIOCGSERIAL, &settings);
    printf("TIOCGSERIAL %s, closing_wait %u\n", result(answer).c_str(), settings.closing_wait);
    printf("tcsendbreak %s\n", result(tcsendbreak(port, 0)).c_str());
    close(port);
}

void print_loss(const char *path, std::string command)
{
    const int port = open_port(path);
    make_raw(port);
    command += "\r\n";
    // Until the port was raw, the driver sent back what the modem said, a byte a buffer, and it has four buffers. What
    // is left of it goes out before the command, so that a free buffer may be taken again.
    ssize_t written = -1;
    for (int waited_ms = 0; waited_ms < longest_wait_ms; waited_ms += look_again_ms) {
        written = write(port, command.data(), command.size());
        if (written >= 0 || errno != EAGAIN)
            break;
        poll(nullptr, 0, look_again_ms);
    }
    printf("write %s\n", result(written).c_str());
    pollfd waiting{.fd = port, .events = POLLIN, .revents = 0};
    for (;;) {
        if (poll(&waiting, 1, longest_wait_ms) <= 0)
            break;
        std::array<char, 4096> buffer;
        const ssize_t count = read(port, buffer.data(), buffer.size());
        if (count > 0 || (count < 0 && errno == EAGAIN))
            continue;
        printf("first read without bytes: %s\n", count == 0 ? "0" : strerrorname_np(errno));
        break;
    }
    poll(&waiting, 1, longest_wait_ms);
    printf("poll%s%s%s%s\n", (waiting.revents & POLLIN) != 0 ? " in" : "",
           (waiting.revents & POLLERR) != 0 ? " err" : "", (waiting.revents & POLLHUP) != 0 ? " hup" : "",
           waiting.revents == 0 ? " nothing" : "");
    char byte = 0;
    printf("next read %zd\n", read(port, &byte, 1));
    printf("write %s\n", result(write(port, "A", 1)).c_str());
    termios attributes;
    printf("tcgetattr %s\n", result(tcgetattr(port, &attributes)).c_str());
    close(port);
}

int queued_output(int port)
{
    int count = 0;
    ioctl(port, TIOCOUTQ, &count);
    return count;
}

void print_output(const char *path)
{
    const int port = open_port(path);
    make_raw(port);
    const std::string bytes(40000, 'A');
    const ssize_t taken = write(port, bytes.data(), bytes.size());
    printf("write takes %s\n", taken == static_cast<ssize_t>(bytes.size()) ? "all" : taken > 0 ? "a part" : "nothing");
    const int before = queued_output(port);
    tcflush(port, TCOFLUSH);
    printf("queued %s; after tcflush %s\n", before > 0 ? "some" : "nothing",
           queued_output(port) == before ? "the same" : "less");
    printf("next write %s\n", result(write(port, bytes.data(), bytes.size())).c_str());
    // Else the close would wait 30 s for the modem.
    serial_struct settings{};
    ioctl(port, TIOCGSERIAL, &settings);
    settings.closing_wait = ASYNC_CLOSING_WAIT_NONE;
    ioctl(port, TIOCSSERIAL, &settings);
    close(port);
}

void print_exclusion(const char *path)
{
    const int port = open_port(path);
    printf("TIOCEXCL %s\n", result(ioctl(port, TIOCEXCL)).c_str());
    fchmod(port, 0666);
    for (const uid_t user : {uid_t{0}, uid_t{65534}}) {
        fflush(stdout);
        if (fork() == 0) {
            if (setuid(user) == 0)
                printf("user %u: %s\n", user, result(open(path, O_RDWR | O_NOCTTY | O_NONBLOCK)).c_str());
            fflush(stdout);
            _exit(0);
        }
        wait(nullptr);
    }
    close(port);
}

/// As the router's own event daemon runs its scripts: a name for the device, which the kernel does not send.
void run_script(const char *script, const std::string &event)
{
    if (fork() != 0) {
        wait(nullptr);
        return;
    }
    for (size_t start = event.find('\0') + 1; start < event.size();) {
        const std::string word = event.c_str() + start;
        start += word.size() + 1;
        const size_t equals = word.find('=');
        if (equals == std::string::npos)
            continue;
        setenv(word.substr(0, equals).c_str(), word.c_str() + equals + 1, 1);
        if (word.starts_with("DEVPATH="))
            setenv("DEVICENAME", word.c_str() + word.rfind('/') + 1, 1);
    }
    execl("/bin/sh", "sh", script, "usb", nullptr);
    _exit(127);
}

void run_events(const char *script, int seconds)
{
    const int socket_of_events = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    const int buffer_bytes = 1 << 20;
    setsockopt(socket_of_events, SOL_SOCKET, SO_RCVBUFFORCE, &buffer_bytes, sizeof buffer_bytes);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 1;
    if (bind(socket_of_events, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        return perror("events");
    puts("listening");
    fflush(stdout);
    const time_t end = time(nullptr) + seconds;
    pollfd waiting{.fd = socket_of_events, .events = POLLIN, .revents = 0};
    while (time(nullptr) < end) {
        if (poll(&waiting, 1, 500) <= 0)
            continue;
        std::array<char, 8192> buffer;
        const ssize_t count = recv(socket_of_events, buffer.data(), buffer.size(), 0);
        if (count > 0)
            run_script(script, std::string(buffer.data(), static_cast<size_t>(count)));
    }
}

} // namespace

int main(int argc, char **argv)
{
    const std::string_view what = argc > 2 ? argv[1] : "";
    if (what == "facts")
        print_facts(argv[2]);
    else if (what == "gone" && argc > 3)
        print_loss(argv[2], argv[3]);
    else if (what == "output")
        print_output(argv[2]);
    else if (what == "exclusive")
        print_exclusion(argv[2]);
    else if (what == "events" && argc > 3)
        run_events(argv[2], atoi(argv[3]));
    else
        return 64;
    return 0;
}
