// hostile_user SECONDS SECRET...: the user nobody, who does for so long what any user of a router can do to root's
// programs. Some processes put links, pipes, folders and files of their own wherever root will look for its own, take
// them away again and swap them. One keeps every lock that it can get, and one reads all that it can read. Prints a
// line for each secret that it has read, "read SECRET in PATH", and at the end how often it has put something there.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr uid_t nobody = 65534;
constexpr unsigned exchange = 2; // RENAME_EXCHANGE

const char *const paths[] = {
    "/tmp/modem.1-1.2",
    "/tmp/modem.2-1.2",
    "/tmp/sim_type",
    "/tmp/sim_status",
    "/tmp/modem_upgrade_status",
    "/tmp/.uci",
    "/tmp/sysinfo",
    "/var/lock/modemctl.network.lock",
    "/var/lock/modemctl.firewall.lock",
    "/var/lock/modemctl.cellconf.lock",
    "/var/lock/modemctl.devconf.lock",
    "/var/lock/modemctl.smsrelay.lock",
    "/var/run/modem_state.lock",
    "/var/run/modemctl-reconnect.1-1.2.lock",
    "/var/run/modemctl-reconnect.1-1.2.again",
};

const char *const names_in_folders[] = {"cimi",       "modem-name", "modem-imei", "signal", "signal.tmp",
                                        "fail_count", "port",       "identity",   "info",   "network",
                                        "firewall",   "devconf",    "cellconf"};

const char *const targets[] = {"/etc/victim/file", "/etc/victim/made", "/etc/config/network", "/etc/config",
                               "/etc/victim",      "/dev/zero",        "/etc/passwd"};

// What root would do if it took this for its own.
const char *const contents[] = {
    "network.lan.ipaddr='6.6.6.6'\nnetwork.evil='interface'\n",
    "firewall.evil='rule'\n",
    "ready\n",
    "verizon\n",
    "666666666666666",
    "{\"type\":\"lte\",\"rsrp\":-66,\"rsrq\":-6,\"snr\":666,\"rssi\":-66}\n",
    "$(touch /etc/victim/made)`touch /etc/victim/made`;touch /etc/victim/made\n",
    "",
};

class Attacker {
  public:
    Attacker(unsigned number, Clock::time_point end)
        : random_(number), end_(end), own_("/tmp/.hostile." + std::to_string(number))
    {
    }

    void put_things_everywhere()
    {
        while (Clock::now() < end_) {
            const std::string path = pick(paths);
            clear(own_);
            make(own_);
            // By a rename they are there at once, by an exchange another one is there at once.
            if (syscall(SYS_renameat2, AT_FDCWD, own_.c_str(), AT_FDCWD, path.c_str(), number(2) * exchange) == 0)
                count_++;
            wait();
            clear(path);
            if (make(path))
                count_++;
            wait();
            if (number(3) == 0)
                clear(path);
        }
        clear(own_);
        printf("put %u\n", count_);
    }

    void keep_locks()
    {
        std::vector<int> kept;
        while (Clock::now() < end_) {
            for (const char *folder : {"/tmp", "/var/lock", "/var/run", "/dev", "/tmp/modem.1-1.2", "/tmp/.uci"})
                for (const std::string &path : entries_of(folder))
                    lock(path, kept);
            usleep(50'000);
            for (const int file : kept)
                close(file);
            kept.clear();
        }
    }

    void read_everything(const std::vector<std::string> &secrets)
    {
        std::set<std::string> told;
        while (Clock::now() < end_) {
            for (const char *folder : {"/tmp", "/var/lock", "/var/run", "/etc/config", "/tmp/modem.1-1.2", "/tmp/.uci"})
                for (const std::string &path : entries_of(folder))
                    look_for(secrets, path, told);
            for (const std::string &process : entries_of("/proc"))
                for (const char *file : {"/cmdline", "/environ"})
                    if (isdigit(static_cast<unsigned char>(process[strlen("/proc/")])) != 0)
                        look_for(secrets, process + file, told);
        }
    }

  private:
    unsigned number(unsigned below) { return static_cast<unsigned>(random_() % below); }
    template <size_t N> std::string pick(const char *const (&from)[N]) { return from[number(N)]; }

    void wait()
    {
        if (number(3) != 0)
            usleep(number(2000));
    }

    static void clear(const std::string &path)
    {
        if (unlink(path.c_str()) == 0 || rmdir(path.c_str()) == 0 || (errno != ENOTEMPTY && errno != EEXIST))
            return;
        for (const std::string &entry : entries_of(path))
            if (unlink(entry.c_str()) != 0)
                rmdir(entry.c_str());
        rmdir(path.c_str());
    }

    bool make(const std::string &path, bool can_be_folder = true)
    {
        switch (number(can_be_folder ? 9 : 5)) {
        case 0:
        case 1:
            return symlink(pick(targets).c_str(), path.c_str()) == 0;
        case 2:
            return mkfifo(path.c_str(), 0666) == 0;
        case 3:
            return link(pick(targets).c_str(), path.c_str()) == 0;
        case 4:
            return make_file(path);
        default:
            return make_folder(path);
        }
    }

    bool make_file(const std::string &path)
    {
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0666);
        const std::string text = pick(contents);
        const bool is_written = file >= 0 && write(file, text.data(), text.size()) >= 0;
        close(file);
        return is_written;
    }

    bool make_folder(const std::string &path)
    {
        if (mkdir(path.c_str(), 0777) != 0)
            return false;
        for (const char *name : names_in_folders)
            if (number(2) == 0)
                make(path + "/" + name, false);
        return true;
    }

    static std::vector<std::string> entries_of(const std::string &folder)
    {
        std::vector<std::string> entries;
        std::error_code failure;
        for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end; entry.increment(failure))
            entries.push_back(entry->path());
        return entries;
    }

    static void lock(const std::string &path, std::vector<int> &kept)
    {
        const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (file < 0)
            return;
        flock(file, LOCK_EX | LOCK_NB);
        struct flock all = {.l_type = F_RDLCK, .l_whence = SEEK_SET, .l_start = 0, .l_len = 0, .l_pid = 0};
        fcntl(file, F_SETLK, &all);
        kept.push_back(file);
    }

    static void look_for(const std::vector<std::string> &secrets, const std::string &path, std::set<std::string> &told)
    {
        const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        std::array<char, 65536> bytes;
        const ssize_t count = file < 0 ? 0 : read(file, bytes.data(), bytes.size());
        close(file);
        const std::string_view text{bytes.data(), static_cast<size_t>(std::max<ssize_t>(count, 0))};
        for (const std::string &secret : secrets)
            if (text.find(secret) != std::string_view::npos && told.insert(secret + path).second)
                printf("read %s in %s\n", secret.c_str(), path.c_str());
    }

    std::minstd_rand random_;
    Clock::time_point end_;
    std::string own_;
    unsigned count_ = 0;
};

} // namespace

int main(int count, char **words)
{
    if (count < 2)
        return 64;
    const auto end = Clock::now() + std::chrono::seconds(atoi(words[1]));
    const std::vector<std::string> secrets(words + 2, words + count);
    // Its own words are no find.
    for (int i = 2; i < count; i++)
        memset(words[i], 0, strlen(words[i]));
    if (setgroups(0, nullptr) != 0 || setresgid(nobody, nobody, nobody) != 0 || setresuid(nobody, nobody, nobody) != 0)
        return 77;
    constexpr unsigned workers = 4;
    for (unsigned i = 0; i < workers; i++) {
        if (fork() != 0)
            continue;
        Attacker attacker(i, end);
        if (i == 0)
            attacker.read_everything(secrets);
        else if (i == 1)
            attacker.keep_locks();
        else
            attacker.put_things_everywhere();
        fflush(stdout);
        _exit(0);
    }
    while (wait(nullptr) > 0) {
    }
    return 0;
}
