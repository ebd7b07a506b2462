#include "at/port_queue.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <sys/wait.h>
#include <thread>

#include <gtest/gtest.h>

#include "at/at_command.h"
#include "tests/unit/serial_line.h"
#include "tests/unit/temporary_directory.h"

using std::chrono::milliseconds;

namespace port_queue_test {

constexpr int long_enough_ms = 60'000; // on a machine that does much else

milliseconds since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
}

Fd open_port(const Line &line)
{
    Fd fd{open(line.path(), O_RDWR | O_NOCTTY | O_CLOEXEC)};
    EXPECT_TRUE(fd);
    return fd;
}

// Time that fd has to wait for its turn.
milliseconds wait_of(const Fd &fd)
{
    const auto start = std::chrono::steady_clock::now();
    wait_for_turn(fd.get());
    return since(start);
}

// Waits until count of the queue's bytes are locked by others than fd: how many stand in it.
void wait_for_length(const Fd &fd, int count)
{
    for (int found = 0; found < count; std::this_thread::sleep_for(milliseconds{1})) {
        found = 0;
        struct flock lock = {.l_type = F_WRLCK, .l_whence = SEEK_SET, .l_start = (1 << 30) + 2, .l_len = 0, .l_pid = 0};
        for (; fcntl(fd.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK; found++)
            lock = {.l_type = F_WRLCK, .l_whence = SEEK_SET, .l_start = lock.l_start + 1, .l_len = 0, .l_pid = 0};
    }
}

// A process that has its place and keeps it until it is killed.
pid_t start_waiter(const Line &line, const Fd &observer, int length_then)
{
    const pid_t child = fork();
    if (child == 0) {
        const Fd fd{open(line.path(), O_RDWR | O_NOCTTY)};
        wait_for_turn(fd.get(), long_enough_ms);
        pause();
        _exit(0);
    }
    wait_for_length(observer, length_then);
    return child;
}

void end(pid_t child)
{
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST(PortQueue, CostsNoTimeWhenNobodyIsThere)
{
    const Line line;
    EXPECT_LT(wait_of(open_port(line)), milliseconds{100});
    EXPECT_LT(wait_of(open_port(line)), milliseconds{100}); // the first one has closed it
}

TEST(PortQueue, GivesTurnsInTheOrderOfComing)
{
    constexpr int count = 16;
    const Line line;
    const Fd observer = open_port(line);
    std::vector<int> order;
    std::mutex order_lock;
    std::atomic<int> busy = 0;
    std::vector<std::thread> threads;
    Fd first = open_port(line);
    wait_for_turn(first.get());
    for (int i = 0; i < count; i++) {
        threads.emplace_back([&, i] {
            const Fd fd = open_port(line);
            wait_for_turn(fd.get(), long_enough_ms);
            EXPECT_EQ(busy++, 0); // one at a time
            {
                const std::lock_guard guard(order_lock);
                order.push_back(i);
            }
            std::this_thread::sleep_for(milliseconds{5});
            busy--;
        });
        wait_for_length(observer, i + 2);
    }
    first = Fd{};
    for (std::thread &thread : threads)
        thread.join();
    std::vector<int> expected;
    for (int i = 0; i < count; i++)
        expected.push_back(i);
    EXPECT_EQ(order, expected);
}

TEST(PortQueue, LetsOneAtATimeInWhenManyComeAtOnce)
{
    const Line line;
    std::atomic<int> busy = 0;
    std::atomic<int> turns = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 16; i++)
        threads.emplace_back([&] {
            for (int n = 0; n < 20; n++) {
                const Fd fd = open_port(line);
                wait_for_turn(fd.get(), long_enough_ms);
                EXPECT_EQ(busy++, 0);
                std::this_thread::yield();
                busy--;
                turns++;
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(turns, 16 * 20);
}

TEST(PortQueue, ClosesUpWhereAProcessIsKilled)
{
    const Line line;
    const Fd observer = open_port(line);
    const pid_t first = start_waiter(line, observer, 1);
    const pid_t second = start_waiter(line, observer, 2);
    std::atomic<bool> has_turn = false;
    std::thread third{[&] {
        const Fd fd = open_port(line);
        wait_for_turn(fd.get());
        has_turn = true;
    }};
    wait_for_length(observer, 3);
    end(second); // in the middle
    std::this_thread::sleep_for(milliseconds{30});
    EXPECT_FALSE(has_turn);
    end(first);
    third.join();
    EXPECT_TRUE(has_turn);
    EXPECT_LT(wait_of(open_port(line)), milliseconds{100}); // nothing is left of them
}

TEST(PortQueue, IsGivenUpAfterThreeSeconds)
{
    const Line line;
    const Fd observer = open_port(line);
    const pid_t first = start_waiter(line, observer, 1);
    const milliseconds time = wait_of(open_port(line));
    EXPECT_GE(time, milliseconds{2999});
    EXPECT_LT(time, milliseconds{5000});
    end(first);
}

TEST(PortQueue, DoesNotWaitForTheLocksOfOtherPrograms)
{
    const Line line;
    const Fd stranger = open_port(line);
    for (const int command : {F_OFD_SETLK, F_SETLK}) { // of the whole port
        const pid_t child = fork();
        if (child == 0) {
            struct flock lock = {.l_type = F_WRLCK, .l_whence = SEEK_SET, .l_start = 0, .l_len = 0, .l_pid = 0};
            fcntl(stranger.get(), command, &lock);
            (void)!write(stranger.get(), "l", 1);
            pause();
        }
        EXPECT_EQ(line.hear(1), "l");
        EXPECT_LT(wait_of(open_port(line)), milliseconds{500});
        struct flock unlock = {.l_type = F_UNLCK, .l_whence = SEEK_SET, .l_start = 0, .l_len = 0, .l_pid = 0};
        end(child);
        fcntl(stranger.get(), F_OFD_SETLK, &unlock);
    }
}

TEST(PortQueue, DoesNotWaitWhereThereIsNone)
{
    EXPECT_LT(wait_of(Fd{}), milliseconds{500});
    const TemporaryDirectory directory;
    const Fd read_only{open(directory.file("file", "").c_str(), O_RDONLY)}; // may not be locked for writing
    EXPECT_LT(wait_of(read_only), milliseconds{500});
}

} // namespace port_queue_test
