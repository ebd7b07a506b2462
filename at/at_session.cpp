#include "at/at_session.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

#include "at/at_command.h"
#include "at/port_queue.h"
#include "at/reply.h"
#include "platform/clock.h"

namespace {

constexpr int line_rate = 115200;
constexpr int polls = 0;

bool is_final_line(std::string_view line)
{
    return line == "OK" || line == "ERROR" || line.starts_with("+CME ERROR") || line.starts_with("+CMS ERROR") ||
           line == "COMMAND NOT SUPPORT";
}

// Waits for bytes. @return false when none came by deadline_ms
bool wait_for_input(int fd, int64_t deadline_ms)
{
    for (;;) {
        const int64_t left = deadline_ms - monotonic_ms();
        pollfd input{.fd = fd, .events = POLLIN, .revents = 0};
        const int ready = poll(&input, 1, left > 0 ? static_cast<int>(left) : 0);
        if (ready > 0)
            return true;
        if (ready == 0 || errno != EINTR)
            return false;
    }
}

} // namespace

bool has_final_line(std::string_view text)
{
    if (!text.ends_with('\n') && !text.ends_with('\r'))
        return false;
    while (text.ends_with('\n') || text.ends_with('\r'))
        text.remove_suffix(1);
    const size_t before = text.find_last_of("\r\n");
    return is_final_line(without_first(text, before == std::string_view::npos ? 0 : before + 1));
}

AtSession::Opened AtSession::open(const char *port_path)
{
    const int opened = serial_open(port_, port_path, line_rate, 0, polls, lock_port);
    if (opened == serial_held)
        return Opened::busy;
    return opened < 0 ? Opened::no_port : Opened::ready;
}

AtSession::Answer AtSession::ask(const char *command, TextOut reply, int limit_ms)
{
    reply.clear();
    serial_flush(port_);
    AtCommand line{command};
    line.append_line_end();
    if (serial_write_all(port_, line.view().size(), line.view().data()) > 0)
        return Answer::lost;
    const int64_t deadline = monotonic_ms() + limit_ms;
    const size_t room = reply.capacity() - 1;
    size_t total = 0;
    while (wait_for_input(port_.fd, deadline)) {
        // The rest that does not fit is read too, or the next question would get it as its answer.
        Text<256> chunk;
        const ssize_t got = read(port_.fd, chunk.data(), chunk.capacity() - 1);
        if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR))
            return Answer::lost;
        if (got < 0)
            continue;
        const size_t kept = drop_zero_bytes(chunk.data(), static_cast<size_t>(got));
        const size_t fits = std::min(kept, room - total);
        memcpy(reply.data() + total, chunk.data(), fits);
        total += fits;
        const bool is_whole = total < room;
        if (has_final_line(is_whole ? std::string_view{reply.data(), total} : std::string_view{chunk.data(), kept}))
            return Answer::complete;
    }
    return Answer::silent;
}
