#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <string>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/uci.h"
#include "platform/uci_folders.h"
#include "tests/unit/failing_calls.h"
#include "tests/unit/temporary_directory.h"

namespace platform_uci_test {

const char network[] =
    "config interface 'lan'\n\toption proto 'static'\n\nconfig interface 'modem'\n"
    "\toption proto 'qmi'\n\tlist dns '1.1.1.1'\n\tlist dns '9.9.9.9'\n\nconfig device\n\toption name 'br0'\n";

class PlatformUci : public testing::Test {
  protected:
    PlatformUci()
    {
        for (const char *folder : {"config", "saved", "lock"})
            std::filesystem::create_directory(root.path() / folder);
        write("network", network);
    }

    Uci open() const
    {
        return open_uci({.config = folder("config"), .saved = folder("saved"), .lock = folder("lock")});
    }
    void write(const char *package, std::string_view content) const
    {
        std::ofstream{root.path() / "config" / package, std::ios::binary} << content;
    }
    std::string content(const char *package) const { return content_of((root.path() / "config" / package).c_str()); }
    std::string read(const char *path) const
    {
        Text<64> value = "before";
        kuci2_get(open(), path, value);
        return value.c_str();
    }
    Text<64> folder(const char *name) const { return Text<64>{std::string_view{(root.path() / name).string()}}; }

    TemporaryDirectory root;
};

TEST_F(PlatformUci, ReadsAnOptionASectionsTypeAndAList)
{
    EXPECT_EQ(read("network.modem.proto"), "qmi");
    EXPECT_EQ(read("network.modem"), "interface");
    EXPECT_EQ(read("network.modem.dns"), "1.1.1.1 9.9.9.9");
    EXPECT_EQ(read("network.@device[0].name"), "br0");
}

TEST_F(PlatformUci, ReadsWhatIsMissingAsAnEmptyText)
{
    for (const char *path : {"network.modem.apn", "network.wan.proto", "nothing.at.all", "network", "", "network.a.b.c",
                             "network.bad-name.x", "network.@device[7].name", "network.lan.proto=static"}) {
        EXPECT_EQ(read(path), "") << path;
        Text<8> value;
        EXPECT_EQ(kuci2_get(open(), path, value), -1) << path;
    }
}

TEST_F(PlatformUci, CutsAValueAtTheCallersCapacity)
{
    Text<3> value;
    EXPECT_EQ(kuci2_get(open(), "network.lan.proto", value), 0);
    EXPECT_EQ(value.view(), "st");
}

TEST_F(PlatformUci, ReadsListItemsByPosition)
{
    const Uci uci = open();
    Text<16> item;
    EXPECT_EQ(kuci2_get_list_index(uci, "network.modem.dns", 1, item), 0);
    EXPECT_EQ(item.view(), "9.9.9.9");
    EXPECT_EQ(kuci2_get_list_index(uci, "network.modem.proto", 0, item), 0);
    EXPECT_EQ(item.view(), "qmi");
    EXPECT_EQ(kuci2_get_list_index(uci, nullptr, 0, item), -1);
    for (const int index : {2, -1}) {
        EXPECT_EQ(kuci2_get_list_index(uci, "network.modem.dns", index, item), -1);
        EXPECT_TRUE(item.empty());
    }
    EXPECT_EQ(kuci2_get_list_index(uci, "network.modem.proto", 1, item), -1);
    EXPECT_EQ(kuci2_get_list_index(uci, "network.modem", 0, item), -1);
}

TEST_F(PlatformUci, WritesOptionsListsAndSectionsWithACommit)
{
    const Uci uci = open();
    EXPECT_EQ(kuci2_set_name(uci, "network", "wwan", nullptr, "interface"), 0);
    EXPECT_EQ(kuci2_set(uci, "network.wwan.apn", "it's"), 0);
    EXPECT_EQ(kuci2_add_list(uci, "network.modem.dns", "8.8.8.8"), 0);
    EXPECT_EQ(kuci2_delete(uci, "network.lan"), 0);
    EXPECT_EQ(content("network"), network);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_EQ(content("network"), "\nconfig interface 'modem'\n\toption proto 'qmi'\n\tlist dns '1.1.1.1'\n"
                                  "\tlist dns '9.9.9.9'\n\tlist dns '8.8.8.8'\n\nconfig device\n\toption name 'br0'\n\n"
                                  "config interface 'wwan'\n\toption apn 'it'\\''s'\n\n");
}

TEST_F(PlatformUci, RefusesAnOptionOfASectionThatDoesNotExist)
{
    EXPECT_EQ(kuci2_set(open(), "network.wwan.apn", "internet"), -1);
}

TEST_F(PlatformUci, DeletesAnOptionThatIsSetToAnEmptyOrANullText)
{
    const Uci uci = open();
    EXPECT_EQ(kuci2_set(uci, "network.modem.proto", ""), 0);
    EXPECT_EQ(kuci2_set(uci, "network.lan.proto", nullptr), 0);
    EXPECT_EQ(kuci2_set(uci, "network.lan.none", ""), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_EQ(read("network.modem.proto"), "");
    EXPECT_EQ(read("network.lan.proto"), "");
}

TEST_F(PlatformUci, MakesAFileForAPackageThatHasNone)
{
    const Uci uci = open();
    EXPECT_EQ(kuci2_set(uci, "cellconf.sim", "sim"), 0);
    EXPECT_EQ(kuci2_set(uci, "cellconf.sim.sim_num", "2"), 0);
    EXPECT_EQ(kuci2_commit(uci, "cellconf"), 0);
    EXPECT_EQ(content("cellconf"), "\nconfig sim 'sim'\n\toption sim_num '2'\n\n");
    struct stat status;
    ASSERT_EQ(stat((root.path() / "config/cellconf").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(PlatformUci, MakesNoFileWhereNothingIsSet)
{
    const Uci uci = open();
    EXPECT_EQ(kuci2_delete(uci, "cellconf.sim"), -1);
    EXPECT_EQ(kuci2_set(uci, "cellconf.sim.sim_num", ""), -1);
    EXPECT_EQ(kuci2_commit(uci, "cellconf"), -1);
    EXPECT_EQ(kuci2_set(uci, "bad name.sim", "sim"), -1);
    EXPECT_EQ(kuci2_set(uci, "cellconf=x.sim", "sim"), -1);
    Text<8> value;
    EXPECT_EQ(kuci2_get(uci, "cellconf.sim", value), -1);
    int files = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator{root.path() / "config"})
        files++;
    EXPECT_EQ(files, 1);
}

TEST_F(PlatformUci, KeepsWritesToAPackageWithALongName)
{
    const std::string name(63, 'p');
    const Uci uci = open();
    EXPECT_EQ(kuci2_set_name(uci, name.c_str(), "s", nullptr, "t"), 0);
    EXPECT_EQ(kuci2_set_name(uci, name.c_str(), "s", "o", "1"), 0);
    EXPECT_EQ(kuci2_commit(uci, name.c_str()), 0);
    EXPECT_EQ(content(name.c_str()), "\nconfig t 's'\n\toption o '1'\n\n");
    EXPECT_EQ(kuci2_set_name(uci, (name + 'p').c_str(), "s", nullptr, "t"), -1);
}

TEST_F(PlatformUci, WritesEightPackagesAtATime)
{
    const Uci uci = open();
    for (int i = 0; i < max_written_packages; i++)
        EXPECT_EQ(kuci2_set(uci, Text<16>::format("p%d.s", i).c_str(), "t"), 0);
    EXPECT_EQ(kuci2_set(uci, "one_more.s", "t"), -1);
    for (int i = 0; i < max_written_packages; i++)
        EXPECT_EQ(kuci2_commit(uci, Text<16>::format("p%d", i).c_str()), 0);
    EXPECT_EQ(kuci2_set(uci, "one_more.s", "t"), 0);
    EXPECT_EQ(content("p7"), "\nconfig t 's'\n\n");
}

TEST_F(PlatformUci, ReadsWhatOthersCommittedBeforeTheFirstWrite)
{
    const Uci uci = open();
    Text<16> value;
    EXPECT_EQ(kuci2_get(uci, "network.modem.proto", value), 0);
    write("network", "config interface 'modem'\n\toption proto 'ppp'\n");
    EXPECT_EQ(kuci2_set(uci, "network.modem.apn", "internet"), 0);
    EXPECT_EQ(kuci2_get(uci, "network.modem.proto", value), 0);
    EXPECT_EQ(value.view(), "ppp");
}

TEST_F(PlatformUci, RefusesAValueThatWouldBeLost)
{
    const Uci uci = open();
    EXPECT_EQ(kuci2_set(uci, "network.modem.proto", "a\x01"), -1);
    EXPECT_EQ(kuci2_set(uci, "network.modem.proto", "tab\tand\nlines\r\xc3\xa9"), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_EQ(read("network.modem.proto"), "tab\tand\nlines\r\xc3\xa9");
}

TEST_F(PlatformUci, RefusesAPathThatIsTooLongOrNoPath)
{
    const Uci uci = open();
    const std::string option(600, 'x');
    EXPECT_EQ(kuci2_set(uci, ("network.modem." + option).c_str(), "1"), -1);
    EXPECT_EQ(kuci2_set_name(uci, "network", "modem", option.c_str(), "1"), -1);
    EXPECT_EQ(kuci2_set(uci, "", "1"), -1);
    EXPECT_EQ(kuci2_set(uci, nullptr, "1"), -1);
    EXPECT_EQ(kuci2_set(uci, "network.modem.proto=a", "1"), -1);
    EXPECT_EQ(kuci2_set_name(uci, nullptr, "modem", "proto", "1"), -1);
    EXPECT_EQ(kuci2_set_name(uci, "network", nullptr, "proto", "1"), -1);
    for (const char *package : {"", "network.lan", "../network", "network=x"})
        EXPECT_EQ(kuci2_commit(uci, package), -1) << package;
    EXPECT_EQ(kuci2_commit(uci, nullptr), -1);
    EXPECT_EQ(kuci2_commit(nullptr, "network"), -1);
    EXPECT_EQ(kuci2_set(nullptr, "network.modem.proto", "1"), -1);
    EXPECT_EQ(content("network"), network);
}

TEST_F(PlatformUci, TakesEverybodysSavedChangesAlongWithACommit)
{
    std::ofstream{root.path() / "saved/network"} << "network.lan.ipaddr='192.168.1.1'\n";
    EXPECT_EQ(read("network.lan.ipaddr"), "192.168.1.1");
    const Uci uci = open();
    EXPECT_EQ(kuci2_set(uci, "network.modem.apn", "internet"), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_NE(content("network").find("ipaddr '192.168.1.1'"), std::string::npos);
    EXPECT_NE(content("network").find("apn 'internet'"), std::string::npos);
}

TEST_F(PlatformUci, LosesWhatWasNotCommitted)
{
    EXPECT_EQ(kuci2_set(open(), "network.modem.apn", "internet"), 0);
    EXPECT_EQ(read("network.modem.apn"), "");
}

TEST_F(PlatformUci, FailsOnAFileThatCannotBeRead)
{
    write("network", "config interface 'lan\n");
    EXPECT_EQ(read("network.lan.proto"), "");
    EXPECT_EQ(kuci2_set(open(), "network.lan.proto", "x"), -1);
    EXPECT_EQ(kuci2_commit(open(), "network"), -1);
    EXPECT_EQ(content("network"), "config interface 'lan\n");
}

// Two writers that set 200 options each, side by side, in processes of their own.
TEST_F(PlatformUci, KeepsTheChangesOfTwoWritersSideBySide)
{
    std::array<pid_t, 2> writers{};
    for (size_t w = 0; w < writers.size(); w++) {
        writers[w] = fork();
        if (writers[w] != 0)
            continue;
        for (int i = 0; i < 200; i++) {
            const Uci uci = open();
            kuci2_set(uci, Text<64>::format("network.modem.o%d_%d", static_cast<int>(w), i).c_str(), "1");
            kuci2_commit(uci, "network");
        }
        _exit(0);
    }
    for (const pid_t writer : writers)
        waitpid(writer, nullptr, 0);
    int kept = 0;
    const Uci uci = open();
    for (int i = 0; i < 400; i++) {
        Text<4> value;
        kept += kuci2_get(uci, Text<64>::format("network.modem.o%d_%d", i / 200, i % 200).c_str(), value) == 0 ? 1 : 0;
    }
    EXPECT_EQ(kept, 400);
}

TEST_F(PlatformUci, HoldsTheWriterLockFromTheFirstWriteToTheCommit)
{
    const Uci uci = open();
    const auto is_locked = [this] {
        const Fd lock{::open((root.path() / "lock/modemctl.network.lock").c_str(), O_RDWR | O_CREAT, 0600)};
        return flock(lock.get(), LOCK_EX | LOCK_NB) != 0;
    };
    EXPECT_FALSE(is_locked());
    kuci2_set(uci, "network.modem.apn", "internet");
    EXPECT_TRUE(is_locked());
    kuci2_commit(uci, "network");
    EXPECT_FALSE(is_locked());
    kuci2_begin(uci, "network");
    EXPECT_TRUE(is_locked());
}

TEST_F(PlatformUci, ReadsAPackageAgainAtTheFirstWriteUnlessItHasBegun)
{
    for (const bool begins : {true, false}) {
        write("network", network);
        const Uci uci = open();
        if (begins)
            kuci2_begin(uci, "network");
        Text<8> proto;
        kuci2_get(uci, "network.modem.proto", proto);
        EXPECT_EQ(proto, "qmi");
        write("network", "config interface 'modem'\n\toption proto 'ncm'\n");
        kuci2_set(uci, "network.modem.apn", "internet");
        kuci2_get(uci, "network.modem.proto", proto);
        EXPECT_EQ(proto, begins ? "qmi" : "ncm");
    }
    kuci2_begin(nullptr, "network");
}

// Only somebody who hides a change from the file's version can show that the file was not read.
TEST_F(PlatformUci, ReadsAPackageOnceForTwoCommits)
{
    const Uci uci = open();
    EXPECT_EQ(kuci2_delete(uci, "network.lan"), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    const std::string first = content("network");
    struct stat before;
    ASSERT_EQ(stat((root.path() / "config/network").c_str(), &before), 0);
    std::string changed = first;
    changed.replace(changed.find("qmi"), 3, "ncm");
    write("network", changed);
    const timespec times[] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, (root.path() / "config/network").c_str(), times, 0), 0);
    EXPECT_EQ(kuci2_set_name(uci, "network", "wwan", nullptr, "interface"), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_EQ(content("network"), first + "config interface 'wwan'\n\n");
}

TEST_F(PlatformUci, ReadsWhatOthersCommitAndSaveAfterItsOwnCommit)
{
    const Uci uci = open();
    EXPECT_EQ(kuci2_set(uci, "network.modem.apn", "internet"), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    write("network", content("network") + "config interface 'wan'\n\toption proto 'dhcp'\n");
    EXPECT_EQ(kuci2_set(uci, "network.modem.mtu", "1428"), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    std::ofstream{root.path() / "saved/network"} << "network.lan.ipaddr='192.168.1.1'\n";
    EXPECT_EQ(kuci2_set(uci, "network.modem.metric", "40"), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_EQ(read("network.wan.proto"), "dhcp");
    EXPECT_EQ(read("network.lan.ipaddr"), "192.168.1.1");
    for (const char *option : {"apn", "mtu", "metric"})
        EXPECT_NE(read((std::string{"network.modem."} + option).c_str()), "") << option;
    EXPECT_EQ(content_of(root.path() / "saved/network"), "");
}

TEST_F(PlatformUci, SavesForOthersOnlyWhatIsNotCommitted)
{
    const Uci uci = open();
    EXPECT_EQ(kuci2_add_list(uci, "network.modem.dns", "8.8.8.8"), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_EQ(kuci2_set(uci, "network.modem.apn", "internet"), 0);
    write("network", content("network") + "config interface 'wan'\n");
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_EQ(read("network.modem.dns"), "1.1.1.1 9.9.9.9 8.8.8.8");
    EXPECT_EQ(read("network.modem.apn"), "internet");
    EXPECT_EQ(read("network.wan"), "interface");
}

TEST_F(PlatformUci, WritesAnyNumberOfPackagesOneAfterTheOther)
{
    const Uci uci = open();
    for (int round = 0; round < 2; round++)
        for (int i = 0; i <= max_written_packages; i++) {
            const std::string package = "package" + std::to_string(i);
            EXPECT_EQ(kuci2_set_name(uci, package.c_str(), "a", nullptr, "type"), 0) << package;
            EXPECT_EQ(kuci2_set_name(uci, package.c_str(), "a", "round", std::to_string(round).c_str()), 0) << package;
            EXPECT_EQ(kuci2_commit(uci, package.c_str()), 0) << package;
            EXPECT_EQ(read((package + ".a.round").c_str()), std::to_string(round));
        }
}

TEST_F(PlatformUci, WritesWithoutALockWhereNoneCanBeHad)
{
    std::filesystem::remove(root.path() / "lock");
    const Uci uci = open();
    EXPECT_EQ(kuci2_set(uci, "network.modem.apn", "internet"), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_EQ(read("network.modem.apn"), "internet");
}

// An error of the flash at each call in turn: the file is the old one or the new one, and the writes are not lost.
TEST_F(PlatformUci, KeepsTheOldFileWhicheverCallFails)
{
    constexpr int reasons[] = {EIO, ENOSPC, EDQUOT};
    int failed_commits = 0;
    for (const char *call : calls_that_can_fail) {
        for (int passed = 0; passed < 100; passed++) {
            write("network", network);
            const Uci uci = open();
            EXPECT_EQ(kuci2_set(uci, "network.modem.apn", "internet"), 0);
            const std::string where = call + std::string{" "} + std::to_string(passed);
            int result = 0;
            bool has_failed = false;
            {
                const FailingCall failing{call, passed, reasons[passed % 3]};
                result = kuci2_commit(uci, "network");
                has_failed = failing.has_failed();
            }
            EXPECT_EQ(read("network.modem.apn"), result == 0 ? "internet" : "") << where;
            EXPECT_EQ(content("network") == network, result != 0) << where;
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root.path() / "config"), {}), 1) << where;
            if (result != 0) {
                failed_commits++;
                EXPECT_EQ(kuci2_commit(uci, "network"), 0) << where;
            }
            EXPECT_EQ(read("network.modem.apn"), "internet") << where;
            EXPECT_EQ(read("network.modem.dns"), "1.1.1.1 9.9.9.9") << where;
            if (!has_failed)
                break;
        }
    }
    EXPECT_GE(failed_commits, 4) << "each kind of call is made on the file";
}

TEST_F(PlatformUci, KeepsTheSavedChangesOfOthersWhereACommitFails)
{
    const std::string saved = "network.lan.ipaddr='192.168.1.1'\n";
    std::ofstream{root.path() / "saved/network"} << saved;
    const Uci uci = open();
    EXPECT_EQ(kuci2_set(uci, "network.modem.apn", "internet"), 0);
    {
        const FailingCall failing{"write", 0, EDQUOT};
        EXPECT_EQ(kuci2_commit(uci, "network"), -1);
    }
    EXPECT_EQ(content_of(root.path() / "saved/network"), saved);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_EQ(content_of(root.path() / "saved/network"), "");
    EXPECT_EQ(read("network.lan.ipaddr"), "192.168.1.1");
}

TEST_F(PlatformUci, LeavesTheFileAloneUnderALimitOfItsSize)
{
    enum Result { as_expected, committed, not_committed };
    for (const rlim_t limit : {0, 1, 100, 5000}) {
        write("network", network);
        const pid_t child = fork();
        if (child == 0) {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit little{.rlim_cur = limit, .rlim_max = RLIM_INFINITY};
            const rlimit none{.rlim_cur = RLIM_INFINITY, .rlim_max = RLIM_INFINITY};
            const Uci uci = open();
            kuci2_set(uci, "network.modem.apn", "internet");
            setrlimit(RLIMIT_FSIZE, &little);
            if (kuci2_commit(uci, "network") != -1 || content("network") != network)
                _exit(committed);
            setrlimit(RLIMIT_FSIZE, &none);
            _exit(kuci2_commit(uci, "network") == 0 ? as_expected : not_committed);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, as_expected) << limit;
        EXPECT_EQ(read("network.modem.apn"), "internet");
    }
}

// Programs that do not know our writer lock: they come between our first write and the commit.
TEST_F(PlatformUci, JoinsWhatOthersCommitAndSaveMeanwhile)
{
    const Uci uci = open();
    EXPECT_EQ(kuci2_set(uci, "network.modem.apn", "internet"), 0);
    write("other", std::string{network} + "\nconfig interface 'wan'\n\toption proto 'dhcp'\n");
    std::filesystem::rename(root.path() / "config/other", root.path() / "config/network");
    std::ofstream{root.path() / "saved/network"} << "network.lan.ipaddr='192.168.1.1'\n";
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_EQ(read("network.modem.apn"), "internet");
    EXPECT_EQ(read("network.wan.proto"), "dhcp");
    EXPECT_EQ(read("network.lan.ipaddr"), "192.168.1.1");
    EXPECT_EQ(content_of(root.path() / "saved/network"), "");
}

TEST_F(PlatformUci, KeepsALinkToAFileElsewhere)
{
    std::filesystem::rename(root.path() / "config/network", root.path() / "elsewhere");
    std::filesystem::create_symlink(root.path() / "elsewhere", root.path() / "config/network");
    const Uci uci = open();
    EXPECT_EQ(kuci2_set(uci, "network.modem.apn", "internet"), 0);
    EXPECT_EQ(kuci2_commit(uci, "network"), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(root.path() / "config/network"));
    EXPECT_NE(content_of(root.path() / "elsewhere").find("apn 'internet'"), std::string::npos);
}

// Takes all the room there is.
void fill(const std::string &path)
{
    std::ofstream file{path, std::ios::binary};
    while (file << std::string(512, 'x') << std::flush)
        continue;
}

// An ordinary user gets the right to mount in a user namespace, and is root there, so that the files have an owner.
bool enter_own_mounts()
{
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (user == 0)
        return unshare(CLONE_NEWNS) == 0;
    if (unshare(CLONE_NEWNS | CLONE_NEWUSER) != 0)
        return false;
    std::ofstream{"/proc/self/setgroups"} << "deny";
    std::ofstream{"/proc/self/uid_map"} << "0 " << user << " 1";
    std::ofstream{"/proc/self/gid_map"} << "0 " << group << " 1";
    return geteuid() == 0;
}

// A file system of the test's own needs rights that not everybody has.
TEST_F(PlatformUci, LeavesTheFileAloneWhereThereIsNoRoomAndCommitsOnceThereIs)
{
    enum Result { as_expected, refused_mount, committed, changed_file, not_committed, lost_change };
    const pid_t child = fork();
    if (child == 0) {
        const std::string config = root.path() / "config";
        if (!enter_own_mounts() || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", config.c_str(), "tmpfs", 0, "size=64k") != 0)
            _exit(refused_mount);
        write("network", network);
        fill(config + "/filler");
        const Uci uci = open();
        kuci2_set(uci, "network.modem.apn", "internet");
        if (kuci2_commit(uci, "network") == 0)
            _exit(committed);
        if (content("network") != network)
            _exit(changed_file);
        std::filesystem::remove(config + "/filler");
        if (kuci2_commit(uci, "network") != 0)
            _exit(not_committed);
        _exit(read("network.modem.apn") == "internet" ? as_expected : lost_change);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WEXITSTATUS(status) == refused_mount)
        GTEST_SKIP() << "no right to mount a file system";
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), as_expected);
}

} // namespace platform_uci_test
