#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>
#include <uci.h>

#include "platform/json.h"
#include "tests/paths.h"
#include "tests/unit/temporary_directory.h"

// Sessions recorded with OpenWrt's own uci command: a package's file, commands, and after each what it printed, its
// exit status, the file and the saved changes. Ours has to do the same, byte for byte. Characters stand for bytes.

namespace libuci_test {

std::string bytes_of(json_object *text)
{
    std::string bytes;
    const char *utf8 = json_object_get_string(text);
    const int length = json_object_get_string_len(text);
    for (int i = 0; i < length; i++) {
        const auto first = static_cast<unsigned char>(utf8[i]);
        if (first < 0x80)
            bytes += static_cast<char>(first);
        else
            bytes += static_cast<char>((first & 0x03) << 6 | (utf8[++i] & 0x3f));
    }
    return bytes;
}

std::string quoted(const std::string &word)
{
    std::string result = "'";
    for (const char c : word)
        result += c == '\'' ? "'\\''" : std::string(1, c);
    return result + "'";
}

class Session {
  public:
    Session() { std::filesystem::create_directory(folder.path() / "c"); }
    void write(const char *where, json_object *text)
    {
        std::filesystem::create_directories((folder.path() / where).parent_path());
        std::ofstream{folder.path() / where, std::ios::binary} << bytes_of(text);
    }
    int run(const std::vector<std::string> &arguments)
    {
        std::string command = "'" BUILD_ROOT "/uci' -c " + path("c") + " -t " + path("s");
        for (const auto &argument : arguments)
            command += " " + quoted(argument);
        const int status = system((command + " >" + path("out") + " 2>" + path("err")).c_str());
        return WEXITSTATUS(status);
    }
    std::optional<std::string> read(const char *where) const
    {
        if (!std::filesystem::exists(folder.path() / where))
            return std::nullopt;
        return content_of(path(where).c_str());
    }
    std::string errors() const
    {
        std::string text = read("err").value_or("");
        if (text.find("Usage:") != std::string::npos)
            return "usage";
        const std::string name = BUILD_ROOT "/uci";
        for (size_t at = text.find(name); at != std::string::npos; at = text.find(name))
            text.replace(at, name.size(), "uci");
        return text;
    }
    std::string path(const char *where) const { return folder.path() / where; }

  private:
    TemporaryDirectory folder;
};

std::optional<std::string> optional_bytes(json_object *object, const char *key)
{
    json_object *text = kjson_get_object(object, key);
    return text == nullptr ? std::nullopt : std::optional{bytes_of(text)};
}

void replay(json_object *recorded)
{
    Session session;
    if (json_object *content = kjson_get_object(recorded, "content"))
        session.write("c/t", content);
    if (json_object *saved = kjson_get_object(recorded, "saved"))
        session.write("s/t", saved);
    json_object *steps = kjson_get_object(recorded, "steps");
    for (size_t i = 0; i < json_object_array_length(steps); i++) {
        json_object *step = json_object_array_get_idx(steps, i);
        json_object *words = kjson_get_object(step, "args");
        std::vector<std::string> arguments;
        for (size_t w = 0; w < json_object_array_length(words); w++)
            arguments.push_back(bytes_of(json_object_array_get_idx(words, w)));
        EXPECT_EQ(session.run(arguments), kjson_get_int(step, "status")) << json_object_to_json_string(words);
        EXPECT_EQ(session.read("out"), bytes_of(kjson_get_object(step, "out"))) << json_object_to_json_string(words);
        EXPECT_EQ(session.errors(), bytes_of(kjson_get_object(step, "err"))) << json_object_to_json_string(words);
        EXPECT_EQ(session.read("c/t"), optional_bytes(step, "config")) << json_object_to_json_string(words);
        EXPECT_EQ(session.read("s/t"), optional_bytes(step, "saved")) << json_object_to_json_string(words);
    }
}

// The sessions start some thousand processes, so they are dealt out to several tests that run beside each other.
constexpr size_t session_parts = 8;

class UciCommand : public testing::TestWithParam<size_t> {};

TEST_P(UciCommand, DoesWhatTheRoutersOwnDoes)
{
    const Json sessions{json_object_from_file(TEST_DATA "/uci/sessions.json")};
    ASSERT_GT(json_object_array_length(sessions.get()), 200u);
    for (size_t i = GetParam(); i < json_object_array_length(sessions.get()); i += session_parts) {
        SCOPED_TRACE(i);
        replay(json_object_array_get_idx(sessions.get(), i));
    }
}

INSTANTIATE_TEST_SUITE_P(Sessions, UciCommand, testing::Range<size_t>(0, session_parts));

class Libuci : public testing::Test {
  protected:
    Libuci()
    {
        uci_set_confdir(context, folder.path().c_str());
        uci_set_savedir(context, folder.entry("saved").c_str());
    }
    ~Libuci() override { uci_free_context(context); }

    // What uci_lookup_ptr says of a path, and its flags.
    std::pair<int, int> look_up(std::string path, bool extended = true)
    {
        uci_ptr found{};
        const int result = uci_lookup_ptr(context, &found, path.data(), extended);
        return {result, static_cast<int>(found.flags)};
    }
    int load(std::string_view content)
    {
        folder.file("t", content);
        return uci_load(context, "t", nullptr);
    }

    TemporaryDirectory folder;
    uci_context *context = uci_alloc_context();
};

const std::string four_sections = "config iface sec\n\toption opt 1\n\toption empty ''\nconfig iface\n\toption opt 2\n";

TEST_F(Libuci, TellsHowFarAPathLeads)
{
    ASSERT_EQ(load(four_sections), UCI_OK);
    using Found = std::pair<int, int>;
    EXPECT_EQ(look_up("t.sec.opt"), Found(0, 3));
    EXPECT_EQ(look_up("t.sec.unset"), Found(0, 1));
    EXPECT_EQ(look_up("t.sec.empty"), Found(0, 1));
    EXPECT_EQ(look_up("t.nosec.opt"), Found(0, 1));
    EXPECT_EQ(look_up("nopkg.s.o"), Found(3, 1));
    EXPECT_EQ(look_up("t.@iface[0].opt"), Found(0, 7));
    EXPECT_EQ(look_up("t.@iface[0].opt", false).first, 2);
    EXPECT_EQ(look_up("t.@iface[9].opt"), Found(0, 5));
    EXPECT_EQ(look_up("t.@nope[0]"), Found(0, 5));
    for (const char *path : {"t.bad-name.x", "t.@iface", "t.@iface[", "t.@iface[0", "t.@iface[x].opt", "t.@iface[0]x"})
        EXPECT_EQ(look_up(path).first, 2) << path;
    for (const char *path : {"t.sec.bad-opt", "t.sec.a.b", "t.sec.", "", "t.sec.x=\x01"})
        EXPECT_EQ(look_up(path).first, 5) << path;
    EXPECT_EQ(look_up("t.").first, 2);
}

TEST_F(Libuci, LoadsAPackageOnce)
{
    EXPECT_EQ(load(four_sections), UCI_OK);
    EXPECT_EQ(uci_load(context, "t", nullptr), UCI_ERR_DUPLICATE);
    EXPECT_EQ(uci_load(context, "none", nullptr), UCI_ERR_NOTFOUND);
}

TEST_F(Libuci, TakesAFolderForAMissingPackage)
{
    std::filesystem::create_directory(folder.path() / "d");
    EXPECT_EQ(uci_load(context, "d", nullptr), UCI_ERR_NOTFOUND);
}

TEST_F(Libuci, DoesNotWaitForAFifo)
{
    ASSERT_EQ(mkfifo(folder.entry("pipe").c_str(), 0600), 0);
    EXPECT_NE(uci_load(context, "pipe", nullptr), UCI_OK);
}

TEST_F(Libuci, RefusesWhatIsNoConfiguration)
{
    for (const char *content :
         {"\xff\xfe junk", "config 'a", "option x 1", "config a\noption \"x", "config a b\nconfig c b"})
        EXPECT_EQ(load(content), UCI_ERR_PARSE) << content;
}

TEST_F(Libuci, KeepsAValueOfAHundredThousandCharacters)
{
    const std::string value(100000, 'x');
    ASSERT_EQ(load("config a b\n"), UCI_OK);
    std::string path = "t.b.o";
    uci_ptr found{};
    ASSERT_EQ(uci_lookup_ptr(context, &found, path.data(), true), UCI_OK);
    found.value = value.c_str();
    EXPECT_EQ(uci_set(context, &found), UCI_OK);
    EXPECT_EQ(uci_commit(context, &found.p, false), UCI_OK);
    EXPECT_EQ(content_of(folder.entry("t").c_str()), "\nconfig a 'b'\n\toption o '" + value + "'\n\n");
}

TEST_F(Libuci, LeavesAFileAloneWhenNothingIsToBeCommitted)
{
    ASSERT_EQ(load("config a b # comment\n"), UCI_OK);
    auto *package = uci_to_package(context->root.next);
    EXPECT_EQ(uci_commit(context, &package, false), UCI_OK);
    EXPECT_EQ(content_of(folder.entry("t").c_str()), "config a b # comment\n");
}

TEST_F(Libuci, FollowsALinkAndKeepsItsTargetsMode)
{
    folder.file("real", "config a b\n");
    chmod(folder.entry("real").c_str(), 0640);
    std::filesystem::create_symlink("real", folder.path() / "t");
    std::string path = "t.b.o";
    uci_ptr found{};
    ASSERT_EQ(uci_lookup_ptr(context, &found, path.data(), true), UCI_OK);
    found.value = "1";
    EXPECT_EQ(uci_set(context, &found), UCI_OK);
    EXPECT_EQ(uci_commit(context, &found.p, false), UCI_OK);
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path() / "t"));
    EXPECT_EQ(content_of(folder.entry("real").c_str()), "\nconfig a 'b'\n\toption o '1'\n\n");
    struct stat status;
    ASSERT_EQ(stat(folder.entry("real").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
}

// Any bytes at all: the reader ends, with a code, and holds nothing back.
// Waits until somebody waits for a lock on this file.
void wait_for_a_waiter(const std::string &path)
{
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    const std::string inode = ":" + std::to_string(status.st_ino) + " ";
    for (int i = 0; i < 3000; i++) {
        std::ifstream locks{"/proc/locks"};
        for (std::string line; std::getline(locks, line);)
            if (line.find("->") != std::string::npos && line.find(inode) != std::string::npos)
                return;
        usleep(10'000);
    }
    FAIL() << "nobody waits for " << path;
}

// Another writer puts a new file in place while we wait for the lock of the old one.
TEST_F(Libuci, BuildsOnTheFileThatIsThereWhenItsLockIsHad)
{
    const std::string path = folder.file("t", "config iface a\n");
    const int lock = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    std::filesystem::create_directory(folder.entry("saved"));
    folder.file("saved/t", "t.a.ours='1'\n");
    const pid_t child = fork();
    if (child == 0) {
        uci_ptr found{};
        char name[] = "t";
        const bool is_loaded = uci_lookup_ptr(context, &found, name, false) == UCI_OK;
        _exit(is_loaded && uci_commit(context, &found.p, false) == UCI_OK ? 0 : 1);
    }
    wait_for_a_waiter(path);
    folder.file("new", "config iface a\n\toption theirs 1\n");
    std::filesystem::rename(folder.entry("new"), path);
    flock(lock, LOCK_UN); // a close would not do, since the child has the same open file
    close(lock);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(content_of(path), "\nconfig iface 'a'\n\toption theirs '1'\n\toption ours '1'\n\n");
}

TEST_F(Libuci, ExportsAPackageAsItsFileHasIt)
{
    uci_package *package = nullptr;
    folder.file("t", four_sections);
    ASSERT_EQ(uci_load(context, "t", &package), UCI_OK);
    for (const bool header : {false, true}) {
        char *text = nullptr;
        size_t size = 0;
        FILE *stream = open_memstream(&text, &size);
        EXPECT_EQ(uci_export(context, stream, package, header), UCI_OK);
        fclose(stream);
        EXPECT_EQ(std::string(text), std::string{header ? "package t\n" : ""} +
                                         "\nconfig iface 'sec'\n\toption opt '1'\n\nconfig iface\n"
                                         "\toption opt '2'\n\n");
        free(text);
    }
}

// Seconds of the processor that a package takes whose every section has a saved change: the least of three times.
double seconds_for(int sections)
{
    const TemporaryDirectory folder;
    std::filesystem::create_directory(folder.entry("saved"));
    std::ofstream config{folder.entry("t")};
    std::ofstream saved{folder.entry("saved/t")};
    for (int i = 0; i < sections; i++) {
        config << "config iface s" << i << "\n\toption a 1\n";
        saved << "t.s" << i << ".b='2'\n+t.n" << i << "='iface'\n-t.n" << i << "\n";
    }
    config.close();
    saved.close();
    double least = 1e9;
    for (int run = 0; run < 3; run++) {
        const clock_t start = clock();
        uci_context *context = uci_alloc_context();
        uci_set_confdir(context, folder.path().c_str());
        uci_set_savedir(context, folder.entry("saved").c_str());
        EXPECT_EQ(uci_load(context, "t", nullptr), UCI_OK);
        uci_ptr found{};
        std::string last = "t.s" + std::to_string(sections - 1) + ".b";
        EXPECT_EQ(uci_lookup_ptr(context, &found, last.data(), false), UCI_OK);
        EXPECT_TRUE(found.o != nullptr && std::string{found.o->v.string} == "2");
        uci_free_context(context);
        least = std::min(least, static_cast<double>(clock() - start) / CLOCKS_PER_SEC);
    }
    return least;
}

TEST(LibuciGrowth, TenTimesTheSectionsTakeNoMoreThanTenTimesAsLong)
{
    // Ten, and as much again for the processor's caches; a search of all sections for each takes a hundred times.
    EXPECT_LT(seconds_for(30'000), 20 * seconds_for(3'000));
}

TEST_F(Libuci, FindsTheFirstOfTwoSectionsOfOneName)
{
    std::filesystem::create_directory(folder.entry("saved"));
    folder.file("saved/t", "@t.b='a'\n");
    ASSERT_EQ(load("config iface b\n\toption o first\nconfig iface a\n\toption o second\n"), UCI_OK);
    const auto value = [this](std::string path) {
        uci_ptr found{};
        EXPECT_EQ(uci_lookup_ptr(context, &found, path.data(), false), UCI_OK);
        return std::string{found.o == nullptr ? "" : found.o->v.string};
    };
    EXPECT_EQ(value("t.a.o"), "first");
    EXPECT_EQ(value("t.b.o"), "");
    uci_ptr found{};
    std::string path = "t.a";
    ASSERT_EQ(uci_lookup_ptr(context, &found, path.data(), false), UCI_OK);
    ASSERT_EQ(uci_delete(context, &found), UCI_OK);
    EXPECT_EQ(value("t.a.o"), "second");
}

TEST_F(Libuci, ReadsAnyBytesToAnEnd)
{
    const std::string_view alphabet{"config option list '\"\\\n\t ;#ab\0\xff=.", 32};
    unsigned random = 7;
    for (int i = 0; i < 3000; i++) {
        std::string content = i % 2 == 0 ? "config a b\n" : "";
        for (int length = i % 97; length > 0; length--)
            content += alphabet[(random = random * 1103515245 + 12345) / 65536 % alphabet.size()];
        const int result = load(content);
        EXPECT_TRUE(result == UCI_OK || result == UCI_ERR_PARSE) << result;
        if (result == UCI_OK)
            uci_unload(context, uci_to_package(context->root.next));
    }
}

} // namespace libuci_test
