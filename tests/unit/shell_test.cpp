#include "platform/shell.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>

#include "platform/files.h"
#include "tests/unit/command_path.h"

namespace shell_test {

using namespace std::string_literals;

// While it lives, the process treats a signal otherwise.
class Disposition {
  public:
    Disposition(int number, void (*handler)(int), int flags = 0) : number_(number)
    {
        struct sigaction action = {};
        action.sa_handler = handler;
        action.sa_flags = flags;
        sigaction(number, &action, &before_);
    }
    Disposition(const Disposition &) = delete;
    Disposition &operator=(const Disposition &) = delete;
    ~Disposition() { sigaction(number_, &before_, nullptr); }

  private:
    int number_;
    struct sigaction before_;
};

// What runs in a child process, so that this one keeps its own state. @return the number that body gives
int in_child(const std::function<int()> &body)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(body());
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void reap_everybody(int)
{
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

// A command that a test writes for itself.
ShellLine<512> made_here(const std::string &command)
{
    return ShellLine<512>{"{}", Piece::as_it_came(command.c_str())};
}

volatile sig_atomic_t interruptions = 0;
void count_interruption(int)
{
    interruptions = interruptions + 1;
}

size_t open_descriptors()
{
    const std::filesystem::directory_iterator entries{"/proc/self/fd"};
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

std::string fifo_in(const TemporaryDirectory &directory, const char *name)
{
    const std::string path = directory.entry(name);
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    return path;
}

TEST(ShellCommandReturn, StoresWhatTheCommandPrints)
{
    const struct {
        ShellCommand command;
        int stored;
        std::string_view output;
    } rows[] = {
        {"echo one; echo two", 8, "one\ntwo\n"},
        {"printf 'no newline'", 10, "no newline"},
        {"true", 0, ""},
        {"echo text; exit 3", 5, "text\n"},
        {"no-such-command 2>/dev/null", 0, ""},
        {"printf 'a\\000b\\000'", 2, "ab"},
        {"head -c 9000 /dev/zero; echo end", 4, "end\n"},
        {"printf '\\377\\200'", 2, "\xFF\x80"},
    };
    for (const auto &row : rows) {
        Text<32> out = "old";
        EXPECT_EQ(getShellCommandReturn(row.command, out), row.stored) << row.command.c_str();
        EXPECT_EQ(out, row.output) << row.command.c_str();
    }
}

TEST(ShellCommandReturn, ReadsWhatHasNoRoomSoThatTheCommandEndsByItself)
{
    const TemporaryDirectory directory;
    const std::string command = "head -c 300000 /dev/zero | tr '\\0' x && echo whole >" + directory.entry("end");
    Text<8> out;
    EXPECT_EQ(getShellCommandReturn(made_here(command), out), 7);
    EXPECT_EQ(out, "xxxxxxx");
    EXPECT_EQ(content_of(directory.entry("end")), "whole\n");
}

TEST(ShellCommandReturn, IntoNoBytesStillRunsTheCommand)
{
    const TemporaryDirectory directory;
    const std::string command = "echo run | tee " + directory.entry("end");
    EXPECT_EQ(getShellCommandReturn(made_here(command), TextOut{nullptr, 0}), 0);
    EXPECT_EQ(content_of(directory.entry("end")), "run\n");
}

TEST(ShellCommandReturnLine, IsTheFirstLineWithoutItsNewline)
{
    const struct {
        ShellCommand command;
        int stored;
        std::string_view output;
    } rows[] = {
        {"echo one; echo two", 3, "one"},
        {"printf one", 3, "one"},
        {"echo; echo two", 0, ""},
        {"printf 'one\\r\\ntwo'", 4, "one\r"},
        {"printf 'a\\000b\\n\\000c'", 2, "ab"},
        {"echo 0123456789", 7, "0123456"},
        {"true", 0, ""},
    };
    for (const auto &row : rows) {
        Text<8> out = "old";
        EXPECT_EQ(getShellCommandReturnLine(row.command, out), row.stored) << row.command.c_str();
        EXPECT_EQ(out, row.output) << row.command.c_str();
    }
}

TEST(ShellCommandReturnDynamic, HoldsAllOfTheOutput)
{
    const HeapText text = getShellCommandReturnDynamic("head -c 100000 /dev/zero | tr '\\0' x; echo; echo end");
    ASSERT_TRUE(text);
    EXPECT_EQ(text.get(), std::string(100000, 'x') + "\nend\n");
}

TEST(ShellCommandReturnDynamic, StopsAtOneMebibyte)
{
    // The zero byte in front, which is left out, keeps the pieces that are read from ending at the limit by chance.
    const HeapText text = getShellCommandReturnDynamic("printf 'x\\000'; head -c 1100000 /dev/zero | tr '\\0' x");
    ASSERT_TRUE(text);
    EXPECT_EQ(strlen(text.get()), 1048576U);
}

TEST(ShellCommandReturnDynamic, IsNullWithoutOutput)
{
    EXPECT_FALSE(getShellCommandReturnDynamic("true"));
    EXPECT_FALSE(getShellCommandReturnDynamic("head -c 5000 /dev/zero"));
    EXPECT_FALSE(getShellCommandReturnDynamic("no-such-command 2>/dev/null"));
}

TEST(ShellCommand, OutputSurvivesInterruptedReads)
{
    const Disposition handler{SIGALRM, count_interruption};
    interruptions = 0;
    const itimerval every_millisecond{.it_interval = {0, 1000}, .it_value = {0, 1000}};
    const itimerval never{};
    Text<16> out;
    setitimer(ITIMER_REAL, &every_millisecond, nullptr);
    getShellCommandReturn("sleep 0.1; echo early; sleep 0.1; echo late", out);
    const int status = execCommand("sleep 0.1; exit 5");
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(out, "early\nlate\n");
    EXPECT_EQ(status, 5);
    EXPECT_GT(interruptions, 0);
}

TEST(ShellCommand, LeavesNoDescriptorAndNoChildBehind)
{
    EXPECT_EQ(in_child([] {
                  const size_t before = open_descriptors();
                  Text<8> out;
                  getShellCommandReturn("echo x", out);
                  getShellCommandReturnLine("echo x", out);
                  getShellCommandReturnDynamic("echo x");
                  execCommand("true");
                  fork_exec2("true");
                  const bool childless = waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
                  return childless && open_descriptors() == before ? 0 : 1;
              }),
              0);
}

TEST(ShellCommand, SeesOfItsPipeOnlyTheStandardOutput)
{
    EXPECT_EQ(in_child([] {
                  for (int descriptor = 3; descriptor < 1024; descriptor++)
                      close(descriptor);
                  Text<32> out;
                  getShellCommandReturn("ls /proc/self/fd", out); // 3 is the directory that ls reads
                  return out == "0\n1\n2\n3\n" ? 0 : 1;
              }),
              0);
}

TEST(ShellCommand, HandsOnNoDescriptorButTheStandardStreams)
{
    const TemporaryDirectory directory;
    EXPECT_EQ(in_child([&] {
                  dup2(STDERR_FILENO, 77); // a connection of the back end
                  dup2(STDERR_FILENO, 1000);
                  Text<64> out;
                  getShellCommandReturn("ls /proc/self/fd | tr '\\n' ' '", out);
                  Text<64> line;
                  getShellCommandReturnLine("ls /proc/self/fd | tr '\\n' ' '", line);
                  const HeapText text = getShellCommandReturnDynamic("ls /proc/self/fd | tr '\\n' ' '");
                  execCommand(made_here("ls /proc/self/fd | tr '\\n' ' ' >" + directory.entry("list")));
                  // 3 is the directory that ls reads
                  return out == "0 1 2 3 " && line == "0 1 2 3 " && std::string{text.get()} == "0 1 2 3 " &&
                                 content_of(directory.entry("list")) == "0 1 2 3 " && fcntl(77, F_GETFD) == 0
                             ? 0
                             : 1;
              }),
              0);
}

TEST(ShellCommand, IsEndedWithAllThatItStartedWhenOnlyItsMessageIsWanted)
{
    const TemporaryDirectory directory;
    const struct {
        const char *what;
        std::string command;
        double longest_s;
    } rows[] = {
        {"it ends", "true", 1},
        {"it waits for a pipe", "mkfifo " + directory.entry("pipe") + "; cat " + directory.entry("pipe") + "; true", 3},
        {"it prints without end", "cat /dev/zero; true", 1},
        {"it leaves something behind", "(sleep 2; echo late >" + directory.entry("late") + "); true", 1.9},
    };
    for (const auto &row : rows) {
        const auto start = std::chrono::steady_clock::now();
        run_for_message(made_here(row.command));
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        EXPECT_LT(taken.count(), row.longest_s) << row.what;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_FALSE(std::filesystem::exists(directory.entry("late")));
}

TEST(ShellCommand, WorksWithoutStandardStreams)
{
    EXPECT_EQ(in_child([] {
                  for (int descriptor = 0; descriptor < 3; descriptor++)
                      close(descriptor);
                  Text<8> out;
                  getShellCommandReturn("echo hi", out);
                  return out == "hi\n" ? 0 : 1;
              }),
              0);
}

TEST(ShellCommand, FailsWithoutADescriptorForItsOutput)
{
    EXPECT_EQ(in_child([] {
                  const rlimit none{};
                  setrlimit(RLIMIT_NOFILE, &none);
                  Text<8> out = "old";
                  const bool failed = getShellCommandReturn("echo hi", out) == -1 && out.empty() &&
                                      getShellCommandReturnLine("echo hi", out) == -1 &&
                                      !getShellCommandReturnDynamic("echo hi");
                  return failed ? 0 : 1;
              }),
              0);
}

TEST(ShellCommand, WorksInAProcessThatIgnoresItsChildren)
{
    const TemporaryDirectory directory;
    const Disposition ignored{SIGCHLD, SIG_IGN};
    Text<8> out;
    EXPECT_EQ(getShellCommandReturn("echo hi", out), 3);
    EXPECT_EQ(out, "hi\n");
    execCommand(made_here("sleep 0.05; echo end >" + directory.entry("end")));
    EXPECT_EQ(content_of(directory.entry("end")), "end\n");
    EXPECT_EQ(fork_exec2("true"), 0);
}

TEST(ShellCommand, KeepsItsStatusFromAHandlerThatTakesEveryChild)
{
    const Disposition handler{SIGCHLD, reap_everybody};
    EXPECT_EQ(execCommand("exit 7"), 7);
    Text<8> out;
    EXPECT_EQ(getShellCommandReturn("echo hi", out), 3);
}

TEST(ShellCommand, LeavesOtherChildrenToTheirOwner)
{
    const pid_t other = fork();
    if (other == 0)
        _exit(9);
    // The other child has ended by the time that the command does.
    siginfo_t info;
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(other), &info, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(execCommand("exit 4"), 4);
    int status = 0;
    EXPECT_EQ(waitpid(other, &status, 0), other);
    EXPECT_EQ(WEXITSTATUS(status), 9);
}

TEST(ShellCommand, HasTheSignalsThatScriptsRelyOn)
{
    const Disposition pipe_ignored{SIGPIPE, SIG_IGN};
    const Disposition termination_ignored{SIGTERM, SIG_IGN};
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    const int by_pipe = execCommand("kill -PIPE $$; exit 3");
    const int by_termination = execCommand("kill -TERM $$; exit 3");
    const int by_user_signal = execCommand("kill -USR1 $$; exit 3");
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, &before, &after);
    EXPECT_EQ(by_pipe, -1);
    EXPECT_EQ(by_termination, -1);
    EXPECT_EQ(by_user_signal, -1);
    EXPECT_EQ(sigismember(&after, SIGUSR2), 1) << "the process's own mask was changed";
}

TEST(ShellCommand, MakesNoFileThatOthersCanWriteInto)
{
    const TemporaryDirectory directory;
    const struct {
        mode_t of_the_server;
        mode_t of_the_file;
    } rows[] = {{0, 0644}, {022, 0644}, {077, 0600}, {002, 0644}};
    for (const auto &row : rows) {
        const std::string path = directory.entry(std::to_string(row.of_the_server).c_str());
        const int mode = in_child([&] {
            umask(row.of_the_server);
            execCommand(made_here("echo x >" + path));
            struct stat status;
            const bool is_kept = umask(0) == row.of_the_server;
            return is_kept && stat(path.c_str(), &status) == 0 ? static_cast<int>((status.st_mode & 0777) >> 2) : -1;
        });
        EXPECT_EQ(mode, static_cast<int>(row.of_the_file >> 2)) << row.of_the_server;
    }
}

TEST(ShellCommand, StaysProtectedByNohup)
{
    const Disposition ignored{SIGHUP, SIG_IGN};
    EXPECT_EQ(execCommand("kill -HUP $$; exit 3"), 3);
}

TEST(ExecCommand, GivesTheExitStatus)
{
    const struct {
        ShellCommand command;
        int status;
    } rows[] = {
        {"true", 0}, {"exit 3", 3}, {"exit 255", 255}, {"no-such-command 2>/dev/null", 127}, {"kill -9 $$", -1},
    };
    for (const auto &row : rows)
        EXPECT_EQ(execCommand(row.command), row.status) << row.command.c_str();
}

TEST(UciReturn, IsTheFirstLineOfTheRoutersCommand)
{
    const TemporaryDirectory directory;
    directory.script("uci", "echo \"$@\"; echo more");
    const CommandPath path{directory};
    Text<64> out;
    EXPECT_EQ(getUciReturn("network.@switch[0].name", out), 30);
    EXPECT_EQ(out, "-q get network.@switch[0].name");
}

TEST(UciReturn, TakesNoPathForAFileNamePattern)
{
    const TemporaryDirectory directory;
    directory.script("uci", "echo \"$@\"");
    directory.file("network.@switch0.name", "");
    const CommandPath path{directory};
    EXPECT_EQ(in_child([&] {
                  Text<64> out;
                  std::filesystem::current_path(directory.path());
                  getUciReturn("network.@switch[0].name", out);
                  return out == "-q get network.@switch[0].name" ? 0 : 1;
              }),
              0);
}

TEST(UciReturn, IsEmptyWhenTheOptionIsUnset)
{
    const TemporaryDirectory directory;
    directory.script("uci", "exit 1");
    const CommandPath path{directory};
    Text<64> out = "old";
    EXPECT_EQ(getUciReturn("network.modem.apn", out), 0);
    EXPECT_EQ(out, "");
}

TEST(UciReturn, RunsNothingForAPathThatIsNone)
{
    const TemporaryDirectory directory;
    directory.script("uci", "echo ran");
    const CommandPath path{directory};
    for (const std::string &bad : {"a';touch "s + directory.entry("made") + ";'", std::string(5000, 'x')}) {
        Text<64> out = "old";
        EXPECT_EQ(getUciReturn(bad.c_str(), out), -1);
        EXPECT_EQ(out, "");
    }
    EXPECT_FALSE(std::filesystem::exists(directory.entry("made")));
}

TEST(ForkExec2, DoesNotHoldUpWhoCapturesOurOutput)
{
    const TemporaryDirectory directory;
    const std::string go = fifo_in(directory, "go");
    const std::string answer = fifo_in(directory, "answer");
    const std::string command = "read word <" + go + "; echo $word, still running >" + answer;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const Fd captured{ends[0]};
    const pid_t caller = fork();
    if (caller == 0) {
        dup2(ends[1], STDOUT_FILENO);
        _exit(fork_exec2(made_here(command)));
    }
    close(ends[1]);
    pollfd end_of_output{.fd = captured.get(), .events = POLLIN, .revents = 0};
    char nothing;
    EXPECT_TRUE(poll(&end_of_output, 1, 20000) == 1 && read(captured.get(), &nothing, 1) == 0)
        << "the background command holds the caller's output";
    int status = -1;
    EXPECT_EQ(waitpid(caller, &status, 0), caller);
    EXPECT_EQ(status, 0);
    std::ofstream{go} << "yes\n";
    EXPECT_EQ(content_of(answer), "yes, still running\n");
}

TEST(ForkExec2, StartsInASessionOfItsOwnWithNoneOfOurDescriptors)
{
    const TemporaryDirectory directory;
    const std::string answer = fifo_in(directory, "answer");
    ASSERT_EQ(dup2(STDERR_FILENO, 77), 77);
    const std::string command = "streams=$(cd /proc/$$/fd; readlink 0 1 2); [ -e /proc/$$/fd/77 ] && held=held; "
                                "read -r stat </proc/$$/stat; set -- $stat; echo $streams $held session $6 >" +
                                answer;
    EXPECT_EQ(fork_exec2(made_here(command)), 0);
    const std::string said = content_of(answer);
    close(77);
    EXPECT_TRUE(said.starts_with("/dev/null /dev/null /dev/null session ")) << said;
    EXPECT_NE(said, "/dev/null /dev/null /dev/null session " + std::to_string(getsid(0)) + "\n");
}

} // namespace shell_test
