// The first process of the virtual machine of "simrouter --kernel": it loads the modules, goes to the files of the
// machine outside, runs simrouter there, passes its input and output on and reports its exit status. Its own files come
// with it (see machine.cpp): /modules, /job (current folder, then the arguments), /environment.

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "simulator/kernel/ports.h"

namespace {

using simulator::MachinePort;

/// The last words go to the kernel's console, which simrouter shows when the machine ends without a status.
[[noreturn]] void fail(const std::string &what)
{
    fprintf(stderr, "simrouter: the virtual machine: %s: %s\n", what.c_str(), strerror(errno));
    reboot(RB_POWER_OFF);
    _exit(1);
}

void check(bool ok, const std::string &what)
{
    if (!ok)
        fail(what);
}

std::string read_whole(const std::string &path)
{
    std::string text;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    check(file >= 0, path);
    std::array<char, 65536> buffer;
    for (ssize_t count = 0; (count = read(file, buffer.data(), buffer.size())) > 0;)
        text.append(buffer.data(), static_cast<size_t>(count));
    close(file);
    return text;
}

/// Texts that end with a zero byte each.
std::vector<std::string> split_texts(const std::string &whole)
{
    std::vector<std::string> texts;
    for (size_t start = 0; start < whole.size();) {
        const size_t end = std::min(whole.find('\0', start), whole.size());
        texts.push_back(whole.substr(start, end - start));
        start = end + 1;
    }
    return texts;
}

std::vector<std::string> names_in(const std::string &folder)
{
    std::vector<std::string> names;
    DIR *open_folder = opendir(folder.c_str());
    while (const dirent *entry = open_folder == nullptr ? nullptr : readdir(open_folder))
        if (entry->d_name[0] != '.')
            names.emplace_back(entry->d_name);
    if (open_folder != nullptr)
        closedir(open_folder);
    std::sort(names.begin(), names.end());
    return names;
}

/// This one makes a device of its own that no router has.
const char *module_settings(const std::string &name)
{
    return name.find("dummy") == std::string::npos ? "" : "numdummies=0";
}

void load_modules()
{
    for (const std::string &name : names_in("/modules")) {
        const int file = open(("/modules/" + name).c_str(), O_RDONLY | O_CLOEXEC);
        check(file >= 0 && (syscall(SYS_finit_module, file, module_settings(name), 0) == 0 || errno == EEXIST),
              "loading " + name);
        close(file);
    }
}

/// The ports to the machine outside come a moment after their driver. Their files get the ports' names.
void name_ports(bool has_terminal)
{
    const size_t wanted = simulator::machine_ports.size() - (has_terminal ? 3 : 0);
    size_t named = 0;
    for (int tries = 0; named < wanted; tries++) {
        check(tries < 20000, "waiting for the ports to the machine outside");
        usleep(5000);
        for (const std::string &device : names_in("/sys/class/virtio-ports")) {
            std::string name = read_whole("/sys/class/virtio-ports/" + device + "/name");
            name.resize(std::min(name.find('\n'), name.size()));
            if (!name.empty() && symlink(device.c_str(), ("/dev/" + name).c_str()) == 0)
                named++;
        }
    }
}

void enter_machine_files()
{
    mkdir("/host", 0755);
    check(mount("host", "/host", "9p", MS_RDONLY, "trans=virtio,version=9p2000.L,msize=262144,cache=loose") == 0,
          "the machine's files");
    for (const char *folder : {"/dev", "/proc", "/sys"})
        check(mount(folder, (std::string("/host") + folder).c_str(), nullptr, MS_MOVE, nullptr) == 0, folder);
    check(chdir("/host") == 0 && mount(".", "/", nullptr, MS_MOVE, nullptr) == 0 && chroot(".") == 0, "/host");
}

void write_setting(const char *path, const std::string &text)
{
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    check(file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()), path);
    close(file);
}

/// The driver makes eight controllers, each with two hubs and a hundred folders in sysfs. A router has one or two.
void keep_one_controller()
{
    for (const char *spare : {"1", "2", "3", "4", "5", "6", "7"})
        write_setting("/sys/bus/platform/drivers/vhci_hcd/unbind", std::string("vhci_hcd.") + spare);
}

std::vector<char *> pointers(std::vector<std::string> &texts)
{
    std::vector<char *> out;
    for (std::string &text : texts)
        out.push_back(text.data());
    out.push_back(nullptr);
    return out;
}

int open_port(MachinePort port, int flags)
{
    const std::string path = simulator::machine_port_file(port);
    const int descriptor = open(path.c_str(), flags | O_CLOEXEC);
    check(descriptor >= 0, path);
    return descriptor;
}

/// @return false at the end of what is read, and when nobody reads what is written
bool pass_on(int from, int to)
{
    std::array<char, 65536> buffer;
    const ssize_t count = read(from, buffer.data(), buffer.size());
    for (ssize_t done = 0; done < count;) {
        const ssize_t written = write(to, buffer.data() + done, static_cast<size_t>(count - done));
        if (written < 0 && errno != EINTR)
            return false;
        done += std::max<ssize_t>(written, 0);
    }
    return count > 0 || (count < 0 && errno == EINTR);
}

int exit_status(pid_t child)
{
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

[[noreturn]] void become_simrouter(std::vector<std::string> job, std::vector<std::string> environment)
{
    if (chdir(job[0].c_str()) != 0)
        fail(job[0]);
    job.erase(job.begin());
    execve(job[0].c_str(), pointers(job).data(), pointers(environment).data());
    fail(job[0]);
}

int run_on_terminal(const std::vector<std::string> &job, const std::vector<std::string> &environment)
{
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        const int terminal = open("/dev/hvc0", O_RDWR);
        check(terminal >= 0 && ioctl(terminal, TIOCSCTTY, 0) == 0, "/dev/hvc0");
        for (const int standard : {0, 1, 2})
            dup2(terminal, standard);
        become_simrouter(job, environment);
    }
    return exit_status(child);
}

/// A program sees pipes, as it does outside. A process for each: a command that does not read must not stop its output.
int run_on_pipes(const std::vector<std::string> &job, const std::vector<std::string> &environment)
{
    signal(SIGPIPE, SIG_IGN);
    std::array<pid_t, 3> relays{};
    std::array<int, 3> command_ends{};
    for (const int standard : {0, 1, 2}) {
        std::array<int, 2> ends;
        check(pipe2(ends.data(), O_CLOEXEC) == 0, "pipe");
        const bool is_input = standard == 0;
        command_ends[static_cast<size_t>(standard)] = ends[is_input ? 0 : 1];
        relays[static_cast<size_t>(standard)] = fork();
        if (relays[static_cast<size_t>(standard)] == 0) {
            for (int i = 0; i <= standard; i++)
                close(command_ends[static_cast<size_t>(i)]);
            const int port = open_port(static_cast<MachinePort>(standard), is_input ? O_RDONLY : O_WRONLY);
            while (is_input ? pass_on(port, ends[1]) : pass_on(ends[0], port)) {
            }
            if (is_input) {
                close(ends[1]);
                pause(); // the kernel would throw away all that still comes for a closed port, without end
            }
            _exit(0);
        }
        close(ends[is_input ? 1 : 0]);
    }
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGPIPE, SIG_DFL);
        setsid();
        for (const int standard : {0, 1, 2})
            dup2(command_ends[static_cast<size_t>(standard)], standard);
        become_simrouter(job, environment);
    }
    for (const int end : command_ends)
        close(end);
    const int status = exit_status(child);
    // What the command left behind has ended with its namespace, so that the outputs come to their end.
    waitpid(relays[1], nullptr, 0);
    waitpid(relays[2], nullptr, 0);
    return status;
}

} // namespace

int main()
{
    // A first process has no descriptors of its own.
    mkdir("/dev", 0755);
    mkdir("/proc", 0755);
    mkdir("/sys", 0755);
    if (mount("dev", "/dev", "devtmpfs", 0, nullptr) != 0)
        return 1;
    const int console = open("/dev/console", O_RDWR | O_CLOEXEC);
    for (const int standard : {0, 1, 2})
        dup2(console, standard);
    check(mount("proc", "/proc", "proc", 0, nullptr) == 0, "/proc");
    check(mount("sys", "/sys", "sysfs", 0, nullptr) == 0, "/sys");
    const std::vector<std::string> job = split_texts(read_whole("/job"));
    std::vector<std::string> environment = split_texts(read_whole("/environment"));
    const bool has_terminal = access("/terminal", F_OK) == 0;
    environment.push_back(std::string(simulator::inside_machine) + "=1");
    load_modules();
    name_ports(has_terminal);
    enter_machine_files();
    keep_one_controller();
    // A hub that sleeps would not ask for its ports.
    write_setting("/sys/module/usbcore/parameters/autosuspend", "-1");
    const int status = has_terminal ? run_on_terminal(job, environment) : run_on_pipes(job, environment);
    dprintf(open_port(MachinePort::status, O_WRONLY), "%d\n", status);
    pause(); // simrouter ends the machine
}
