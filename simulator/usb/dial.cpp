#include "simulator/usb/dial.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace simulator {

namespace {

constexpr const char *peer_program = "/usr/sbin/pppd";
constexpr const char *peer_folder = "/etc/ppp";
constexpr size_t pluses_of_escape = 3;
constexpr size_t most_unsent = 1 << 20; ///< the rest is lost, as on a line
constexpr int64_t again_ms = 5;

/// A text between quotes, as pppd reads its files.
std::string quoted(const std::string &text)
{
    std::string out = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\')
            out += '\\';
        out += character;
    }
    return out + '"';
}

/// The peer's own settings in place of the machine's, and a place for what it writes.
bool give_folders(const std::string &secrets)
{
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return false;
    for (const char *folder : {peer_folder, "/run"})
        if (mount("peer", folder, "tmpfs", 0, nullptr) != 0)
            return false;
    for (const char *file : {"pap-secrets", "chap-secrets"}) {
        const Fd out(open((std::string(peer_folder) + '/' + file).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        if (write(out.get(), secrets.data(), secrets.size()) != static_cast<ssize_t>(secrets.size()))
            return false;
    }
    return true;
}

bool complain(const char *what)
{
    fprintf(stderr, "simrouter: a data call has no other side: %s: %s\n", what, strerror(errno));
    return false;
}

/// Pseudo terminals of this process alone: the machine's root folder has none.
bool make_terminals()
{
    constexpr const char *folder = "/dev/pts";
    return (mkdir(folder, 0755) == 0 || errno == EEXIST) && unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("terminals", folder, "devpts", 0, "newinstance,ptmxmode=0600") == 0;
}

Fd open_terminal(std::string &name)
{
    static const bool has_terminals = make_terminals();
    Fd own(has_terminals ? open("/dev/pts/ptmx", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC) : -1);
    std::array<char, 64> text{};
    if (!own || unlockpt(own.get()) != 0 || ptsname_r(own.get(), text.data(), text.size()) != 0)
        return Fd();
    // The host may talk before the peer has made its settings, and must not hear itself.
    termios raw{};
    tcgetattr(own.get(), &raw);
    cfmakeraw(&raw);
    tcsetattr(own.get(), TCSANOW, &raw);
    name = text.data();
    return own;
}

} // namespace

void EscapeWatch::see(std::string_view bytes, int64_t now_ms)
{
    const bool is_plus = std::ranges::all_of(bytes, [](char character) { return character == '+'; });
    if (!is_plus)
        pluses_ = 0;
    else if (pluses_ > 0)
        pluses_ += bytes.size();
    else if (now_ms - last_ms_ >= silence_ms)
        pluses_ = bytes.size();
    last_ms_ = now_ms;
}

std::optional<int64_t> EscapeWatch::due_ms() const
{
    return pluses_ == pluses_of_escape ? std::optional(last_ms_ + silence_ms) : std::nullopt;
}

DialPeer dial_peer(const Session &session, const LinkDemand &demand)
{
    return {.address = session.gateway,
            .host_address = session.address,
            .name_server = session.name_servers[0],
            .second_name_server = session.name_servers[1],
            .user = demand.username,
            .password = demand.password};
}

std::vector<std::string> dial_peer_words(const DialPeer &peer, const std::string &terminal)
{
    std::vector<std::string> words = {peer_program, terminal,         "nodetach", "local",         "nocrtscts",
                                      "noccp",      "nodefaultroute", "ms-dns",   peer.name_server};
    if (!peer.second_name_server.empty())
        words.insert(words.end(), {"ms-dns", peer.second_name_server});
    // It asks for CHAP, and takes PAP from a host that refuses that. Any password will do by PAP only.
    if (peer.password)
        words.emplace_back("require-chap");
    words.emplace_back(peer.user || peer.password ? "require-pap" : "noauth");
    words.push_back(peer.address + ':' + peer.host_address);
    return words;
}

std::string dial_peer_secrets(const DialPeer &peer)
{
    return (peer.user ? quoted(*peer.user) : "*") + " * " + quoted(peer.password.value_or("")) + " *\n";
}

Dial::Dial(EventLoop &loop, DialPeer peer, Host host) : loop_(loop), peer_(std::move(peer)), host_(std::move(host)) {}

Dial::~Dial()
{
    loop_.cancel(silence_);
    loop_.cancel(again_);
    if (line_)
        loop_.unwatch(line_.get());
    // At once: its address may be the next call's.
    if (process_ > 0)
        kill(process_, SIGKILL);
}

void Dial::go_online()
{
    if (!line_ && !start_peer())
        return end();
    is_online_ = true;
    on_room();
}

void Dial::hold()
{
    is_online_ = false;
    escape_ = {};
    loop_.cancel(silence_);
}

void Dial::end()
{
    is_online_ = false;
    is_over_ = true;
    host_.ended();
}

bool Dial::start_peer()
{
    std::string terminal;
    line_ = open_terminal(terminal);
    if (!line_)
        return complain("no pseudo terminal");
    if (access(peer_program, X_OK) != 0)
        return complain(peer_program);
    std::vector<std::string> words = dial_peer_words(peer_, terminal);
    const std::string secrets = dial_peer_secrets(peer_);
    process_ = fork();
    if (process_ < 0)
        return complain("fork");
    if (process_ > 0) {
        // Once for all that comes; the rest is read when the host has room.
        loop_.watch(line_.get(), EPOLLIN | EPOLLET, [this](uint32_t) { on_room(); });
        return true;
    }
    signal(SIGCHLD, SIG_DFL);
    setsid();
    const Fd nothing(open("/dev/null", O_RDWR));
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO})
        dup2(nothing.get(), standard);
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    if (give_folders(secrets))
        execv(peer_program, arguments.data());
    complain(peer_program);
    _exit(127);
}

void Dial::on_room()
{
    std::array<char, 16384> buffer;
    while (is_online_ && host_.has_room()) {
        const ssize_t count = read(line_.get(), buffer.data(), buffer.size());
        if (count > 0)
            host_.send(std::string_view(buffer.data(), static_cast<size_t>(count)));
        else if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        else
            return end();
    }
}

void Dial::on_bytes(std::string_view bytes)
{
    const int64_t now = EventLoop::now_ms();
    escape_.see(bytes, now);
    wait_for_silence();
    if (unsent_.size() + bytes.size() <= most_unsent)
        unsent_ += bytes;
    pass_on();
}

void Dial::pass_on()
{
    loop_.cancel(again_);
    const ssize_t count = write(line_.get(), unsent_.data(), unsent_.size());
    if (count > 0)
        unsent_.erase(0, static_cast<size_t>(count));
    if (!unsent_.empty())
        again_ = loop_.at(EventLoop::now_ms() + again_ms, [this] { pass_on(); });
}

void Dial::wait_for_silence()
{
    loop_.cancel(silence_);
    if (const auto due = escape_.due_ms())
        silence_ = loop_.at(*due, [this] { host_.escaped(); });
}

} // namespace simulator
