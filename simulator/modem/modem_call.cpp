#include <utility>

#include "simulator/modem/modem.h"

namespace simulator {

namespace {

constexpr std::string_view no_carrier = "\r\nNO CARRIER\r\n";
constexpr std::string_view success = "\r\nOK\r\n";

} // namespace

void Modem::schedule_call(Event::Kind kind, int interface, Milliseconds at, const std::string &context)
{
    schedule(at, {.kind = Task::Kind::call, .interface = interface, .call = kind, .context = context});
}

void Modem::schedule_data(const DataOrder &order, Milliseconds at)
{
    schedule_call(order.opens ? Event::Kind::open_data : Event::Kind::close_data, -1, at, order.context);
}

// What cannot be done in the call's state changes the reply and is not done.
void Modem::check_call(int interface, Answer &answer)
{
    const Call call = channels_[interface].call;
    switch (answer.call->kind) {
    case CallOrder::Kind::dial:
        if (call == Call::none)
            return;
        answer.lines = {"\r\n", "ERROR\r\n"};
        break;
    case CallOrder::Kind::resume:
        if (call == Call::held)
            return;
        answer.lines = {std::string(no_carrier)};
        break;
    case CallOrder::Kind::end:
        if (call == Call::held)
            return;
        break;
    }
    answer.call.reset();
}

// Commands wait until the call is over: its interface counts as still answering.
void Modem::start_call(int interface, const CallOrder &order, std::string reply, Milliseconds at)
{
    Channel &channel = channels_[interface];
    channel.answering = true;
    channel.answer++;
    channel.call = Call::dialling;
    channel.connected = std::move(reply);
    schedule_call(Event::Kind::dial, interface, at, order.context);
}

void Modem::finish_call(int interface, const CallOrder &order, Milliseconds end)
{
    Channel &channel = channels_[interface];
    const bool resumes = order.kind == CallOrder::Kind::resume;
    channel.call = resumes ? Call::online : Call::none;
    schedule_call(resumes ? Event::Kind::online : Event::Kind::hang_up, interface, end);
}

void Modem::answer_dial(int interface, bool accepted, Milliseconds now)
{
    advance(now);
    Channel &channel = channels_[interface];
    if (!attached_ || channel.call != Call::dialling)
        return;
    if (!accepted)
        return end_call(interface, now);
    channel.call = Call::online;
    schedule_call(Event::Kind::online, interface, send(interface, std::exchange(channel.connected, {}), now));
}

void Modem::end_call(int interface, Milliseconds now)
{
    leave_call(interface, Call::none, no_carrier, now);
}

void Modem::escape(int interface, Milliseconds now)
{
    if (channels_[interface].call != Call::online)
        return;
    schedule_call(Event::Kind::hold, interface, now);
    leave_call(interface, Call::held, success, now);
}

void Modem::drop_dtr(int interface, Milliseconds now)
{
    const std::string what = variable("dtr");
    if (what == "1")
        return escape(interface, now);
    if (what != "2" || channels_[interface].call == Call::none)
        return;
    schedule_call(Event::Kind::hang_up, interface, now);
    end_call(interface, now);
}

void Modem::leave_call(int interface, Call next, std::string_view result, Milliseconds now)
{
    advance(now);
    Channel &channel = channels_[interface];
    const Call before = std::exchange(channel.call, next);
    if (!attached_ || before == Call::none)
        return;
    channel.connected.clear();
    send(interface, result, now);
    if (before != Call::held)
        channel.answering = false;
    answer_next(interface, now);
}

} // namespace simulator
