#include "core/cli/rpcd_command.h"

#include <cstdio>
#include <cstring>
#include <poll.h>
#include <unistd.h>

#include "core/cli/rpcd_call.h"
#include "discovery/record/snapshot.h"
#include "platform/clock.h"
#include "platform/tell_person.h"

namespace {

constexpr int exit_usage = 64;

// All of standard input; what comes after the longest input, or later than rpcd writes it, is not read.
std::string_view read_input(TextOut buffer)
{
    constexpr int64_t longest_wait_ms = 5000;
    const int64_t end = monotonic_ms() + longest_wait_ms;
    size_t size = 0;
    while (size < buffer.capacity()) {
        pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
        const int64_t left = end - monotonic_ms();
        if (left <= 0 || poll(&input, 1, static_cast<int>(left)) <= 0)
            break;
        const ssize_t got = read(STDIN_FILENO, buffer.data() + size, buffer.capacity() - size);
        if (got <= 0)
            break;
        size += static_cast<size_t>(got);
    }
    return {buffer.data(), size};
}

} // namespace

bool is_rpcd_plugin(const char *program)
{
    constexpr std::string_view folder = "/rpcd/modemctl";
    return std::string_view{program}.ends_with(folder);
}

int run_rpcd(const CommandRun &run)
{
    const std::span<char *const> words = run.arguments;
    if (words.size() == 1 && strcmp(words[0], "list") == 0) {
        puts(one_line(list_rpcd_methods().get()));
        return 0;
    }
    if (words.size() != 2 || strcmp(words[0], "call") != 0) {
        tell_person("rpcd list | call METHOD");
        return exit_usage;
    }
    constexpr size_t capacity = longest_rpcd_input + 1; // one more than may come shows that more came
    const HeapText input{static_cast<char *>(calloc(1, capacity))};
    const Json answer{json_object_new_object()};
    if (input == nullptr)
        rpcd_fail(answer.get(), "failed", "there is no memory");
    else
        answer_rpcd_call(words[1], read_input({input.get(), capacity}), answer.get());
    puts(one_line(answer.get()));
    return 0;
}
