#include "platform/files.h"

#include <climits>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "tests/unit/failing_calls.h"
#include "tests/unit/temporary_directory.h"

namespace files_test {

using namespace std::string_view_literals;

bool is_open(int descriptor)
{
    return fcntl(descriptor, F_GETFD) != -1;
}

int open_null()
{
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

TEST(Fd, ClosesAtTheEndOfItsScope)
{
    int descriptor = -1;
    {
        const Fd fd{open_null()};
        ASSERT_TRUE(fd);
        descriptor = fd.get();
    }
    EXPECT_FALSE(is_open(descriptor));
}

TEST(Fd, HasOneOwnerAfterAMove)
{
    Fd first{open_null()};
    const int descriptor = first.get();
    Fd second{std::move(first)};
    EXPECT_EQ(second.get(), descriptor);
    {
        Fd third;
        EXPECT_FALSE(third);
        third = std::move(second);
        EXPECT_EQ(third.get(), descriptor);
    }
    EXPECT_FALSE(is_open(descriptor));
}

TEST(DirectoryEntry, IsADirectoryByItsOwnWordOrTheFileSystems)
{
    const TemporaryDirectory directory;
    directory.file("file", "");
    std::filesystem::create_directory(directory.entry("directory"));
    std::filesystem::create_directory_symlink(directory.path(), directory.entry("link"));
    const struct {
        const char *name;
        unsigned char type;
        bool is_directory;
    } rows[] = {
        {"directory", DT_DIR, true},     {"file", DT_REG, false},     {"link", DT_LNK, false},
        {"directory", DT_UNKNOWN, true}, {"file", DT_UNKNOWN, false}, {"link", DT_UNKNOWN, false},
        {"missing", DT_UNKNOWN, false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(entry_is_directory(directory.entry(row.name).c_str(), row.type), row.is_directory) << row.name;
}

TEST(DirectoryEntry, IsDotsByItsWholeName)
{
    for (const char *name : {".", "..", "...", ".a", "a", ""})
        EXPECT_EQ(entry_is_dots(name), name == "."sv || name == ".."sv) << name;
}

TEST(ReadFile, ReadsNoMoreThanAskedAndNoMoreThanFits)
{
    const TemporaryDirectory directory;
    const std::string path = directory.file("text", "abcdefghij");
    const struct {
        size_t max_length;
        int length;
        std::string_view content;
    } rows[] = {
        {0, 0, ""}, {3, 3, "abc"}, {7, 7, "abcdefg"}, {8, 7, "abcdefg"}, {SIZE_MAX, 7, "abcdefg"},
    };
    for (const auto &row : rows) {
        Text<8> out = "xxxxxxx";
        EXPECT_EQ(read_file(path.c_str(), row.max_length, out), row.length) << row.max_length;
        EXPECT_EQ(out, row.content) << row.max_length;
    }
}

TEST(ReadFile, CountsZeroBytes)
{
    const TemporaryDirectory directory;
    Text<8> out;
    EXPECT_EQ(read_file(directory.file("bytes", "a\0\xFFz"sv).c_str(), 8, out), 4);
    EXPECT_EQ((std::string_view{out.data(), 5}), "a\0\xFFz\0"sv);
}

TEST(ReadFile, OfAnEmptyFileIsEmpty)
{
    const TemporaryDirectory directory;
    Text<8> out = "old";
    EXPECT_EQ(read_file(directory.file("empty", "").c_str(), 8, out), 0);
    EXPECT_TRUE(out.empty());
}

TEST(ReadFile, IntoNoBytesReadsNothing)
{
    const TemporaryDirectory directory;
    EXPECT_EQ(read_file(directory.file("text", "abc").c_str(), 8, TextOut{nullptr, 0}), 0);
}

TEST(ReadFile, RefusesWhatIsNoRegularFileWithoutWaiting)
{
    const TemporaryDirectory directory;
    const std::string fifo = directory.entry("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string &path : {directory.entry("missing"), directory.path().string(), fifo,
                                    std::string{"/dev/zero"}, std::string{}, std::string(PATH_MAX, 'x')}) {
        Text<8> out = "old";
        EXPECT_EQ(read_file(path.c_str(), 8, out), -1) << path;
        EXPECT_TRUE(out.empty()) << path;
    }
}

TEST(ReadFile, ReadsWhatTheKernelWritesWithoutASize)
{
    Text<8> out;
    EXPECT_EQ(read_file("/proc/version", 5, out), 5);
    EXPECT_EQ(out, "Linux");
}

TEST(WriteFile, ReplacesTheWholeContent)
{
    const TemporaryDirectory directory;
    const std::string path = directory.entry("file");
    EXPECT_EQ(write_file(path.c_str(), "a long first text"), 0);
    EXPECT_EQ(write_file(path.c_str(), "b\0c"sv), 0);
    EXPECT_EQ(content_of(path), "b\0c"sv);
    EXPECT_EQ(write_file(path.c_str(), ""), 0);
    EXPECT_EQ(content_of(path), "");
}

TEST(WriteFile, MakesANewFileReadableByAll)
{
    const TemporaryDirectory directory;
    const mode_t before = umask(022);
    EXPECT_EQ(write_file(directory.entry("new").c_str(), "x"), 0);
    umask(before);
    struct stat status;
    ASSERT_EQ(stat(directory.entry("new").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);
}

TEST(WriteFile, GivesItsModeToANewFileOnly)
{
    const TemporaryDirectory directory;
    const std::string path = directory.entry("file");
    struct stat status;
    EXPECT_EQ(write_file(path.c_str(), "x", 0600), 0);
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    EXPECT_EQ(write_file(path.c_str(), "y", 0600), 0);
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST(WriteFile, FailsWhereNothingCanBeOpenedWithoutWaiting)
{
    const TemporaryDirectory directory;
    const std::string fifo = directory.entry("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string &path : {directory.entry("missing/file"), directory.path().string(), fifo, std::string{}})
        EXPECT_EQ(write_file(path.c_str(), "x"), -1) << path;
}

TEST(WriteFile, KeepsAFileThatCannotBeWrittenWhole)
{
    const TemporaryDirectory directory;
    const std::string path = directory.file("file", "old");
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit little{.rlim_cur = 4, .rlim_max = 4};
        setrlimit(RLIMIT_FSIZE, &little);
        _exit(write_file(path.c_str(), "too long") == -2 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 1);
    Text<16> content;
    EXPECT_EQ(read_file(path.c_str(), 16, content), 3);
    EXPECT_EQ(content.view(), "old");
}

TEST(WriteFile, KeepsTheOldFileWhicheverCallFails)
{
    const TemporaryDirectory directory;
    const std::string path = directory.file("file", "old");
    for (const char *call : calls_that_can_fail) {
        {
            const FailingCall failing{call, 0, EIO};
            EXPECT_EQ(write_file(path.c_str(), "new content"), -2) << call;
            EXPECT_TRUE(failing.has_failed()) << call;
        }
        EXPECT_EQ(content_of(path), "old") << call;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 1) << call;
    }
}

TEST(WriteFile, PutsAnotherFileInPlaceOfTheOldOne)
{
    const TemporaryDirectory directory;
    const std::string path = directory.file("file", "old");
    const Fd before{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    EXPECT_EQ(write_file(path.c_str(), "new"), 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 1);
    char bytes[8] = {};
    EXPECT_EQ(read(before.get(), bytes, sizeof bytes), 3);
    EXPECT_STREQ(bytes, "old") << "whoever reads it reads one of the two";
}

TEST(WriteFile, FollowsALinkToItsFile)
{
    const TemporaryDirectory directory;
    const std::string path = directory.file("file", "old");
    std::filesystem::create_symlink(path, directory.entry("link"));
    EXPECT_EQ(write_file(directory.entry("link").c_str(), "new"), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(directory.entry("link")));
    Text<16> content;
    EXPECT_EQ(read_file(path.c_str(), 16, content), 3);
    EXPECT_EQ(content.view(), "new");
}

TEST(WriteFile, LeavesAFifoInPlaceThatTakesNoMore)
{
    const TemporaryDirectory directory;
    const std::string fifo = directory.entry("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const Fd reader{open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    EXPECT_EQ(write_file(fifo.c_str(), std::string(4000000, 'x')), -2);
    EXPECT_TRUE(std::filesystem::is_fifo(fifo));
}

TEST(WriteFile, LetsNobodyReadTheDraftOfAFileThatTheyMayNotRead)
{
    const TemporaryDirectory directory;
    const std::string path = directory.file("secret", "old");
    chmod(path.c_str(), 0600);
    // A process of that number was killed in the middle, and somebody has its draft open.
    const std::string draft = directory.file((".secret." + std::to_string(getpid())).c_str(), "half");
    chmod(draft.c_str(), 0644);
    std::ifstream reader(draft);
    ASSERT_EQ(write_file(path.c_str(), "pin=1234"), 0);
    std::string seen;
    std::getline(reader, seen);
    EXPECT_EQ(seen, "half");
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_EQ(content_of(path), "pin=1234");
    EXPECT_FALSE(std::filesystem::exists(draft));
}

TEST(FileOfAFolder, IsNotReadOrWrittenThroughALinkOrAPipe)
{
    const TemporaryDirectory directory;
    const TemporaryDirectory elsewhere;
    const std::string target = elsewhere.file("target", "theirs");
    symlink(target.c_str(), directory.entry("link").c_str());
    mkfifo(directory.entry("pipe").c_str(), 0600);
    directory.file("file", "ours");
    const Fd folder{open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    Text<16> out;
    EXPECT_EQ(read_file_in(folder, "file", 15, out), 4);
    EXPECT_EQ(out, "ours");
    for (const char *name : {"link", "pipe", "missing"}) {
        EXPECT_EQ(read_file_in(folder, name, 15, out), -1) << name;
        EXPECT_EQ(out, "") << name;
    }
    EXPECT_EQ(write_file_in(folder, "file", "new"), 0);
    EXPECT_EQ(write_file_in(folder, "added", "x"), 0);
    EXPECT_EQ(write_file_in(folder, "link", "x"), -1);
    EXPECT_EQ(write_file_in(folder, "pipe", "x"), -1);
    EXPECT_EQ(content_of(directory.entry("file")), "new");
    EXPECT_EQ(content_of(directory.entry("added")), "x");
    EXPECT_EQ(content_of(target), "theirs");
    EXPECT_EQ(read_file_in(Fd{}, "file", 15, out), -1);
    EXPECT_EQ(write_file_in(Fd{}, "file", "x"), -1);
}

TEST(TakeName, PutsAFileOrFolderInThePlaceOfAnything)
{
    const TemporaryDirectory directory;
    const std::string file = directory.file("file", "theirs");
    take_name(directory.file("own", "ours").c_str(), file.c_str());
    EXPECT_EQ(content_of(file), "ours");
    EXPECT_FALSE(std::filesystem::exists(directory.entry("own")));

    const std::string full = directory.entry("full");
    std::filesystem::create_directories(full + "/theirs");
    take_name(directory.file("own", "ours").c_str(), full.c_str());
    EXPECT_EQ(content_of(full), "ours");
    EXPECT_TRUE(std::filesystem::exists(directory.entry("own/theirs"))) << "it is left to its owner";

    take_name(directory.file("third", "ours").c_str(), directory.entry("missing").c_str());
    EXPECT_FALSE(std::filesystem::exists(directory.entry("third"))) << "there is nothing to replace";
    EXPECT_FALSE(std::filesystem::exists(directory.entry("missing")));
}

} // namespace files_test
