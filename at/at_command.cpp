#include "at/at_command.h"

#include <algorithm>
#include <cstdarg>
#include <unistd.h>

#include "at/port_queue.h"
#include "at/reply.h"
#include "at/serial_port.h"

namespace {

constexpr int line_rate = 115200;
constexpr int port_timeout_ms = 100;
constexpr int read_timeout_ms = 500;
constexpr useconds_t chunk_wait_us = 10'000;
constexpr int line_end_waits = 5; // each of chunk_wait_us
constexpr int poll_ms = 1;        // reads what is there
constexpr int default_capacity = 4096;

// A read of only zero bytes returns at once. This many of them, with the pause after each, take as long as one time-out
// and count as one. So a modem that sends zero bytes for ever counts as silent.
constexpr int zero_reads_per_empty_read = 50;

struct SilenceBudget {
    std::string_view command_start;
    int empty_reads;
};
constexpr SilenceBudget silence_budgets[] = {
    {"AT+COPS=?", 30000}, // an operator scan takes minutes
    {"AT+CFUN=1,1", 300}, // the modem restarts
    {"", 30},
};

// True if text contains the reply's end. The part before new_from has been searched already.
bool has_end(std::string_view text, size_t new_from)
{
    constexpr size_t overlap = sizeof "ERROR" - 2;
    const std::string_view unsearched = without_first(text, new_from > overlap ? new_from - overlap : 0);
    return str_contains(unsearched, "OK") || str_contains(unsearched, "ERROR");
}

// True if the line with the reply's end has no line end yet. Modems end it with CR LF.
bool lacks_line_end(std::string_view text)
{
    const size_t before = text.rfind('\n');
    return has_end(without_first(text, before == std::string_view::npos ? 0 : before + 1), 0);
}

// Fills reply up to capacity. @return bytes held
size_t collect(SerialPort &port, char *reply, size_t capacity, int budget)
{
    size_t total = 0;
    int zero_reads = 0;
    for (int empty_reads = 0; empty_reads < budget;) {
        const int got = serial_read_timeout(port, capacity - total, reply + total, read_timeout_ms);
        if (got <= 0) {
            empty_reads++;
            continue;
        }
        const size_t kept = drop_zero_bytes(reply + total, static_cast<size_t>(got));
        if (kept == 0 && ++zero_reads % zero_reads_per_empty_read == 0)
            empty_reads++;
        total += kept;
        if (total == capacity || has_end({reply, total}, total - kept))
            break;
        usleep(chunk_wait_us);
    }
    // The result must not depend on where a packet ends: some answers are read only up to a line end.
    for (int wait = 0; wait < line_end_waits && total < capacity && lacks_line_end({reply, total}); wait++) {
        usleep(chunk_wait_us);
        const int got = serial_read_timeout(port, capacity - total, reply + total, poll_ms);
        if (got > 0)
            total += drop_zero_bytes(reply + total, static_cast<size_t>(got));
    }
    std::fill(reply + total, reply + capacity, '\0');
    return total;
}

} // namespace

int silence_budget(std::string_view command)
{
    for (const SilenceBudget &row : silence_budgets)
        if (command.starts_with(row.command_start))
            return row.empty_reads;
    return 0;
}

AtCommand::AtCommand(std::string_view text, size_t longest)
{
    text_.assign(first_characters(text, std::min(longest, max_length)));
}

AtCommand AtCommand::format(const char *format, ...)
{
    Text<max_length + 1> text;
    va_list arguments;
    va_start(arguments, format);
    text.out().assign_format(format, arguments);
    va_end(arguments);
    return AtCommand{text.view()};
}

int at_command(const char *port_path, std::string_view command, TextOut reply, int capacity)
{
    const size_t wanted = static_cast<size_t>(capacity > 0 ? capacity : default_capacity);
    const size_t room = std::min(wanted, reply.capacity());
    reply.clear();
    AtCommand line{command};
    line.append_line_end();

    SerialPort port;
    if (const int opened = serial_open(port, port_path, line_rate, 0, port_timeout_ms, lock_port); opened < 0)
        return opened == serial_held ? -2 : -1;
    serial_flush(port);
    serial_write_all(port, line.view().size(), line.view().data());
    const size_t total = collect(port, reply.data(), room, silence_budget(command));
    reply.data()[room - 1] = '\0';
    return total > 0 ? 0 : -1;
}

int at_command(const char *port_path, std::string_view command, TextOut reply)
{
    return at_command(port_path, command, reply, static_cast<int>(reply.capacity()));
}
