#include "simulator/router/terminal.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mount.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

#include "simulator/router/mounts.h"

namespace simulator {

namespace {

constexpr size_t most_pending = 256 * 1024;

[[noreturn]] void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

Terminal::Terminal(EventLoop &loop, std::string node, Manner manner, Received received)
    : loop_(loop), node_(std::move(node)), received_(std::move(received)),
      master_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    std::array<char, 64> name;
    if (!master_ || unlockpt(master_.get()) != 0 || ptsname_r(master_.get(), name.data(), name.size()) != 0)
        fail("pseudo terminal for " + node_);
    slave_path_ = name.data();

    // Opened and closed once: from now on the master knows whether anybody has the other side open. It is not kept
    // open, since a terminal in line mode would echo the modem's lines back to the modem.
    {
        const Fd slave(open(slave_path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
        termios attributes;
        if (!slave || tcgetattr(slave.get(), &attributes) != 0)
            fail(slave_path_);
        if (manner == Manner::transparent)
            cfmakeraw(&attributes);
        else
            attributes.c_cflag |= HUPCL | CLOCAL; // as the drivers of USB modems
        cfsetspeed(&attributes, B9600);
        if (tcsetattr(slave.get(), TCSANOW, &attributes) != 0)
            fail(slave_path_);
    }
    const Fd mount_point(open(node_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    if (!mount_point)
        fail(node_);
    mount_bind(slave_path_, node_);
    loop_.watch(master_.get(), EPOLLIN | EPOLLOUT | EPOLLET, [this](uint32_t events) { on_ready(events); });
}

Terminal::~Terminal()
{
    loop_.unwatch(master_.get());
    remove_node();
}

void Terminal::remove_node()
{
    if (node_.empty())
        return;
    umount2(node_.c_str(), MNT_DETACH);
    unlink(node_.c_str());
    node_.clear();
}

bool Terminal::is_open() const
{
    pollfd state{.fd = master_.get(), .events = 0, .revents = 0};
    return poll(&state, 1, 0) >= 0 && (state.revents & POLLHUP) == 0;
}

bool Terminal::send(std::string_view bytes)
{
    if (!is_open() || pending_.size() + bytes.size() > most_pending)
        return false;
    pending_ += bytes;
    flush_pending();
    return true;
}

void Terminal::on_ready(uint32_t events)
{
    if ((events & EPOLLHUP) != 0)
        discard_unread();
    else
        flush_pending();
    std::string received;
    std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t count = read(master_.get(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        received.append(buffer.data(), static_cast<size_t>(count));
    }
    if (!received.empty())
        received_(received); // may destroy this object: touch no member after the call
}

void Terminal::flush_pending()
{
    while (!pending_.empty()) {
        const ssize_t written = write(master_.get(), pending_.data(), pending_.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        sent_since_open_ = true;
        pending_.erase(0, static_cast<size_t>(written));
    }
}

/// A serial driver discards unread bytes at the last close; a pseudo terminal keeps them for the next opener.
void Terminal::discard_unread()
{
    pending_.clear();
    if (!sent_since_open_)
        return;
    sent_since_open_ = false;
    const Fd slave(open(slave_path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (slave)
        tcflush(slave.get(), TCIFLUSH);
}

} // namespace simulator
