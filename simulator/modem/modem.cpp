#include "simulator/modem/modem.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "simulator/modem/misbehave.h"
#include "simulator/modem/reply_text.h"
#include "simulator/router/command_line.h"

namespace simulator {

namespace {

constexpr size_t longest_line = 4096;
constexpr size_t most_waiting = 64;
constexpr Milliseconds endless_interval_ms = 10;
constexpr char end_of_text = 0x1a; // Ctrl-Z
constexpr char no_text = 0x1b;     // ESC
constexpr Milliseconds again_ms = 1000;

void set_initial(Profile &profile, const std::string &name, const std::string &value)
{
    for (Variable &variable : profile.variables) {
        if (variable.name != name)
            continue;
        const auto &allowed = variable.allowed;
        if (!allowed.empty() && std::find(allowed.begin(), allowed.end(), value) == allowed.end())
            throw std::invalid_argument("variable '" + name + "' of " + profile.name + " cannot be '" + value + "'");
        variable.initial = value;
        return;
    }
    throw std::invalid_argument(profile.name + " has no variable '" + name + "'");
}

Detach absence_of(const Fault &fault)
{
    return {.in_ms = 0, .away_ms = fault.number == 0 ? -1 : fault.number, .renumbered = false};
}

} // namespace

Modem::Modem(Profile profile, ModemOptions options, Milliseconds now)
    : profile_(std::move(profile)), options_(std::move(options)), random_(options_.seed),
      row_uses_(profile_.rows.size())
{
    for (const auto &[name, value] : options_.variables)
        set_initial(profile_, name, value);
    for (const Variable &variable : profile_.variables)
        variables_[variable.name] = variable.initial;
    for (const Happening &happening : options_.happenings) {
        if (profile_.at_interface() < 0 || find_row("!" + happening.text).row == nullptr)
            throw std::invalid_argument(profile_.name + " has no row for !" + happening.text);
        schedule(now + happening.after, {.kind = Task::Kind::happening, .bytes = "!" + happening.text});
    }
    faults_ = profile_.faults;
    faults_.insert(faults_.end(), options_.faults.begin(), options_.faults.end());
    start(now, false);
}

// Switched on: unasked lines begin, and what is not stored has its initial value.
void Modem::start(Milliseconds now, bool again)
{
    channels_.clear();
    for (const Interface &interface : profile_.interfaces)
        channels_[interface.number] = {};
    for (const Variable &variable : profile_.variables)
        if (!variable.stored)
            variables_[variable.name] = variable.initial;
    for (size_t i = 0; i < profile_.unsolicited.size(); i++)
        if (again || profile_.unsolicited[i].when != UnsolicitedLine::When::boot)
            schedule_unsolicited(i, now);
}

bool Modem::takes_no_bytes() const
{
    return std::ranges::any_of(faults_, [](const Fault &fault) { return fault.kind == FaultKind::stuck; });
}

void Modem::schedule(Milliseconds at, Task task)
{
    tasks_.emplace(at, std::move(task));
}

void Modem::schedule_unsolicited(size_t index, Milliseconds now)
{
    const UnsolicitedLine &line = profile_.unsolicited[index];
    Milliseconds wait = line.at_ms;
    if (line.when == UnsolicitedLine::When::random)
        wait += random_() % (line.until_ms - line.at_ms + 1);
    schedule(now + wait, {.kind = Task::Kind::unsolicited, .index = index});
}

void Modem::advance(Milliseconds now)
{
    while (!tasks_.empty() && tasks_.begin()->first <= now) {
        const Milliseconds at = tasks_.begin()->first;
        Task task = std::move(tasks_.begin()->second);
        tasks_.erase(tasks_.begin());
        run(task, at);
    }
}

void Modem::run(Task &task, Milliseconds at)
{
    switch (task.kind) {
    case Task::Kind::deliver:
        happened_.push_back(
            {.kind = Event::Kind::bytes, .at = at, .interface = task.interface, .bytes = std::move(task.bytes)});
        break;
    case Task::Kind::send:
        send(task.interface, task.bytes, at);
        break;
    case Task::Kind::next_command:
        next_command(task, at);
        break;
    case Task::Kind::unsolicited: {
        const UnsolicitedLine &line = profile_.unsolicited[task.index];
        send_unsolicited(line.interface, line.text, at);
        if (line.when == UnsolicitedLine::When::every || line.when == UnsolicitedLine::When::random)
            schedule_unsolicited(task.index, at);
        break;
    }
    case Task::Kind::endless:
        go_on_endlessly(task, at);
        break;
    case Task::Kind::detach:
        leave(task.absence, at);
        break;
    case Task::Kind::attach:
        attached_ = true;
        happened_.push_back({.kind = Event::Kind::back, .at = at, .renumbered = task.absence.renumbered});
        start(at, true);
        break;
    case Task::Kind::happening:
        happen(task, at);
        break;
    case Task::Kind::call:
        happened_.push_back({.kind = task.call, .at = at, .interface = task.interface, .context = task.context});
        break;
    }
}

// An event that the modem refuses (full memory) is retried a second later.
void Modem::happen(const Task &task, Milliseconds at)
{
    Answer answer;
    if (attached_)
        compose_one(profile_.at_interface(), task.bytes, at, answer);
    for (const LaterLine &line : answer.after)
        schedule(at + line.at_ms, {.kind = Task::Kind::send, .interface = line.interface, .bytes = line.bytes});
    if (!succeeded(answer.lines))
        schedule(at + again_ms, {.kind = Task::Kind::happening, .bytes = task.bytes});
}

std::string Modem::ask(const std::string &command, Milliseconds now)
{
    advance(now);
    if (!attached_ || find_row(command).row == nullptr)
        return {};
    Answer answer;
    compose_one(profile_.at_interface(), command, now, answer);
    for (const LaterLine &line : answer.after)
        schedule(now + line.at_ms, {.kind = Task::Kind::send, .interface = line.interface, .bytes = line.bytes});
    if (answer.detach)
        schedule(now + answer.detach->in_ms, {.kind = Task::Kind::detach, .absence = *answer.detach});
    std::string reply;
    for (const std::string &line : answer.lines)
        reply += line;
    return reply;
}

void Modem::next_command(const Task &task, Milliseconds at)
{
    Channel &channel = channels_[task.interface];
    if (channel.answer != task.answer)
        return;
    channel.answering = false;
    answer_next(task.interface, at);
}

void Modem::leave(const Detach &absence, Milliseconds at)
{
    attached_ = false;
    std::erase_if(tasks_, [](const auto &task) { return task.second.kind != Task::Kind::happening; });
    happened_.push_back({.kind = Event::Kind::gone, .at = at});
    if (absence.away_ms < 0)
        return;
    Task attach{.kind = Task::Kind::attach, .absence = absence};
    attach.absence.renumbered |= options_.renumber;
    schedule(at + absence.away_ms, std::move(attach));
}

std::vector<Event> Modem::take_due(Milliseconds now)
{
    advance(now);
    return std::exchange(happened_, {});
}

std::optional<Milliseconds> Modem::next_due() const
{
    if (!happened_.empty())
        return happened_.front().at;
    if (tasks_.empty())
        return std::nullopt;
    return tasks_.begin()->first;
}

std::string Modem::variable(std::string_view name) const
{
    const auto found = variables_.find(name);
    return found == variables_.end() ? std::string() : found->second;
}

void Modem::set_variable(const std::string &name, const std::string &value)
{
    variables_[name] = value;
}

void Modem::receive(int interface, std::string_view bytes, Milliseconds now)
{
    advance(now);
    const Interface *known = profile_.interface(interface);
    if (known == nullptr || known->role != Interface::Role::at)
        return;
    for (const char byte : bytes) {
        if (!attached_)
            return;
        Channel &channel = channels_[interface];
        if (channel.call == Call::dialling || channel.call == Call::online)
            continue; // what comes before the other side of the call has its bytes
        if (channel.prompt)
            take_prompted(interface, byte, now);
        else if (byte == '\r')
            take_line(interface, now);
        else if (byte == '\n')
            continue; // hosts end lines CR LF; the modem needs only the CR
        else if (channel.line.size() < longest_line)
            channel.line += byte;
        else
            channel.too_long = true;
    }
}

void Modem::take_prompted(int interface, char byte, Milliseconds now)
{
    Channel &channel = channels_[interface];
    if (byte != end_of_text && byte != no_text) {
        if (channel.prompt->text.size() < longest_line)
            channel.prompt->text += byte;
        return;
    }
    Prompt prompt = *std::exchange(channel.prompt, std::nullopt);
    const std::string echo = variable("echo") == "1" ? prompt.text : "";
    Answer answer;
    if (byte == no_text) {
        answer.lines = {"\r\n", "OK\r\n"};
    } else {
        const Row &row = profile_.rows[prompt.row];
        prompt.taken[row.prompt] = prompt.text;
        work_row(interface, row, {variables_, std::move(prompt.taken)}, answer);
    }
    give(interface, echo, std::move(answer), Misbehaviour(faults_, prompt.command), now);
}

void Modem::take_line(int interface, Milliseconds now)
{
    Channel &channel = channels_[interface];
    PendingLine line{std::move(channel.line), channel.too_long};
    channel.line.clear();
    channel.too_long = false;
    if (channel.waiting.size() < most_waiting)
        channel.waiting.push_back(std::move(line));
    if (channel.endless) {
        channel.endless = false;
        channel.answering = false;
    }
    answer_next(interface, now);
}

void Modem::answer_next(int interface, Milliseconds now)
{
    Channel &channel = channels_[interface];
    while (attached_ && !channel.answering && !channel.prompt && !channel.waiting.empty()) {
        const PendingLine line = std::move(channel.waiting.front());
        channel.waiting.pop_front();
        answer(interface, line, now);
    }
}

void Modem::answer(int interface, const PendingLine &line, Milliseconds now)
{
    const std::string command = line.too_long ? "" : find_command(line.text);
    const Misbehaviour misbehaviour(faults_, command);
    if (const Fault *fault = misbehaviour.find(FaultKind::gone_before)) {
        leave(absence_of(*fault), now);
        return;
    }
    std::string echo;
    if ((variable("echo") == "1" && !misbehaviour.find(FaultKind::echo_off)) || misbehaviour.find(FaultKind::echo_on))
        echo = line.text + "\r";
    Answer answer;
    if (line.too_long)
        answer.lines = {"\r\n", plain_error};
    else if (!command.empty())
        answer = compose(interface, command, now);
    if (answer.prompt)
        answer.prompt->command = command;
    give(interface, echo, std::move(answer), misbehaviour, now);
}

void Modem::give(int interface, const std::string &echo, Answer answer, const Misbehaviour &misbehaviour,
                 Milliseconds now)
{
    if (misbehaviour.find(FaultKind::silence))
        return;
    if (answer.call)
        check_call(interface, answer);
    channels_[interface].prompt = std::move(answer.prompt);
    std::string reply = misbehaviour.apply(std::move(answer.lines), random_);
    const Fault *late = misbehaviour.find(FaultKind::late);
    const Milliseconds wait = answer.delay_ms + (late ? late->number : 0);
    Milliseconds end = 0;
    if (answer.call && answer.call->kind == CallOrder::Kind::dial)
        return start_call(interface, *answer.call, std::move(reply), send(interface, echo + answer.before, now) + wait);
    if (wait == 0) {
        end = send(interface, echo + answer.before + reply, now);
    } else {
        send(interface, echo + answer.before, now);
        // The pieces of a slow reply take their time from when it begins.
        schedule(now + wait, {.kind = Task::Kind::send, .interface = interface, .bytes = reply});
        end = now + wait + sending_time(reply.size());
    }
    finish_answer(interface, answer, misbehaviour, end);
}

// The events after the reply, which ends at end.
void Modem::finish_answer(int interface, const Answer &answer, const Misbehaviour &misbehaviour, Milliseconds end)
{
    Channel &channel = channels_[interface];
    channel.answering = true;
    channel.answer++;
    if (answer.data)
        schedule_data(*answer.data, end);
    for (const LaterLine &line : answer.after)
        schedule(end + line.at_ms, {.kind = Task::Kind::send, .interface = line.interface, .bytes = line.bytes});
    if (answer.detach) {
        schedule(end + answer.detach->in_ms, {.kind = Task::Kind::detach, .absence = *answer.detach});
    }
    for (const FaultKind kind : {FaultKind::gone_during, FaultKind::gone_after})
        if (const Fault *fault = misbehaviour.find(kind))
            schedule(end, {.kind = Task::Kind::detach, .absence = absence_of(*fault)});
    if (answer.call)
        finish_call(interface, *answer.call, end);
    if (answer.call && answer.call->kind == CallOrder::Kind::resume)
        return; // the interface answers again when the call ends
    if (const Fault *fault = misbehaviour.find(FaultKind::endless)) {
        channel.endless = true;
        schedule(
            end,
            {.kind = Task::Kind::endless, .interface = interface, .number = fault->number, .answer = channel.answer});
    } else {
        schedule(end, {.kind = Task::Kind::next_command, .interface = interface, .answer = channel.answer});
    }
}

void Modem::go_on_endlessly(const Task &task, Milliseconds at)
{
    const Channel &channel = channels_[task.interface];
    if (!channel.endless || channel.answer != task.answer)
        return;
    std::string filler(static_cast<size_t>(task.number), 'x');
    const Milliseconds end = send(task.interface, filler + "\r\n", at);
    Task next = task;
    schedule(std::max(end, at + endless_interval_ms), std::move(next));
}

void Modem::send_unsolicited(int interface, std::string_view line, Milliseconds now)
{
    const int target = interface < 0 ? profile_.at_interface() : interface;
    const Interface *known = profile_.interface(target);
    if (known == nullptr || !attached_)
        return;
    send(target, frame_unsolicited(line, expand(line, {variables_, {}}), known->role == Interface::Role::at), now);
}

Milliseconds Modem::sending_time(size_t bytes) const
{
    const size_t piece = options_.delivery.piece_bytes;
    if (piece == 0 || bytes == 0)
        return 0;
    return static_cast<Milliseconds>((bytes - 1) / piece) * options_.delivery.interval_ms;
}

// Behind what the interface is still sending. Returns when the last byte goes out.
Milliseconds Modem::send(int interface, std::string_view bytes, Milliseconds at)
{
    Channel &channel = channels_[interface];
    const size_t piece = options_.delivery.piece_bytes == 0 ? bytes.size() : options_.delivery.piece_bytes;
    Milliseconds last = std::max(at, channel.free_at);
    while (!bytes.empty()) {
        last = std::max(at, channel.free_at);
        const size_t length = std::min(piece, bytes.size());
        schedule(last,
                 {.kind = Task::Kind::deliver, .interface = interface, .bytes = std::string(bytes.substr(0, length))});
        channel.free_at = last + options_.delivery.interval_ms;
        bytes.remove_prefix(length);
    }
    return last;
}

} // namespace simulator
