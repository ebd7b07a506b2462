#include <algorithm>

#include "simulator/modem/modem.h"
#include "simulator/modem/reply_text.h"
#include "simulator/router/command_line.h"

namespace simulator {

namespace {

// A line of several commands ends with one final result.
void drop_final(std::vector<std::string> &lines)
{
    lines.pop_back();
    if (!lines.empty() && lines.back() == "\r\n")
        lines.pop_back();
}

} // namespace

Modem::Answer Modem::compose(int interface, const std::string &line, Milliseconds now)
{
    Answer whole;
    for (const std::string &command : split_commands(line)) {
        std::vector<std::string> parts{command};
        if (find_row(command).row == nullptr)
            if (auto basic = split_basic(command); !basic.empty())
                parts = std::move(basic);
        for (const std::string &part : parts) {
            if (!whole.lines.empty()) {
                if (!succeeded(whole.lines))
                    return whole;
                drop_final(whole.lines);
            }
            compose_one(interface, part, now, whole);
            if (whole.prompt)
                return whole;
        }
    }
    return whole;
}

Modem::Match Modem::find_row(const std::string &command) const
{
    for (const Row &row : profile_.rows)
        if (auto taken = row.command.match(command)) {
            Scope scope{variables_, std::move(*taken)};
            if (hold(row.conditions, scope))
                return {&row, std::move(scope.taken)};
        }
    return {};
}

void Modem::compose_one(int interface, const std::string &command, Milliseconds now, Answer &answer)
{
    Match match = find_row(command);
    if (match.row == nullptr) {
        unknown_.push_back({now, interface, command});
        answer.lines.insert(answer.lines.end(), {"\r\n", plain_error});
        return;
    }
    const Row &row = *match.row;
    const auto index = static_cast<size_t>(&row - profile_.rows.data());
    row_uses_[index]++;
    if (!row.prompt.empty()) {
        answer.lines.insert(answer.lines.end(), {"\r\n", "> "});
        answer.prompt = Prompt{.row = index, .taken = std::move(match.taken)};
        return;
    }
    work_row(interface, row, {variables_, std::move(match.taken)}, answer);
}

void Modem::work_row(int interface, const Row &row, const Scope &scope, Answer &answer)
{
    std::vector<std::string> lines = take_steps(row.steps, variables_, scope);
    for (auto urc = row.unsolicited.rbegin(); urc != row.unsolicited.rend(); ++urc) {
        if (!hold(urc->conditions, scope))
            continue;
        const int target = urc->interface < 0 ? interface : urc->interface;
        const bool at_port = profile_.interface(target)->role == Interface::Role::at;
        const std::string bytes = frame_unsolicited(urc->text, expand(urc->text, scope), at_port);
        if (urc->when == UnsolicitedLine::When::before)
            answer.before.insert(0, bytes);
        else if (urc->when == UnsolicitedLine::When::inside)
            lines.insert(lines.begin() + std::min<ptrdiff_t>(urc->position, std::ssize(lines)), bytes);
        else
            answer.after.push_back({target, urc->at_ms, bytes});
    }
    answer.lines.insert(answer.lines.end(), lines.begin(), lines.end());
    answer.delay_ms += row.delay_ms;
    if (row.detach)
        answer.detach = row.detach;
    if (row.call)
        answer.call = CallOrder{row.call->kind, expand(row.call->context, scope)};
    if (row.data)
        answer.data = DataOrder{row.data->opens, expand(row.data->context, scope)};
}

} // namespace simulator
