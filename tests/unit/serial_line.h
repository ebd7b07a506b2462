#pragma once

#include <pty.h>
#include <string>
#include <string_view>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

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
