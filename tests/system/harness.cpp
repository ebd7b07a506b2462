#include "tests/system/harness.h"
#include "tests/paths.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/files.h"

namespace {

using Clock = std::chrono::steady_clock;

// Only what hangs takes so long, sanitized and on a busy machine too. LONGEST_RUN is for tests that can be made longer.
std::chrono::seconds longest_run()
{
    const char *wanted = getenv("LONGEST_RUN");
    return std::chrono::seconds{wanted == nullptr ? 240 : atoi(wanted)};
}

struct Pipe {
    Pipe()
    {
        std::array<int, 2> ends;
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            throw std::runtime_error("pipe2");
        reader = Fd(ends[0]);
        writer = Fd(ends[1]);
    }
    Fd reader;
    Fd writer;
};

/// A file with this text, opened for reading, that has no name.
Fd input_file(const std::string &text)
{
    Fd file(memfd_create("input", MFD_CLOEXEC));
    if (!file || write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        lseek(file.get(), 0, SEEK_SET) != 0)
        throw std::runtime_error("memfd_create");
    return file;
}

[[noreturn]] void become(const std::vector<std::string> &command, int input, int output, int errors, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(125);
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    // What a sanitizer says reaches the router's log also where a script has sent the errors elsewhere.
    for (const char *sanitizer : {"ASAN_OPTIONS", "UBSAN_OPTIONS"})
        setenv(sanitizer, "log_to_syslog=1", 1);
    std::vector<char *> arguments;
    for (const std::string &argument : command)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    fprintf(stderr, "%s: %s\n", arguments[0], strerror(errno));
    _exit(127);
}

/// Appends what is there; lets go of the pipe at its end.
void read_some(Fd &pipe, std::string &text)
{
    std::array<char, 65536> buffer;
    const ssize_t count = read(pipe.get(), buffer.data(), buffer.size());
    if (count > 0)
        text.append(buffer.data(), static_cast<size_t>(count));
    else if (count == 0 || errno != EINTR)
        pipe = Fd();
}

/// Reads both pipes and waits for the process. @return false at the deadline
bool collect(Fd &out, Fd &err, int process, RouterRun &run, Clock::time_point deadline)
{
    bool ended = false;
    while (!ended || out || err) {
        std::array<pollfd, 3> waiting{
            {{out.get(), POLLIN, 0}, {err.get(), POLLIN, 0}, {ended ? -1 : process, POLLIN, 0}}};
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return false;
        poll(waiting.data(), waiting.size(), static_cast<int>(left));
        if (waiting[0].revents != 0)
            read_some(out, run.out);
        if (waiting[1].revents != 0)
            read_some(err, run.err);
        if (waiting[2].revents != 0)
            ended = true;
    }
    return true;
}

void fail_on_sanitizers(const RouterRun &run)
{
    std::string said;
    bool failed = false;
    for (const std::string &line : run.journal_of("syslog")) {
        said += line + '\n';
        failed = failed || line.find("Sanitizer: ") != std::string::npos ||
                 line.find(" runtime error: ") != std::string::npos;
    }
    if (failed)
        ADD_FAILURE() << said;
}

std::string unescape(std::string_view line)
{
    std::string bytes;
    for (size_t i = 0; i < line.size(); i++) {
        if (line[i] != '\\' || i + 1 == line.size()) {
            bytes += line[i];
            continue;
        }
        const char escape = line[++i];
        if (escape == 'x' && i + 2 < line.size()) {
            bytes += static_cast<char>(std::stoi(std::string(line.substr(i + 1, 2)), nullptr, 16));
            i += 2;
        } else {
            bytes += escape == 'n' ? '\n' : escape == 'r' ? '\r' : escape == 't' ? '\t' : escape;
        }
    }
    return bytes;
}

} // namespace

std::vector<std::string> RouterRun::journal_of(std::string_view kind, std::string_view who) const
{
    std::vector<std::string> texts;
    for (const std::string &line : journal) {
        const size_t first = line.find('\t');
        const size_t second = line.find('\t', first + 1);
        if (second != std::string::npos && line.substr(0, first) == kind &&
            (who.empty() || line.substr(first + 1, second - first - 1) == who))
            texts.push_back(unescape(line.substr(second + 1)));
    }
    return texts;
}

std::string RouterRun::sent_to(std::string_view port) const
{
    std::string bytes;
    for (const std::string &line : lines_of(log)) {
        std::istringstream fields(line);
        std::string time, name, direction;
        fields >> time >> name >> direction;
        if (name != port || direction != ">")
            continue;
        std::string text;
        std::getline(fields.ignore(), text);
        bytes += unescape(text);
    }
    return bytes;
}

RouterRun run_program(const std::vector<std::string> &command, const std::string &input)
{
    const Fd in = input_file(input);
    Pipe out;
    Pipe err;
    const Clock::time_point start = Clock::now();
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0)
        throw std::runtime_error("fork");
    if (child == 0)
        become(command, in.get(), out.writer.get(), err.writer.get(), parent);
    out.writer = Fd();
    err.writer = Fd();

    RouterRun run;
    const Fd process(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    const bool in_time = collect(out.reader, err.reader, process.get(), run, start + longest_run());
    if (!in_time)
        kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    run.duration = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    if (in_time)
        run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    else
        run.err += "\nkilled at the deadline\n";
    return run;
}

RouterRun run_in_router(const std::vector<std::string> &options, const std::vector<std::string> &command,
                        const std::string &input)
{
    const TemporaryFolder folder;
    const std::string journal = folder.path() + "/journal";
    const std::string log = folder.path() + "/log";
    std::vector<std::string> line{built("simrouter"), "--journal", journal, "--log", log};
    if (const char *delivery = getenv("DELIVERY"); delivery != nullptr && strcmp(delivery, "bytes") == 0)
        line.insert(line.end(), {"--deliver", "1"});
    if (const char *coverage = getenv("COVERAGE"); coverage != nullptr)
        line.insert(line.end(), {"--coverage", coverage});
    // Words for every router, to run the tests with the product of another build.
    if (const char *more = getenv("ROUTER_OPTIONS"); more != nullptr) {
        std::istringstream words(more);
        for (std::string word; words >> word;)
            line.push_back(word);
    }
    line.insert(line.end(), options.begin(), options.end());
    line.emplace_back("--");
    line.insert(line.end(), command.begin(), command.end());

    RouterRun run = run_program(line, input);
    run.journal = lines_of(read_text(journal));
    run.log = read_text(log);
    fail_on_sanitizers(run);
    return run;
}

RouterRun run_shell(const std::vector<std::string> &options, const std::string &script)
{
    return run_in_router(options, {"sh", "-c", script});
}

bool has_tunnels()
{
    return access("/dev/net/tun", R_OK | W_OK) == 0;
}

RouterRun call_operation(const std::vector<std::string> &options, std::vector<std::string> words)
{
    words.insert(words.begin(), built("call_operation"));
    return run_in_router(options, words);
}

std::string ask(const std::string &port, const std::string &text)
{
    return "exec 3<>" + port + " && stty raw -echo <&3 && printf '" + text +
           "' >&3 && sed -E '/^(OK|ERROR)/q' <&3; exec 3>&-\n";
}

TemporaryFolder::TemporaryFolder()
{
    const char *parent = getenv("TMPDIR");
    path_ = std::string(parent != nullptr ? parent : "/tmp") + "/modemctl-test-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr)
        throw std::runtime_error("mkdtemp " + path_);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code gone;
    std::filesystem::remove_all(path_, gone);
}

std::string read_text(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::string built(const std::string &name)
{
    // Another processor's is found as a command of the simulated router.
    if (name == "call_operation" && getenv("ROUTER_OPTIONS") != nullptr)
        return name;
    return std::string(BUILD_ROOT) + "/" + name;
}

std::string built_word(const std::string &name)
{
    return "'" + built(name) + "'";
}
