#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/paths.h"
#include "tests/system/harness.h"

namespace simrouter_test {

using Lines = std::vector<std::string>;

RouterRun simrouter(const Lines &arguments)
{
    Lines command{built("simrouter")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run_program(command);
}

/// The same as an ordinary user, when the tests run as root.
Lines as_ordinary_user(const Lines &arguments)
{
    Lines command{"setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups", built("simrouter")};
    if (geteuid() != 0)
        command.erase(command.begin(), command.end() - 1);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

bool ordinary_users_may()
{
    return run_program(as_ordinary_user({"--", "true"})).status == 0;
}

// The command and its end

TEST(SimulatedRouter, EndsWithTheStatusOfTheCommand)
{
    EXPECT_EQ(run_shell({}, "exit 0").status, 0);
    EXPECT_EQ(run_shell({}, "exit 37").status, 37);
    EXPECT_EQ(run_shell({}, "exit 255").status, 255);
}

TEST(SimulatedRouter, EndsWith128AndTheSignalThatEndedTheCommand)
{
    EXPECT_EQ(run_shell({}, "kill -TERM $$").status, 128 + SIGTERM);
    EXPECT_EQ(run_shell({}, "kill -KILL $$").status, 128 + SIGKILL);
}

TEST(SimulatedRouter, EndsLikeAShellWhenTheCommandCannotBeStarted)
{
    const RouterRun missing = run_in_router({}, {"no-such-command"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_EQ(missing.err, "simrouter: no-such-command: No such file or directory\n");
    EXPECT_EQ(run_in_router({}, {"/etc/config/network"}).status, 126);
}

TEST(SimulatedRouter, PassesStandardStreamsThrough)
{
    const RouterRun run = run_in_router({}, {"sh", "-c", "read x; echo out $x; echo err >&2"}, "in\n");
    EXPECT_EQ(run.out, "out in\n");
    EXPECT_EQ(run.err, "err\n");
}

TEST(SimulatedRouter, SaysOnceWhereItsFilesCannotBeWritten)
{
    for (const char *option : {"--journal", "--log"}) {
        const RouterRun run = run_program({built("simrouter"), "--modem", "EC25", option, "/dev/full", "--", "sh", "-c",
                                           "modemctl AT AT >/dev/null; modemctl AT AT >/dev/null; exit 5"});
        EXPECT_EQ(run.status, 5);
        EXPECT_EQ(run.err, "simrouter: /dev/full: No space left on device\n") << option;
    }
}

// Beneath a script that throws its output away too.
TEST(SimulatedRouter, FailsATestOverWhatASanitizerSaysOfABackgroundCommand)
{
    const TemporaryFolder folder;
    const RouterRun built_faulty = run_program({"cc", "-g", "-fsanitize=address,undefined", "-fno-sanitize-recover=all",
                                                TEST_DATA "/faulty.c", "-o", folder.path() + "/faulty"});
    ASSERT_EQ(built_faulty.status, 0) << built_faulty.err;
    const auto run_faulty = [&](const char *kind) {
        return run_shell({"--put", folder.path() + "/faulty:/usr/bin/faulty"},
                         "(faulty " + std::string{kind} + " & wait) >/dev/null 2>&1");
    };
    EXPECT_EQ(run_faulty("not").err, "");
    EXPECT_NONFATAL_FAILURE(run_faulty("leak"), "LeakSanitizer: detected memory leaks");
    EXPECT_NONFATAL_FAILURE(run_faulty("freed"), "AddressSanitizer: heap-use-after-free");
    EXPECT_NONFATAL_FAILURE(run_faulty("overflow"), "runtime error: signed integer overflow");
}

TEST(SimulatedRouter, StartsAShellWithoutACommand)
{
    const RouterRun run =
        run_program({built("simrouter"), "--board", "condor"}, "cat /tmp/sysinfo/board_name\nexit 3\n");
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "maker,condor\n");
}

TEST(SimulatedRouter, EndsWhatTheCommandLeavesBehind)
{
    // The run is over only when nobody has its standard output open any more.
    const RouterRun run = run_shell({}, "sleep 1000 & setsid sleep 1000 & echo started");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "started\n");
}

TEST(SimulatedRouter, WaitsForBackgroundProcessesWhenAsked)
{
    const RouterRun run = run_shell({"--wait"}, "(sleep 0.2; echo later) & echo now; exit 5");
    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(run.out, "now\nlater\n");
}

TEST(SimulatedRouter, DiesWithTheProcessThatWasStarted)
{
    const TemporaryFolder folder;
    const std::string fifo = folder.path() + "/fifo";
    const RouterRun run =
        run_program({"sh", "-c",
                     "mkfifo " + fifo + "; " + built_word("simrouter") + " -- sh -c 'echo ready; exec sleep 1000' >" +
                         fifo + " & exec 3<" + fifo + "; read line <&3; kill -9 $!; cat <&3; echo $line gone"});
    EXPECT_EQ(run.out, "ready gone\n");
}

TEST(SimulatedRouter, HandsTheTerminalToTheCommand)
{
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        const std::string program = built("simrouter");
        execl(program.c_str(), "simrouter", "--", "sh", "-c", "echo ready; exec sleep 1000", nullptr);
        _exit(125);
    }
    std::string seen;
    while (seen.find("ready") == std::string::npos) {
        std::array<char, 256> buffer;
        const ssize_t count = read(terminal, buffer.data(), buffer.size());
        ASSERT_GT(count, 0) << seen;
        seen.append(buffer.data(), static_cast<size_t>(count));
    }
    ASSERT_EQ(write(terminal, "\x1a\x03", 2), 2); // Ctrl-Z leaves it running, Ctrl-C ends it
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    close(terminal);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGINT);
}

// Harm stays inside

TEST(SimulatedRouter, KeepsDeletedAndWrittenFilesOfTheMachineWhole)
{
    const TemporaryFolder unseen;
    std::ofstream(unseen.path() + "/file") << "unseen";
    const std::string canary = built("simrouter-test-canary-" + std::to_string(getpid()));
    std::filesystem::create_directories(canary);
    std::ofstream(canary + "/file") << "whole";
    const RouterRun run =
        run_shell({}, "canary='" + canary +
                          "'; cat \"$canary/file\"; echo broken >\"$canary/file\"; rm -rf \"$canary\" /tmp/* "
                          "/etc/config/*; ls \"$canary\" 2>/dev/null; echo; cat " +
                          unseen.path() + "/file 2>/dev/null || echo not there");
    EXPECT_EQ(run.out, "whole\nnot there\n");
    EXPECT_EQ(read_text(canary + "/file"), "whole");
    EXPECT_EQ(read_text(unseen.path() + "/file"), "unseen");
    std::filesystem::remove_all(canary);
}

TEST(SimulatedRouter, KeepsProcessesOfTheMachineAlive)
{
    const pid_t outside = fork();
    if (outside == 0) {
        execlp("sleep", "sleep", "1000", nullptr);
        _exit(125);
    }
    EXPECT_EQ(run_shell({}, "killall -9 sleep 2>/dev/null; kill -9 " + std::to_string(outside) + " 2>/dev/null; exit 4")
                  .status,
              4);
    EXPECT_EQ(run_shell({}, "kill -TERM 0").status, 128 + SIGTERM);
    EXPECT_EQ(run_shell({}, "kill -KILL -1; exit 6").status, 6);
    EXPECT_EQ(waitpid(outside, nullptr, WNOHANG), 0) << "the process outside has ended";
    kill(outside, SIGKILL);
    waitpid(outside, nullptr, 0);
}

TEST(SimulatedRouter, HasNetworkDevicesAndHostNameOfItsOwn)
{
    const RouterRun run =
        run_in_router({}, {"sh", "-c", "hostname; hostname changed; cut -d: -f1 -s /proc/net/dev | tr -d ' ' | sort"});
    EXPECT_EQ(run.out, "OpenWrt\nbr-lan\neth0\neth1\nlo\n");
    std::array<char, 64> name{};
    gethostname(name.data(), name.size() - 1);
    EXPECT_STRNE(name.data(), "changed");
}

TEST(SimulatedRouter, CannotChangeTheKernelsSettings)
{
    const std::string before = read_text("/proc/sys/kernel/printk_ratelimit");
    const RouterRun run = run_shell({}, "echo 77 2>/dev/null >/proc/sys/kernel/printk_ratelimit || echo refused");
    EXPECT_EQ(run.out, "refused\n");
    EXPECT_EQ(read_text("/proc/sys/kernel/printk_ratelimit"), before);
}

TEST(SimulatedRouter, RunsForOrdinaryUsers)
{
    if (!ordinary_users_may())
        GTEST_SKIP() << "user namespaces are not allowed here, or the build folder is not readable";
    const Lines answer{
        "--modem",
        "EC25",
        "--",
        "sh",
        "-c",
        ask("/dev/ttyUSB2", "ATE0\\r") + ask("/dev/ttyUSB2", "AT\\r") + "id -u; echo x >/etc/config/y; echo $?"};
    const RouterRun run = run_program(as_ordinary_user(answer));
    EXPECT_EQ(run.out, "ATE0\r\r\nOK\r\n\r\nOK\r\n0\n0\n") << run.err;
}

TEST(SimulatedRouter, DoesNotKeepOrdinaryUsersOutOfAnExclusiveTerminal)
{
    if (!ordinary_users_may())
        GTEST_SKIP() << "user namespaces are not allowed here, or the build folder is not readable";
    const RouterRun run = run_program(as_ordinary_user(
        {"--modem", "EC25", "--", "sh", "-c", "modemctl AT ATI >/dev/null; modemctl AT ATI | grep -c OK"}));
    EXPECT_EQ(run.out, "1\n") << run.err;
}

TEST(SimulatedRouter, SaysSoWhereNamespacesAreNotAllowed)
{
    if (run_program({"unshare", "-Ur", "true"}).status != 0)
        GTEST_SKIP() << "user namespaces are not allowed here";
    const RouterRun run = run_program(
        {"unshare", "-Ur", "sh", "-c",
         "echo 0 >/proc/sys/user/max_mnt_namespaces && exec " + built_word("simrouter") + " -- echo never"});
    EXPECT_EQ(run.status, 77);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "simrouter: namespaces are not allowed here (unshare: No space left on device)\n");
}

// Files

TEST(SimulatedRouter, HasTheConfigurationOfAnOpenWrtRouter)
{
    const RouterRun run =
        run_shell({}, "ls /etc/config; uci get firewall.@zone[1].name; uci get firewall.@zone[1].network");
    EXPECT_EQ(run.out, "cellconf\ndevconf\nfirewall\nmwan3\nnetwork\nsmsrelay\nsystem\nwireless\nwan\nwan wan6\n");
}

TEST(SimulatedRouter, TakesFilesAndFoldersFromOutside)
{
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder.path() + "/tree/deep");
    std::ofstream(folder.path() + "/tree/deep/file") << "from the tree";
    std::ofstream(folder.path() + "/program") << "#!/bin/sh\necho ran\n";
    std::filesystem::permissions(folder.path() + "/program", std::filesystem::perms::owner_all);
    const RouterRun run = run_shell(
        {"--put", folder.path() + "/tree:/etc/spool/sms/incoming", "--put", folder.path() + "/program:/usr/bin/program",
         "--put-text", "/tmp/sim_type=verizon", "--put-text", "/www/src/lib/apn-config.js=[]"},
        "cat /etc/spool/sms/incoming/deep/file; echo; program; cat /tmp/sim_type /www/src/lib/apn-config.js");
    EXPECT_EQ(run.out, "from the tree\nran\nverizon\n[]\n");
}

TEST(SimulatedRouter, PutsAFileInPlaceOfALinkAndNotWhereItLeads)
{
    const std::string recorder = read_text(built("simcommand"));
    const RouterRun run = run_shell({"--put-text", "/usr/sbin/zonewall=echo put"},
                                    "[ -h /usr/sbin/mwan3 ] && [ ! -h /usr/sbin/zonewall ] && sh /usr/sbin/zonewall");
    EXPECT_EQ(run.out, "put\n") << run.err;
    EXPECT_TRUE(read_text(built("simcommand")) == recorder);
}

TEST(SimulatedRouter, CanHaveASmallFileSystemForTheConfiguration)
{
    const RouterRun run =
        run_shell({"--config-size", "65536"}, "head -c 100000 /dev/zero >/etc/config/big 2>/dev/null || "
                                              "echo full; head -c 100000 /dev/zero >/tmp/big && echo room");
    EXPECT_EQ(run.out, "full\nroom\n");
}

// A command that writes without end must not take the memory of the machine: contents, and about 1 kB for each file.
TEST(SimulatedRouter, TakesAtMost256MegabytesOfMemory)
{
    const RouterRun run =
        run_shell({"--config-size", "67108864"},
                  "for folder in /tmp /dev /dev/shm /etc/config /run /sys /usr /root; do\n"
                  "    head -c 300000000 /dev/zero >$folder/fill 2>/dev/null && echo $folder has no end\n"
                  "done\n"
                  "rm /tmp/fill /etc/config/fill\n"
                  "total() { df $1 / /etc/config | awk 'NR > 1 { sum += $2 } END { print sum }'; }\n"
                  "bytes=$(($(total -k) * 1024 + $(total -i) * 1024))\n"
                  "[ $bytes -gt 67108864 ] && [ $bytes -le 268435456 ] && echo bounded || echo $bytes");
    EXPECT_EQ(run.out, "bounded\n") << run.err;
}

TEST(SimulatedRouter, StartsInTheFolderWhereItWasCalled)
{
    const TemporaryFolder folder;
    std::ofstream(folder.path() + "/file") << "here";
    const RouterRun run = run_program(
        {"sh", "-c", "cd " + folder.path() + " && " + built_word("simrouter") + " -- sh -c 'pwd; cat file; rm file'"});
    EXPECT_EQ(run.out, folder.path() + "\nhere");
    EXPECT_EQ(read_text(folder.path() + "/file"), "here");
}

// The command line

TEST(SimrouterOptions, ListsTheProfiles)
{
    const RouterRun run = simrouter({"--list"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("EC25         EC25         2c7c:0125  "), std::string::npos) << run.out;
}

TEST(SimrouterOptions, RefusesWhatItDoesNotKnowInOneLine)
{
    const struct {
        Lines arguments;
        const char *message;
    } rows[] = {
        {{"--nope"}, "simrouter: unknown option --nope (--help lists them)\n"},
        {{"true"}, "simrouter: \"true\" is not an option; the command comes after --\n"},
        {{"--modem", "EC25@one", "--", "true"}, "simrouter: --modem: \"one\" is not a USB bus like 1-1.2\n"},
        {{"--profiles", "/nowhere", "--modem", "../x"}, nullptr},
        {{"--modem", "no-such-modem", "--", "true"}, nullptr},
        {{"--modem", "EC25,no_such_variable=1", "--", "true"}, nullptr},
        {{"--put", "/no/such/file:/tmp/x", "--", "true"}, nullptr},
    };
    for (const auto &row : rows) {
        const RouterRun run = simrouter(row.arguments);
        EXPECT_EQ(run.status, 64) << row.arguments.front();
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(lines_of(run.err).size(), 1U) << run.err;
        EXPECT_EQ(run.err.substr(0, 11), "simrouter: ");
        EXPECT_TRUE(row.message == nullptr || run.err == row.message) << run.err;
    }
}

TEST(SimrouterOptions, CannotWriteAJournalIntoAMissingFolder)
{
    const RouterRun run = simrouter({"--journal", "/no/such/folder/journal", "--", "true"});
    EXPECT_EQ(run.status, 70);
    EXPECT_EQ(run.err, "simrouter: /no/such/folder/journal: No such file or directory\n");
}

} // namespace simrouter_test
