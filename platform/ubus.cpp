#include "platform/ubus.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <libubus.h>
extern "C" {
#include <libubox/blobmsg_json.h>
}

#include "platform/shell.h"

// The exchange with ubusd runs in a child process, because this code may run in another program's process, beside other
// threads. Connecting to ubus replaces the process's signal handlers and leaves descriptors open. Connecting and
// looking up wait for ever if ubusd does not answer. A child can do none of that to its parent, and the kernel ends it
// when its time is over. It costs one fork, about a millisecond, like any shell command.

namespace {

constexpr int timed_out = UBUS_STATUS_TIMEOUT;
constexpr int no_connection = -1;

/// Memory that the calling process and its child share. It replaces a pipe, whose descriptor a fork in another thread
/// could keep open. The child writes, and has ended before the caller reads. Untouched pages take no memory.
struct Exchange {
    UbusStep step;           ///< the current step
    int code;                ///< its result
    char reply[1024 * 1024]; ///< the reply's JSON text, empty without a reply; ubusd's messages are no larger
};

struct Call {
    const char *object;
    const char *method;
    int timeout_ms;
    const char *socket;
};

struct ExchangeUnmap {
    void operator()(Exchange *exchange) const { munmap(exchange, sizeof(Exchange)); }
};
using SharedExchange = std::unique_ptr<Exchange, ExchangeUnmap>;

SharedExchange share_exchange()
{
    void *memory = mmap(nullptr, sizeof(Exchange), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return SharedExchange{memory == MAP_FAILED ? nullptr : static_cast<Exchange *>(memory)};
}

HeapText text_of_message(blob_attr *message)
{
    return HeapText{message && blob_len(message) > 0 ? blobmsg_format_json(message, true) : nullptr};
}

Json parse_object(const char *text)
{
    Json value{json_tokener_parse(text)};
    return json_object_is_type(value.get(), json_type_object) ? std::move(value) : nullptr;
}

void keep_reply(ubus_request *request, int, blob_attr *message)
{
    auto *exchange = static_cast<Exchange *>(request->priv);
    const HeapText text = text_of_message(message);
    if (text && strlen(text.get()) < sizeof(exchange->reply))
        memcpy(exchange->reply, text.get(), strlen(text.get()) + 1);
}

/// @return the status of the step in exchange.step. Nothing is released, because the process ends.
int run_steps(Exchange &exchange, const Call &call)
{
    ubus_context *context = ubus_connect(call.socket);
    if (!context)
        return no_connection;
    exchange.step = UbusStep::lookup;
    uint32_t id = 0;
    if (const int status = ubus_lookup_id(context, call.object, &id); status != 0)
        return status;
    exchange.step = UbusStep::invoke;
    blob_buf arguments{};
    if (blob_buf_init(&arguments, 0) != 0)
        return UBUS_STATUS_NO_MEMORY;
    return ubus_invoke(context, id, call.method, arguments.head, keep_reply, &exchange, call.timeout_ms);
}

/// Runs the steps and ends the process. If a step does not return, the timer's signal ends it.
[[noreturn]] void run_child(Exchange &exchange, const Call &call)
{
    signal(SIGALRM, SIG_DFL);
    const itimerval limit{
        .it_interval = {},
        .it_value = {.tv_sec = call.timeout_ms / 1000, .tv_usec = suseconds_t{call.timeout_ms % 1000} * 1000}};
    setitimer(ITIMER_REAL, &limit, nullptr);
    sigset_t all_but_the_timer;
    sigfillset(&all_but_the_timer);
    sigdelset(&all_but_the_timer, SIGALRM);
    sigprocmask(SIG_SETMASK, &all_but_the_timer, nullptr);

    const int status = run_steps(exchange, call);
    exchange.code = status;
    if (status == 0)
        exchange.step = UbusStep::done;
    _exit(0);
}

/// The child starts with every signal blocked, so that none runs a handler of the host process in it.
pid_t fork_without_signals()
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    const pid_t child = fork();
    if (child != 0)
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return child;
}

} // namespace

void receive_call_result_data(ubus_request *request, int, blob_attr *message)
{
    const HeapText text = text_of_message(message);
    if (text)
        *static_cast<Json *>(request->priv) = parse_object(text.get());
}

UbusResult ubus_call(const char *object, const char *method, int timeout_ms, const char *socket)
{
    if (timeout_ms <= 0)
        return {UbusStep::connect, timed_out, nullptr};
    const SharedExchange exchange = share_exchange();
    if (!exchange)
        return {UbusStep::connect, no_connection, nullptr};
    exchange->step = UbusStep::connect;
    exchange->code = timed_out; // stays so if the timer ends the child

    const pid_t child = fork_without_signals();
    if (child < 0)
        return {UbusStep::connect, no_connection, nullptr};
    if (child == 0)
        run_child(*exchange, {object, method, timeout_ms, socket});
    // This fails if the host process ignores SIGCHLD or collects its children itself, but only after the child has
    // ended.
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR)
        continue;
    return {exchange->step, exchange->code, exchange->reply[0] ? parse_object(exchange->reply) : nullptr};
}
