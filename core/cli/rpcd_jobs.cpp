#include "core/cli/rpcd_jobs.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "apn/choices.h"
#include "core/cli/commands.h"
#include "core/model/state_dir.h"
#include "discovery/record/snapshot.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "readings/fields.h"

// The folder of the jobs is made and opened like that of a modem. A job's file has its id as name. It begins with a
// line "running BUS" or "done UPTIME", in which BUS is "-" for a job that any number may run of, and then has the
// answer of the method "job". The process of a job that runs holds a lock on it, so that one that was killed is known.

namespace {

constexpr auto &jobs = rpcd_folder;
constexpr char folder_lock[] = "lock";
constexpr size_t id_length = 32;
constexpr int most_running = 4;
constexpr int most_control = 2; // more than who may only look can take up
constexpr int most_kept = 16;
constexpr int64_t longest_kept_s = 600;
constexpr size_t longest_result = size_t{256} * 1024;
constexpr int status_refused = 4;
constexpr int status_ended = 124; // as timeout(1) reports it
constexpr int status_lost = -1;

using JobId = Text<id_length + 1>;
using Head = Text<64>;

// Nobody else may even see the ids: who knows one can ask for the result.
bool make_folder()
{
    const auto path = state_dir(jobs);
    mkdir(path.c_str(), 0700);
    if (!ensure_state_dir(jobs))
        take_folder_name(path.c_str(), 0700);
    return ensure_state_dir(jobs) && chmod(path.c_str(), 0700) == 0;
}

Json state_document(const char *state)
{
    Json document{json_object_new_object()};
    kjson_add_string(document.get(), "state", state);
    return document;
}

// In place, since the file has its room already: a job ends when /tmp is full, too.
void write_end(const char *id, int status, const char *why)
{
    const auto end = Text<200>::format("done %lld\n{\"state\":\"done\",\"status\":%d,\"output\":\"%s\"}",
                                       static_cast<long long>(monotonic_ms() / 1000), status, why);
    const Fd file = open_state(jobs, id, O_WRONLY);
    if (!file || write(file.get(), end.c_str(), end.size()) < 0 ||
        ftruncate(file.get(), static_cast<off_t>(end.size())) != 0)
        remove_state(jobs, id);
}

void write_result(const char *id, json_object *document)
{
    const char *text = one_line(document);
    const size_t length = strlen(text);
    const HeapText content{static_cast<char *>(calloc(1, length + Head::capacity()))};
    if (content != nullptr && length < longest_result) {
        const TextOut out{content.get(), length + Head::capacity()};
        out.assign_format("done %lld\n%s", static_cast<long long>(monotonic_ms() / 1000), text);
        write_state(jobs, id, out.view(), 0600);
    }
    Head head;
    read_state(jobs, id, head.capacity() - 1, head);
    if (!head.view().starts_with("done "))
        write_end(id, status_refused, "there is no room for the result");
}

// "running 1-1.2" or "done 1234"; a job that runs no more without a result gets one here.
Head read_head(const char *id)
{
    Head head;
    read_state(jobs, id, head.capacity() - 1, head);
    const Fd file = open_state(jobs, id, O_RDONLY);
    if (head.view().starts_with("running ") && file && flock(file.get(), LOCK_SH | LOCK_NB) == 0) {
        // It may have ended between the two.
        read_state(jobs, id, head.capacity() - 1, head);
        if (head.view().starts_with("running ")) {
            write_end(id, status_lost, "ended from outside");
            read_state(jobs, id, head.capacity() - 1, head);
        }
    }
    const size_t end = head.view().find('\n');
    return Head{first_characters(head.view(), end)};
}

struct Census {
    int running = 0;
    bool is_controlled = false; ///< a job changes that modem
};

bool is_old(std::string_view head, int64_t now_s)
{
    const auto ended = decimal(without_first(head, strlen("done ")));
    return !ended || *ended > now_s || now_s - *ended > longest_kept_s;
}

// Counts the jobs that run, and removes old results: those of the last ten minutes are kept, but not more than sixteen.
Census count_jobs(std::string_view bus)
{
    Census census;
    struct Result {
        JobId id;
        int64_t ended_s;
    } results[most_kept];
    int kept = 0;
    const int64_t now_s = monotonic_ms() / 1000;
    const Directory directory{opendir(state_dir(jobs).c_str())};
    while (const dirent *entry = directory ? readdir(directory.get()) : nullptr) {
        if (strlen(entry->d_name) != id_length)
            continue;
        const JobId id{std::string_view{entry->d_name}};
        const Head head = read_head(id.c_str());
        if (head.view().starts_with("running ")) {
            census.running++;
            census.is_controlled = census.is_controlled || without_first(head.view(), strlen("running ")) == bus;
            continue;
        }
        if (is_old(head.view(), now_s)) {
            remove_state(jobs, id.c_str());
            continue;
        }
        Result result{.id = id, .ended_s = *decimal(without_first(head.view(), strlen("done ")))};
        if (kept == most_kept) { // the oldest of these makes room
            for (Result &other : results)
                if (other.ended_s < result.ended_s)
                    std::swap(other, result);
            remove_state(jobs, result.id.c_str());
        } else {
            results[kept++] = result;
        }
    }
    return census;
}

bool make_id(JobId &id)
{
    std::array<uint8_t, id_length / 2> bytes;
    if (getrandom(bytes.data(), bytes.size(), GRND_NONBLOCK) != static_cast<ssize_t>(bytes.size()))
        return false;
    for (const uint8_t byte : bytes)
        id.append(Text<3>::format("%02x", byte).view());
    return true;
}

// The process's own file, which is its standard output for what it runs.
class Output {
  public:
    Output() : file_(memfd_create("output", MFD_CLOEXEC)) { dup2(file_.get(), STDOUT_FILENO); }

    HeapText text() const
    {
        fflush(stdout);
        HeapText text{static_cast<char *>(calloc(1, longest_result))};
        if (text != nullptr && pread(file_.get(), text.get(), longest_result - 1, 0) < 0)
            text.reset();
        return text;
    }

  private:
    Fd file_;
};

// A login of the APN tables is no secret.
bool is_listed_login(json_object *value)
{
    const char *why = kjson_get_string(value, "why");
    return why != nullptr && strcmp(why, set_by_user) != 0 && strcmp(why, worked_before) != 0;
}

// What a person calls secret is for the administrator's jobs only.
void remove_secrets(json_object *value)
{
    if (json_object_is_type(value, json_type_array)) {
        for (size_t i = 0; i < json_object_array_length(value); i++)
            remove_secrets(json_object_array_get_idx(value, i));
        return;
    }
    if (!json_object_is_type(value, json_type_object))
        return;
    if (const char *password = kjson_get_string(value, "password"); password != nullptr) {
        kjson_add_boolean(value, "password_set", *password != '\0');
        if (*password != '\0' && is_listed_login(value))
            kjson_add_string(value, "listed_password", password);
        kjson_del_key(value, "password");
    }
    remove_identity(value);
}

// Runs the command of the method with the call's argument in place of "?".
int run_words(const RpcdCall &call)
{
    Text<32> words{call.method.words};
    std::array<char *, 6> arguments{};
    size_t count = 0;
    for (char *rest = words.data(); (arguments[count] = strsep(&rest, " ")) != nullptr; count++) {
        if (strcmp(arguments[count], "?") != 0)
            continue;
        const RpcdArgument own = call.method.takes[1];
        arguments[count] = const_cast<char *>(call.text(own));
    }
    char keep[] = "--keep";
    if (json_object *keeps = kjson_get_object(call.arguments, "keep"); json_object_get_boolean(keeps))
        arguments[count++] = keep;
    const Command *command = find_command(arguments[0]);
    return run_command(command,
                       {.rec = ModemDriver{}, .bus = call.bus.c_str(), .arguments = {&arguments[1], count - 1}});
}

// The job itself, in a process of its own.
void work(const RpcdCall &call, const char *id)
{
    const Output output;
    const Json document = state_document("done");
    Json result{json_object_new_object()};
    const int status = call.method.work != nullptr ? call.method.work(call, result.get()) : run_words(call);
    kjson_add_int(document.get(), "status", status);
    HeapText text;
    if (call.method.work == nullptr) {
        text = output.text();
        result.reset(text == nullptr ? nullptr : json_tokener_parse(text.get()));
    }
    if (!call.method.is_admin)
        remove_secrets(result.get());
    if (result != nullptr)
        kjson_add_object(document.get(), "result", std::move(result));
    else if (text != nullptr)
        kjson_add_string(document.get(), "output", text.get());
    write_result(id, document.get());
}

// @return false if the process has not ended after so long
bool wait_for_end(pid_t child, int64_t limit_ms, int &status)
{
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGCHLD);
    const int64_t end_ms = monotonic_ms() + limit_ms;
    for (;;) {
        if (waitpid(child, &status, WNOHANG) == child)
            return true;
        const int64_t left_ms = end_ms - monotonic_ms();
        if (left_ms <= 0)
            return false;
        const timespec left = {.tv_sec = static_cast<time_t>(left_ms / 1000),
                               .tv_nsec = static_cast<long>(left_ms % 1000 * 1'000'000)};
        sigtimedwait(&ends, nullptr, &left);
    }
}

void block_child_signal(int how)
{
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGCHLD);
    sigprocmask(how, &ends, nullptr);
}

// Holds the job's file, and with it its lock, until the job has ended.
[[noreturn]] void supervise(const RpcdCall &call, const char *id)
{
    constexpr int64_t grace_ms = 3000;
    setsid();
    const int null_device = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(null_device, stream);
    signal(SIGCHLD, SIG_DFL);
    block_child_signal(SIG_BLOCK);
    const pid_t worker = fork();
    if (worker == 0) {
        setpgid(0, 0);
        block_child_signal(SIG_UNBLOCK);
        work(call, id);
        _exit(0);
    }
    setpgid(worker, worker);
    int status = 0;
    const bool is_in_time = worker < 0 || wait_for_end(worker, int64_t{call.method.limit_s} * 1000, status);
    if (!is_in_time) {
        kill(-worker, SIGTERM); // the port gets its settings back
        if (!wait_for_end(worker, grace_ms, status))
            kill(-worker, SIGKILL);
    }
    if (!is_in_time)
        write_end(id, status_ended, "ended at its time limit");
    else if (worker < 0 || !WIFEXITED(status))
        write_end(id, status_lost, "ended from outside");
    _exit(0);
}

} // namespace

Fd take_rpcd_turn()
{
    constexpr int tries = 200;
    constexpr useconds_t wait_us = 10'000;
    if (!make_folder())
        return Fd{};
    Fd lock = open_state(jobs, folder_lock, O_RDWR | O_CREAT);
    for (int i = 0; lock && flock(lock.get(), LOCK_EX | LOCK_NB) != 0; i++) {
        if (i == tries)
            return Fd{};
        usleep(wait_us);
    }
    return lock;
}

void remove_identity(json_object *report)
{
    static constexpr struct {
        const char *group;
        const char *key;
    } members[] = {{"modem", "imei"}, {"sim", "imsi"}, {"sim", "iccid"}, {"sim", "number"}};
    for (const auto &member : members)
        if (json_object *group = kjson_get_object(report, member.group); json_object_is_type(group, json_type_object))
            kjson_del_key(group, member.key);
}

void start_rpcd_job(const RpcdCall &call, json_object *answer)
{
    const Fd turn = take_rpcd_turn();
    JobId id;
    if (!turn)
        return rpcd_fail(answer, "failed", "the folder of the jobs cannot be used");
    const char *bus = call.method.is_control ? call.bus.c_str() : "-";
    const Census census = count_jobs(bus);
    if (census.running >= most_running + (call.method.is_control ? most_control : 0))
        return rpcd_fail(answer, "busy", "%d jobs run already", census.running);
    if (call.method.is_control && census.is_controlled)
        return rpcd_fail(answer, "busy", "another job changes the modem on bus %s", bus);
    const Fd file = make_id(id) ? open_state(jobs, id.c_str(), O_RDWR | O_CREAT | O_EXCL) : Fd{};
    const auto head = Head::format("running %s\n{\"state\":\"running\"}", bus);
    if (!file || flock(file.get(), LOCK_EX) != 0 ||
        write(file.get(), head.c_str(), head.size()) != static_cast<ssize_t>(head.size()))
        return rpcd_fail(answer, "failed", "there is no room for a job");
    const pid_t child = fork();
    if (child == 0) {
        close(turn.get());
        supervise(call, id.c_str());
    }
    if (child < 0) {
        remove_state(jobs, id.c_str());
        return rpcd_fail(answer, "failed", "the job cannot be started");
    }
    kjson_add_string(answer, "job", id.view());
}

void answer_job(const RpcdCall &call, json_object *answer)
{
    const char *id = call.text(RpcdArgument::job);
    HeapText text{static_cast<char *>(calloc(1, longest_result + Head::capacity()))};
    const Fd turn = take_rpcd_turn();
    read_head(id);
    if (!turn || text == nullptr ||
        read_state(jobs, id, longest_result + Head::capacity() - 1, {text.get(), longest_result + Head::capacity()}) <=
            0)
        return rpcd_fail(answer, "not-found", "there is no such job, or its result is no longer kept");
    std::string_view rest = text.get();
    take_until(rest, "\n");
    const Json document{json_tokener_parse(rest.data())};
    rpcd_add_members(answer, document.get());
}
