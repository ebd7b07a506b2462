#include "simulator/kernel/machine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <termios.h>
#include <unistd.h>

#include "platform/files.h"
#include "simulator/kernel/archive.h"
#include "simulator/kernel/ports.h"

namespace simulator {

namespace {

namespace fs = std::filesystem;

/// Without the copying of strings byte by byte, which is fast in a processor only.
constexpr const char *emulated_processor = "max,-erms,-fsrm";
constexpr const char *machine_program = "qemu-system-x86_64";
constexpr size_t shown_console_bytes = 2000;
constexpr int look_again_ms = 500;
// Quiet: what the kernel prints costs time, and only its last words are shown, if the machine dies. Its clock is set
// by nothing that has to be measured. Network devices keep the names that the drivers give them.
constexpr const char *kernel_words =
    "console=ttyS0 quiet loglevel=4 panic=-1 tsc=reliable no_timer_check mitigations=off "
    "random.trust_cpu=on net.ifnames=0";

[[noreturn]] void fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

std::string read_whole(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!in)
        throw NoMachine("cannot read " + path.string());
    return text;
}

fs::path find_kernel(const fs::path &program)
{
    for (const fs::path &folder : {program.parent_path() / "kernel", fs::path(KERNEL_FOLDER)})
        if (fs::exists(folder / "vmlinux"))
            return folder;
    throw NoMachine("--kernel: the kernel is missing: tools/setup.sh kernel fetches it");
}

void find_machine_program()
{
    for (const char *folder : {"/usr/bin/", "/usr/local/bin/"})
        if (access((std::string(folder) + machine_program).c_str(), X_OK) == 0)
            return;
    throw NoMachine(std::string("--kernel: ") + machine_program + " is missing: tools/setup.sh kernel installs it");
}

/// A processor's own help needs one of its two drivers: other drivers behind /dev/kvm run other kernels than Debian's.
bool has_hardware_help()
{
    return access("/dev/kvm", R_OK | W_OK) == 0 &&
           (fs::exists("/sys/module/kvm_intel") || fs::exists("/sys/module/kvm_amd"));
}

void add_text(std::string &texts, std::string_view text)
{
    texts += text;
    texts += '\0';
}

/// The same arguments, with the files that are written outside replaced by the ports that lead there.
std::string job_text(const Options &options, std::span<const std::string> arguments, const std::string &program)
{
    std::string texts;
    add_text(texts, fs::current_path().native());
    add_text(texts, program);
    const auto command = std::ranges::find(arguments, "--");
    for (auto argument = arguments.begin(); argument != command; ++argument)
        add_text(texts, *argument);
    const std::array<std::pair<const std::string *, MachinePort>, 3> files = {
        {{&options.journal, MachinePort::journal},
         {&options.log, MachinePort::log},
         {&options.coverage, MachinePort::coverage}}};
    constexpr std::array<const char *, 3> names = {"--journal", "--log", "--coverage"};
    for (size_t i = 0; i < files.size(); i++) {
        if (files[i].first->empty())
            continue;
        add_text(texts, names[i]);
        add_text(texts, machine_port_file(files[i].second));
    }
    for (auto argument = command; argument != arguments.end(); ++argument)
        add_text(texts, *argument);
    return texts;
}

std::string environment_text()
{
    std::string texts;
    for (char **variable = environ; *variable != nullptr; variable++)
        add_text(texts, *variable);
    return texts;
}

/// The machine's first files, in memory.
Fd first_files(const fs::path &kernel, const std::string &first_process, const std::string &job, bool has_terminal)
{
    Archive archive;
    archive.add_file("init", read_whole(first_process), 0755);
    archive.add_folder("modules");
    for (const auto &module : fs::directory_iterator(kernel / "modules"))
        archive.add_file("modules/" + module.path().filename().string(), read_whole(module.path()), 0644);
    archive.add_file("job", job, 0644);
    archive.add_file("environment", environment_text(), 0644);
    if (has_terminal)
        archive.add_file("terminal", "", 0644);
    const std::string content = archive.text();
    Fd file(memfd_create("first files", 0)); // the machine's program opens it by its number
    for (size_t done = 0; done < content.size();) {
        const ssize_t written = write(file.get(), content.data() + done, content.size() - done);
        if (written < 0)
            fail("the machine's first files");
        done += static_cast<size_t>(written);
    }
    return file;
}

/// The own terminal passes every byte while the machine has it.
class RawTerminal {
  public:
    RawTerminal()
    {
        tcgetattr(STDIN_FILENO, &before_);
        termios raw = before_;
        cfmakeraw(&raw);
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
    RawTerminal(const RawTerminal &) = delete;
    RawTerminal &operator=(const RawTerminal &) = delete;
    ~RawTerminal() { tcsetattr(STDIN_FILENO, TCSADRAIN, &before_); }

  private:
    termios before_{};
};

/// The running machine, and the streams between it and the outside.
class Machine {
  public:
    Machine(const Options &options, bool has_terminal) : options_(options), has_terminal_(has_terminal) {}
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;
    ~Machine();
    void start(const fs::path &kernel, Fd first_files);
    int run();

  private:
    struct Stream {
        Fd socket; ///< the machine's side of it is a port
        Fd own;    ///< where its bytes go; none: they are kept
        std::string kept{};
        bool has_ended = false; ///< the machine's side is closed
    };

    std::vector<std::string> command(const fs::path &kernel, int first_files);
    void add_port(std::vector<std::string> &words, const std::string &name, Fd own, bool is_terminal = false);
    void read_input();
    void end_input();
    void pass_input();
    bool pass_output(const std::string &name, Stream &stream);

    const Options &options_;
    const bool has_terminal_;
    std::map<std::string, Stream> streams_;
    std::vector<Fd> machine_ends_; ///< until it has them
    std::string input_;            ///< has been read, and not been taken yet
    bool input_ended_ = false;
    pid_t process_ = 0;
};

Machine::~Machine()
{
    if (process_ <= 0)
        return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

Fd open_output(const std::string &path, int mode)
{
    if (path.empty())
        return Fd();
    Fd file(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | mode, 0666));
    if (!file)
        fail(path);
    return file;
}

void Machine::add_port(std::vector<std::string> &words, const std::string &name, Fd own, bool is_terminal)
{
    std::array<int, 2> ends;
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        fail("socketpair");
    streams_[name] = {Fd(ends[0]), std::move(own)};
    machine_ends_.emplace_back(ends[1]);
    words.insert(words.end(), {"-chardev", "socket,id=" + name + ",fd=" + std::to_string(ends[1])});
    if (name == "console")
        words.insert(words.end(), {"-serial", "chardev:console"});
    else
        words.insert(words.end(), {"-device", is_terminal ? "virtconsole,chardev=" + name
                                                          : "virtserialport,chardev=" + name + ",name=" + name});
}

std::vector<std::string> Machine::command(const fs::path &kernel, int first_files)
{
    std::vector<std::string> words = {machine_program,
                                      "-M",
                                      "q35,usb=off,vmport=off",
                                      "-m",
                                      "512",
                                      "-smp",
                                      "1",
                                      "-nodefaults",
                                      "-no-user-config",
                                      "-display",
                                      "none",
                                      "-monitor",
                                      "none",
                                      "-no-reboot",
                                      "-kernel",
                                      (kernel / "vmlinux").native(),
                                      "-initrd",
                                      "/proc/self/fd/" + std::to_string(first_files),
                                      "-append",
                                      kernel_words};
    const bool help = has_hardware_help();
    for (const char *word : {"-accel", help ? "kvm" : "tcg", "-cpu", help ? "host" : emulated_processor})
        words.emplace_back(word);
    words.insert(words.end(),
                 {"-fsdev", "local,id=host,path=/,security_model=none,readonly=on,multidevs=remap", "-device",
                  "virtio-9p-pci,fsdev=host,mount_tag=host", "-device", "virtio-serial-pci,max_ports=16"});
    add_port(words, "console", Fd());
    std::array<Fd, machine_ports.size()> own;
    if (!has_terminal_) {
        own[1] = Fd(dup(STDOUT_FILENO));
        own[2] = Fd(dup(STDERR_FILENO));
    }
    own[3] = open_output(options_.journal, O_TRUNC);
    own[4] = open_output(options_.log, O_TRUNC);
    own[5] = open_output(options_.coverage, 0);
    for (size_t i = has_terminal_ ? 3 : 0; i < machine_ports.size(); i++)
        add_port(words, std::string(machine_ports[i]), std::move(own[i]));
    if (has_terminal_)
        add_port(words, std::string(machine_ports[0]), Fd(dup(STDOUT_FILENO)), true);
    return words;
}

void Machine::start(const fs::path &kernel, Fd first_files)
{
    std::vector<std::string> words = command(kernel, first_files.get());
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ < 0)
        fail("fork");
    if (process_ > 0) {
        machine_ends_.clear();
        return;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(1);
    setpgid(0, 0); // an interrupt at the terminal is the command's, and arrives there as a byte
    for (const Fd &end : machine_ends_)
        fcntl(end.get(), F_SETFD, 0);
    const Fd nothing(open("/dev/null", O_RDWR));
    dup2(nothing.get(), STDIN_FILENO);
    dup2(nothing.get(), STDOUT_FILENO);
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

void Machine::read_input()
{
    std::array<char, 4096> buffer;
    const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count > 0)
        input_.assign(buffer.data(), static_cast<size_t>(count));
    else if (count == 0 || errno != EINTR)
        end_input();
}

void Machine::end_input()
{
    input_ended_ = true;
    shutdown(streams_[std::string(machine_ports[0])].socket.get(), SHUT_WR);
}

/// What does not fit waits: a command that reads no more must not keep its output, and its end, from us.
void Machine::pass_input()
{
    const ssize_t sent = send(streams_[std::string(machine_ports[0])].socket.get(), input_.data(), input_.size(),
                              MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0)
        input_.erase(0, static_cast<size_t>(sent));
    else if (errno != EAGAIN && errno != EINTR)
        end_input();
}

/// @return false at its end
bool Machine::pass_output(const std::string &name, Stream &stream)
{
    std::array<char, 65536> buffer;
    const ssize_t count = recv(stream.socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return true;
    if (count <= 0)
        return false;
    if (!stream.own) {
        stream.kept.append(buffer.data(), static_cast<size_t>(count));
        if (name == "console" && stream.kept.size() > 2 * shown_console_bytes)
            stream.kept.erase(0, stream.kept.size() - shown_console_bytes);
        return true;
    }
    for (ssize_t done = 0; done < count;) {
        const ssize_t written = write(stream.own.get(), buffer.data() + done, static_cast<size_t>(count - done));
        if (written < 0 && errno != EINTR)
            break; // nobody reads any more, or the disk is full: the machine goes on
        done += std::max<ssize_t>(written, 0);
    }
    return true;
}

int Machine::run()
{
    signal(SIGPIPE, SIG_IGN);
    Stream &status = streams_[std::string(machine_ports[static_cast<size_t>(MachinePort::status)])];
    for (bool ended = false; !ended;) {
        const bool wants_input = !input_ended_ && input_.empty();
        const bool has_input = !input_ended_ && !input_.empty();
        std::vector<pollfd> waiting{{.fd = wants_input ? STDIN_FILENO : -1, .events = POLLIN, .revents = 0},
                                    {.fd = has_input ? streams_[std::string(machine_ports[0])].socket.get() : -1,
                                     .events = POLLOUT,
                                     .revents = 0}};
        for (const auto &[name, stream] : streams_)
            waiting.push_back({.fd = stream.has_ended ? -1 : stream.socket.get(), .events = POLLIN, .revents = 0});
        // The status is the machine's last word: what it wrote before it is here already.
        ended = status.kept.ends_with('\n');
        poll(waiting.data(), waiting.size(), ended ? 0 : look_again_ms); // its streams end a moment before it does
        if (waiting[0].revents != 0)
            read_input();
        if (waiting[1].revents != 0)
            pass_input();
        size_t next = 2;
        for (auto &[name, stream] : streams_)
            if (const short events = waiting[next++].revents; (events != 0 || ended) && !stream.has_ended) {
                pollfd more{.fd = stream.socket.get(), .events = POLLIN, .revents = 0};
                do {
                    stream.has_ended = !pass_output(name, stream);
                } while (ended && !stream.has_ended && poll(&more, 1, 0) > 0);
            }
        if (waitpid(process_, nullptr, WNOHANG) == process_) {
            process_ = 0; // its number may be another one's soon
            ended = true;
        }
    }
    if (!status.kept.ends_with('\n'))
        throw std::runtime_error("the virtual machine ended without a word; its console's end:\n" +
                                 streams_["console"].kept);
    return std::stoi(status.kept);
}

} // namespace

int run_in_machine(const Options &options, std::span<const std::string> arguments, const std::string &program)
{
    const fs::path kernel = find_kernel(program);
    find_machine_program();
    const bool has_terminal = isatty(STDIN_FILENO) && isatty(STDOUT_FILENO);
    Machine machine(options, has_terminal);
    machine.start(kernel, first_files(kernel, fs::path(program).parent_path() / "simmachine",
                                      job_text(options, arguments, program), has_terminal));
    std::optional<RawTerminal> raw;
    if (has_terminal)
        raw.emplace();
    return machine.run();
}

bool is_inside_machine()
{
    return getenv(std::string(inside_machine).c_str()) != nullptr;
}

} // namespace simulator
