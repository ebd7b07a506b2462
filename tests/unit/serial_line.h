#pragma once

#include <algorithm>
#include <chrono>
#include <pty.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "at/at_command.h"
#include "platform/files.h"

/// A pseudo terminal whose other end is in the test's hands.
class Line {
  public:
    Line()
    {
        char name[64];
        int other_end = -1;
        EXPECT_EQ(openpty(&modem_, &other_end, name, nullptr, nullptr), 0);
        kept_ = Fd{other_end};
        path_ = name;
    }
    ~Line() { close(modem_); }

    const char *path() const { return path_.c_str(); }
    int modem() const { return modem_; }
    void say(std::string_view text) const
    {
        EXPECT_EQ(::write(modem_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    std::string hear(size_t count) const
    {
        std::string text(count, '\0');
        size_t got = 0;
        while (got < count) {
            const ssize_t length = ::read(modem_, text.data() + got, count - got);
            if (length <= 0)
                break;
            got += static_cast<size_t>(length);
        }
        return text.substr(0, got);
    }
    /// The exclusive use that a transaction claimed ends with a real port's last close; this one's other end
    /// stays open.
    void allow_others() const { ioctl(kept_.get(), TIOCNXCL); }
    bool is_exclusive() const
    {
        int exclusive = 0;
        return ioctl(kept_.get(), TIOCGEXCL, &exclusive) == 0 && exclusive != 0;
    }
    /// As a program that has the port open does it with tcflow.
    void stop_output() const { tcflow(kept_.get(), TCOOFF); }
    void start_output() const { tcflow(kept_.get(), TCOON); }
    termios attributes() const
    {
        termios result{};
        tcgetattr(kept_.get(), &result);
        return result;
    }
    void set_attributes(const termios &attributes) const { tcsetattr(kept_.get(), TCSANOW, &attributes); }

  private:
    int modem_ = -1;
    Fd kept_;
    std::string path_;
};

/// Sends ATI, answers it in pieces with a pause between them, and returns the reply that arrived. A busy machine can
/// make a pause longer than the 50 ms that a transaction waits for the rest of a line; such a try says nothing, and is
/// made again.
inline std::string reply_from_pieces(const std::vector<std::string> &pieces, int pause_ms)
{
    using Clock = std::chrono::steady_clock;
    for (int tries = 0; tries < 200; tries++) {
        const Line line;
        Clock::duration longest{};
        std::thread modem{[&] {
            line.hear(5);
            Clock::time_point before = Clock::now();
            for (const std::string &piece : pieces) {
                if (&piece != &pieces.front())
                    std::this_thread::sleep_for(std::chrono::milliseconds{pause_ms});
                line.say(piece);
                const Clock::time_point now = Clock::now();
                longest = std::max(longest, now - before);
                before = now;
            }
        }};
        Text<4096> reply;
        EXPECT_EQ(at_command(line.path(), AtCommand{"ATI"}, reply), 0);
        modem.join();
        if (longest < std::chrono::milliseconds{50})
            return std::string{reply.view()};
    }
    ADD_FAILURE() << "no pause was below 50 ms";
    return "";
}
