#include "at/serial_port.h"

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <pty.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "at/at_command.h"
#include "at/reply.h"
#include "platform/files.h"
#include "tests/unit/temporary_directory.h"

namespace {

// A pseudo terminal whose other end is in the test's hands.
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
    // The exclusive use that a transaction claimed ends with a real port's last close; this one's other end stays open.
    void allow_others() const { ioctl(kept_.get(), TIOCNXCL); }
    termios attributes() const
    {
        termios result{};
        tcgetattr(kept_.get(), &result);
        return result;
    }

  private:
    int modem_ = -1;
    Fd kept_;
    std::string path_;
};

std::string errors_of(const std::function<void()> &run)
{
    testing::internal::CaptureStderr();
    run();
    return testing::internal::GetCapturedStderr();
}

TEST(SerialOpen, TellsThatARateIsNotSupported)
{
    const Line line;
    for (const int rate : {600, 1800, 0, -1, 230400}) {
        const std::string errors = errors_of([&] { EXPECT_EQ(serial_open(line.path(), rate, 0, 100), -1); });
        EXPECT_EQ(errors.find(std::string{"Baud rate not supported "} + line.path() + " - "), 0u) << errors;
        EXPECT_EQ(errors.substr(errors.size() - 3), ").\n");
    }
}

TEST(SerialOpen, TellsThatAPortIsMissing)
{
    EXPECT_EQ(errors_of([] { EXPECT_EQ(serial_open("/dev/ttyUSB77", 115200, 0, 100), -1); }),
              "Error opening serial port /dev/ttyUSB77 - No such file or directory(2).\n");
}

TEST(SerialOpen, TellsThatAFileIsNoPort)
{
    const TemporaryDirectory directory;
    const std::string path = directory.file("file", "");
    const std::string errors = errors_of([&] { EXPECT_EQ(serial_open(path.c_str(), 115200, 0, 100), -1); });
    // The words between are the C library's.
    EXPECT_EQ(errors.find("Error setting TIOCEXCL on " + path + " - "), 0u) << errors;
    EXPECT_TRUE(errors.ends_with("(25).\n")) << errors;
}

struct TimeoutRow {
    int timeout_ms;
    int vmin;
    int vtime;
};

TEST(SerialOpen, SetsTheLineUpRaw)
{
    const TimeoutRow rows[] = {{100, 0, 1}, {550, 0, 5}, {99, 0, 0}, {0, 0, 0}, {-1, 1, 0}};
    for (const auto &row : rows) {
        const Line line;
        const int fd = serial_open(line.path(), 9600, 0, row.timeout_ms);
        ASSERT_NE(fd, -1);
        const termios set = line.attributes();
        EXPECT_EQ(set.c_iflag, static_cast<tcflag_t>(IGNBRK));
        EXPECT_EQ(set.c_oflag, 0u);
        EXPECT_EQ(set.c_lflag, 0u);
        EXPECT_EQ(set.c_cflag & (PARENB | CSTOPB | CSIZE | CREAD | CLOCAL),
                  static_cast<tcflag_t>(CS8 | CREAD | CLOCAL));
        EXPECT_EQ(set.c_cflag & CRTSCTS, 0u);
        EXPECT_EQ(cfgetospeed(&set), static_cast<speed_t>(B9600));
        EXPECT_EQ(set.c_cc[VMIN], row.vmin) << row.timeout_ms;
        EXPECT_EQ(set.c_cc[VTIME], row.vtime) << row.timeout_ms;
        EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
        EXPECT_EQ(serial_close(fd), 0);
    }
}

TEST(SerialOpen, TakesHardwareFlowControlWhereWanted)
{
    const Line line;
    const int fd = serial_open(line.path(), 115200, 1, 100);
    EXPECT_EQ(line.attributes().c_cflag & CRTSCTS, static_cast<tcflag_t>(CRTSCTS));
    serial_close(fd);
}

TEST(SerialClose, PutsTheAttributesBack)
{
    const Line line;
    const termios before = line.attributes();
    serial_close(serial_open(line.path(), 115200, 0, 100));
    const termios after = line.attributes();
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(after.c_oflag, before.c_oflag);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_cflag, before.c_cflag);
}

TEST(SerialClose, TellsThatItFailed)
{
    EXPECT_EQ(errors_of([] { EXPECT_EQ(serial_close(-1), -1); }),
              "Error opening serial port - Bad file descriptor(9).\n");
}

TEST(SerialFlush, DoesNothingWithoutAPort)
{
    errno = 0;
    serial_flush(-1);
    EXPECT_EQ(errno, 0);
}

TEST(SerialRead, GivesZeroOnSilenceAndWhatCame)
{
    const Line line;
    const int fd = serial_open(line.path(), 115200, 0, 100);
    char buffer[16];
    EXPECT_EQ(serial_read_timeout(fd, sizeof buffer, buffer, 100), 0);
    line.say("OK\r\n");
    EXPECT_EQ(serial_read_timeout(fd, sizeof buffer, buffer, 500), 4);
    line.say("abcdef");
    EXPECT_EQ(serial_read_timeout(fd, 3, buffer, 500), 3);
    serial_close(fd);
}

TEST(SerialRead, BlocksWithoutATimeout)
{
    const Line line;
    const int fd = serial_open(line.path(), 115200, 0, 100);
    std::thread modem{[&] {
        // The reader has set VMIN to 1 before it waits.
        while (line.attributes().c_cc[VMIN] != 1)
            std::this_thread::yield();
        line.say("x");
    }};
    char character = 0;
    EXPECT_EQ(serial_read_timeout(fd, 1, &character, 0), 1);
    modem.join();
    serial_close(fd);
}

TEST(SerialRead, FailsWithoutAPort)
{
    char character = 0;
    EXPECT_EQ(serial_read_timeout(-1, 1, &character, 100), -1);
}

TEST(SerialWrite, GivesWhatIsLeft)
{
    const Line line;
    const int fd = serial_open(line.path(), 115200, 0, 100);
    EXPECT_EQ(serial_write_all(fd, 5, "ATI\r\n"), 0u);
    EXPECT_EQ(line.hear(5), "ATI\r\n");
    EXPECT_EQ(serial_write_all(-1, 5, "ATI\r\n"), 5u);
    serial_close(fd);
}

// Transactions, with a modem that answers each command with the chunks given.
class Transaction : public testing::Test {
  protected:
    int run(std::string_view command, std::vector<std::string> chunks, TextOut reply, int capacity)
    {
        std::thread modem{[&, length = command.size() + 2] {
            heard = line.hear(length);
            for (const auto &chunk : chunks)
                line.say(chunk);
        }};
        const int result = at_command(line.path(), AtCommand{command}, reply, capacity);
        modem.join();
        return result;
    }

    Line line;
    std::string heard;
};

TEST_F(Transaction, SendsTheCommandWithCrLfAndTakesTheReply)
{
    Text<64> reply;
    EXPECT_EQ(run("AT+CSQ", {"AT+CSQ\r\r\n+CSQ: 28,99\r\n\r\nOK\r\n"}, reply, 64), 0);
    EXPECT_EQ(heard, "AT+CSQ\r\n");
    EXPECT_EQ(reply.view(), "AT+CSQ\r\r\n+CSQ: 28,99\r\n\r\nOK\r\n");
}

TEST_F(Transaction, PutsAReplyTogetherFromItsPieces)
{
    Text<64> reply;
    EXPECT_EQ(run("ATI", {"\r\nQue", std::string("c\0\0tel", 6), "\r\n\r\nO", "K\r\n"}, reply, 64), 0);
    EXPECT_TRUE(str_contains(reply.view(), "\r\nOK")) << reply.c_str();
    EXPECT_EQ(reply.view().substr(0, 11), "\r\nQuectel\r\n");
}

TEST_F(Transaction, EndsWithAnError)
{
    Text<64> reply;
    EXPECT_EQ(run("AT+CPIN?", {"\r\n+CME ERROR: 10"}, reply, 64), 0);
    EXPECT_EQ(reply.view(), "\r\n+CME ERROR: 10");
}

TEST_F(Transaction, EndsWithAnOkInsideOtherText)
{
    Text<64> reply;
    EXPECT_EQ(run("AT+COPS?", {"+COPS: 0,0,\"BOOK"}, reply, 64), 0);
    EXPECT_EQ(reply.view(), "+COPS: 0,0,\"BOOK");
}

TEST_F(Transaction, CutsAReplyOfTheCapacityByItsLastByte)
{
    Text<32> reply;
    EXPECT_EQ(run("ATI", {std::string(40, 'x')}, reply, 20), 0);
    EXPECT_EQ(reply.view(), std::string(19, 'x'));
}

TEST_F(Transaction, TakesACapacityOfZeroAs4096)
{
    Text<8000> reply;
    EXPECT_EQ(run("ATI", {std::string(4095, 'x'), "yz"}, reply, 0), 0);
    EXPECT_EQ(reply.view(), std::string(4095, 'x'));
}

TEST_F(Transaction, NeverTakesMoreThanTheReplyHolds)
{
    Text<16> reply;
    EXPECT_EQ(run("ATI", {std::string(40, 'x')}, reply, 1000), 0);
    EXPECT_EQ(reply.view(), std::string(15, 'x'));
}

TEST_F(Transaction, StartsWithAnEmptyReply)
{
    Text<32> reply = "left over OK\r\n";
    EXPECT_EQ(errors_of([&] { EXPECT_EQ(at_command("/dev/ttyUSB77", AtCommand{"ATI"}, reply), -1); }),
              "Error opening serial port /dev/ttyUSB77 - No such file or directory(2).\n");
    EXPECT_TRUE(reply.empty());
}

TEST_F(Transaction, LeavesAPortAloneThatIsLocked)
{
    const Fd holder{open(line.path(), O_RDWR | O_NOCTTY)};
    ASSERT_EQ(flock(holder.get(), LOCK_EX), 0);
    Text<32> reply;
    EXPECT_EQ(at_command(line.path(), AtCommand{"ATI"}, reply), -2);
    EXPECT_TRUE(reply.empty());
    // Nothing was written: what is read first is what we write ourselves.
    ASSERT_EQ(write(holder.get(), "x", 1), 1);
    EXPECT_EQ(line.hear(1), "x");
}

TEST_F(Transaction, UnlocksThePortAtItsEnd)
{
    Text<32> reply;
    EXPECT_EQ(run("ATI", {"OK\r\n"}, reply, 32), 0);
    line.allow_others();
    const Fd next{open(line.path(), O_RDWR | O_NOCTTY)};
    EXPECT_EQ(flock(next.get(), LOCK_EX | LOCK_NB), 0);
}

} // namespace
