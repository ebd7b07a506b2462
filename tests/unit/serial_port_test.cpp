#include "at/serial_port.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <sys/file.h>
#include <sys/wait.h>
#include <thread>

#include <gtest/gtest.h>

#include "at/at_command.h"
#include "at/reply.h"
#include "tests/unit/serial_line.h"
#include "tests/unit/temporary_directory.h"

namespace serial_port_test {

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
        SerialPort port;
        const std::string errors = errors_of([&] { EXPECT_EQ(serial_open(port, line.path(), rate, 0, 100), -1); });
        EXPECT_EQ(errors.find(std::string{"Baud rate not supported "} + line.path() + " - "), 0u) << errors;
        EXPECT_EQ(errors.substr(errors.size() - 3), ").\n");
    }
}

TEST(SerialOpen, TellsThatAPortIsMissing)
{
    SerialPort port;
    EXPECT_EQ(errors_of([&] { EXPECT_EQ(serial_open(port, "/dev/ttyUSB77", 115200, 0, 100), -1); }),
              "Error opening serial port /dev/ttyUSB77 - No such file or directory(2).\n");
}

TEST(SerialOpen, TellsThatAFileIsNoPort)
{
    const TemporaryDirectory directory;
    const std::string path = directory.file("file", "");
    SerialPort port;
    const std::string errors = errors_of([&] { EXPECT_EQ(serial_open(port, path.c_str(), 115200, 0, 100), -1); });
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
        SerialPort port;
        const int fd = serial_open(port, line.path(), 9600, 0, row.timeout_ms);
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
        EXPECT_EQ(serial_close(port), 0);
    }
}

TEST(SerialOpen, TakesHardwareFlowControlWhereWanted)
{
    const Line line;
    SerialPort port;
    ASSERT_NE(serial_open(port, line.path(), 115200, 1, 100), -1);
    EXPECT_EQ(line.attributes().c_cflag & CRTSCTS, static_cast<tcflag_t>(CRTSCTS));
    serial_close(port);
}

TEST(SerialClose, PutsTheAttributesBack)
{
    const Line line;
    const termios before = line.attributes();
    SerialPort port;
    ASSERT_NE(serial_open(port, line.path(), 115200, 0, 100), -1);
    serial_close(port);
    const termios after = line.attributes();
    EXPECT_EQ(after.c_iflag, before.c_iflag);
    EXPECT_EQ(after.c_oflag, before.c_oflag);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_cflag, before.c_cflag);
}

TEST(SerialClose, TellsThatItFailed)
{
    SerialPort port;
    EXPECT_EQ(errors_of([&] { EXPECT_EQ(serial_close(port), -1); }),
              "Error opening serial port - Bad file descriptor(9).\n");
}

TEST(SerialFlush, DoesNothingWithoutAPort)
{
    errno = 0;
    serial_flush(SerialPort{});
    EXPECT_EQ(errno, 0);
}

TEST(SerialRead, GivesZeroOnSilenceAndWhatCame)
{
    const Line line;
    SerialPort port;
    ASSERT_NE(serial_open(port, line.path(), 115200, 0, 100), -1);
    char buffer[16];
    EXPECT_EQ(serial_read_timeout(port, sizeof buffer, buffer, 100), 0);
    line.say("OK\r\n");
    EXPECT_EQ(serial_read_timeout(port, sizeof buffer, buffer, 500), 4);
    line.say("abcdef");
    EXPECT_EQ(serial_read_timeout(port, 3, buffer, 500), 3);
    serial_close(port);
}

TEST(SerialRead, BlocksWithoutATimeout)
{
    const Line line;
    SerialPort port;
    ASSERT_NE(serial_open(port, line.path(), 115200, 0, 100), -1);
    std::thread modem{[&] {
        // The reader has set VMIN to 1 before it waits.
        while (line.attributes().c_cc[VMIN] != 1)
            std::this_thread::yield();
        line.say("x");
    }};
    char character = 0;
    EXPECT_EQ(serial_read_timeout(port, 1, &character, 0), 1);
    modem.join();
    serial_close(port);
}

TEST(SerialRead, FailsWithoutAPort)
{
    SerialPort port;
    char character = 0;
    EXPECT_EQ(serial_read_timeout(port, 1, &character, 100), -1);
}

TEST(SerialWrite, GivesWhatIsLeft)
{
    const Line line;
    SerialPort port;
    ASSERT_NE(serial_open(port, line.path(), 115200, 0, 100), -1);
    EXPECT_EQ(serial_write_all(port, 5, "ATI\r\n"), 0u);
    EXPECT_EQ(line.hear(5), "ATI\r\n");
    serial_close(port);
    EXPECT_EQ(serial_write_all(port, 5, "ATI\r\n"), 5u);
}

std::chrono::milliseconds time_of(const std::function<void()> &run)
{
    const auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

TEST(SerialWrite, GivesUpWhatAPortDoesNotTakeForHalfASecond)
{
    const Line line;
    SerialPort port;
    ASSERT_NE(serial_open(port, line.path(), 115200, 0, 100), -1);
    line.stop_output();
    const auto time = time_of([&] { EXPECT_EQ(serial_write_all(port, 5, "ATI\r\n"), 5u); });
    EXPECT_GE(time, std::chrono::milliseconds{500});
    EXPECT_LT(time, std::chrono::milliseconds{3000});
    // The half second is one for all that is sent while the port is open.
    EXPECT_LT(time_of([&] { EXPECT_EQ(serial_write_all(port, 5, "ATI\r\n"), 5u); }), std::chrono::milliseconds{400});
    line.start_output();
    EXPECT_EQ(serial_write_all(port, 5, "ATE\r\n"), 0u);
    EXPECT_EQ(line.hear(5), "ATE\r\n");
    EXPECT_EQ(fcntl(port.fd, F_GETFL) & O_NONBLOCK, 0);
}

TEST(SerialWrite, GoesOnWhenAPortTakesBytesAgain)
{
    const Line line;
    SerialPort port;
    ASSERT_NE(serial_open(port, line.path(), 115200, 0, 100), -1);
    line.stop_output();
    std::thread other{[&] {
        std::this_thread::sleep_for(std::chrono::milliseconds{50});
        line.start_output();
    }};
    EXPECT_EQ(serial_write_all(port, 5, "ATI\r\n"), 0u);
    other.join();
    EXPECT_EQ(line.hear(5), "ATI\r\n");
}

// A process with the command line's handlers has the port open when the signal comes. @return how it ended
int end_in_transaction(const Line &line, int number, bool is_ignored)
{
    int opened[2];
    EXPECT_EQ(pipe(opened), 0);
    const pid_t child = fork();
    if (child == 0) {
        signal(number, is_ignored ? SIG_IGN : SIG_DFL);
        put_port_back_on_signals();
        SerialPort port;
        const bool is_open = serial_open(port, line.path(), 115200, 0, 100) != -1;
        (void)!write(opened[1], is_open ? "y" : "n", 1);
        usleep(is_ignored ? 300'000 : 20'000'000);
        _exit(0);
    }
    char is_open = 'n';
    EXPECT_EQ(read(opened[0], &is_open, 1), 1);
    EXPECT_EQ(is_open, 'y');
    EXPECT_TRUE(line.is_exclusive());
    EXPECT_EQ(line.attributes().c_lflag, 0u);
    kill(child, number);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    close(opened[0]);
    close(opened[1]);
    return status;
}

TEST(PutPortBackOnSignals, LeavesThePortAsItWasAndEndsByTheSignal)
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        const Line line;
        const termios before = line.attributes();
        const int status = end_in_transaction(line, number, false);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == number) << status;
        const termios after = line.attributes();
        EXPECT_EQ(after.c_iflag, before.c_iflag);
        EXPECT_EQ(after.c_oflag, before.c_oflag);
        EXPECT_EQ(after.c_lflag, before.c_lflag);
        EXPECT_EQ(after.c_cflag, before.c_cflag);
        EXPECT_EQ(after.c_cc[VMIN], before.c_cc[VMIN]);
        EXPECT_FALSE(line.is_exclusive());
    }
}

TEST(PutPortBackOnSignals, LeavesASignalIgnoredThatIs)
{
    const Line line;
    const int status = end_in_transaction(line, SIGHUP, true);
    EXPECT_TRUE(WIFEXITED(status)) << status;
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

TEST(Pieces, BringTheRestOfTheLineThatHasTheEnd)
{
    const std::vector<std::string> rows[] = {
        {"\r\nOK", "\r\n"}, {"\r\nOK\r", "\n"}, {"\r\n+CME ERROR", ": 10\r\n"}, {"\r\n+CME ERROR: 1", "0\r", "\n"}};
    for (const std::vector<std::string> &pieces : rows) {
        std::string whole;
        for (const std::string &piece : pieces)
            whole += piece;
        EXPECT_EQ(reply_from_pieces(pieces, 15), whole);
    }
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

// A web back end may have several threads.
TEST(TransactionsOfThreads, PutBackEachPortsOwnAttributes)
{
    const Line lines[2];
    termios second = lines[1].attributes();
    cfsetspeed(&second, B300);
    second.c_iflag ^= IXANY;
    lines[1].set_attributes(second);
    std::vector<std::thread> threads;
    for (const Line &line : lines)
        threads.emplace_back([&line] {
            for (int i = 0; i < 3; i++) {
                std::thread modem{[&line] {
                    line.hear(5);
                    line.say("\r\nOK\r\n");
                }};
                Text<32> reply;
                EXPECT_EQ(at_command(line.path(), AtCommand{"ATI"}, reply), 0);
                modem.join();
                line.allow_others();
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(lines[1].attributes().c_iflag, second.c_iflag);
    EXPECT_NE(lines[0].attributes().c_iflag, second.c_iflag);
    const termios after = lines[1].attributes();
    EXPECT_EQ(cfgetospeed(&after), static_cast<speed_t>(B300));
}

TEST_F(Transaction, UnlocksThePortAtItsEnd)
{
    Text<32> reply;
    EXPECT_EQ(run("ATI", {"OK\r\n"}, reply, 32), 0);
    line.allow_others();
    const Fd next{open(line.path(), O_RDWR | O_NOCTTY)};
    EXPECT_EQ(flock(next.get(), LOCK_EX | LOCK_NB), 0);
}

} // namespace serial_port_test
