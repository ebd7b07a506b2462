#include "simulator/modem/misbehave.h"

#include <algorithm>

namespace simulator {

namespace {

constexpr size_t filler_line_length = 64;

// Index of the last line that is not empty; 0 without one.
size_t final_line(const std::vector<std::string> &lines)
{
    for (size_t i = lines.size(); i-- > 0;)
        if (lines[i] != "\r\n")
            return i;
    return 0;
}

void replace_line_ends(std::string &text)
{
    for (size_t i = text.find("\r\n"); i != std::string::npos; i = text.find("\r\n", i + 3))
        text.insert(i, 1, '\r');
}

// Puts each byte of bytes somewhere else into text, the last ones near the end.
void spread(std::string &text, const std::string &bytes)
{
    const size_t length = text.size();
    for (size_t i = bytes.size(); i-- > 0;)
        text.insert(length * (i + 1) / (bytes.size() + 1), 1, bytes[i]);
}

std::string filler(size_t count)
{
    std::string text;
    while (text.size() + filler_line_length < count)
        text += std::string(filler_line_length - 2, 'x') + "\r\n";
    const size_t left = count - text.size();
    return text + std::string(left > 2 ? left - 2 : 0, 'x') + std::string("\r\n").substr(0, left);
}

} // namespace

std::string random_bytes(size_t count, unsigned lowest, std::mt19937 &random)
{
    std::string bytes;
    while (bytes.size() < count)
        bytes += static_cast<char>(lowest + random() % (0x100 - lowest));
    return bytes;
}

Misbehaviour::Misbehaviour(const std::vector<Fault> &faults, std::string_view command)
{
    for (const Fault &fault : faults)
        if (fault.command.text().empty() || fault.command.match(command))
            faults_.push_back(&fault);
}

const Fault *Misbehaviour::find(FaultKind kind) const
{
    const auto found =
        std::find_if(faults_.begin(), faults_.end(), [&](const Fault *fault) { return fault->kind == kind; });
    return found == faults_.end() ? nullptr : *found;
}

std::string Misbehaviour::apply(std::vector<std::string> lines, std::mt19937 &random) const
{
    if (lines.empty())
        return {};
    const bool cut = find(FaultKind::no_final) != nullptr || find(FaultKind::endless) != nullptr;
    const size_t last = final_line(lines);
    if (cut)
        lines.resize(last > 0 && lines[last - 1] == "\r\n" ? last - 1 : last);
    if (const Fault *fault = find(FaultKind::extra))
        lines.insert(lines.begin() + static_cast<ptrdiff_t>(cut ? lines.size() : last),
                     filler(static_cast<size_t>(fault->number)));
    std::string text;
    for (const std::string &line : lines)
        text += line;
    if (find(FaultKind::cr_cr_lf) != nullptr)
        replace_line_ends(text);
    if (const Fault *fault = find(FaultKind::garbage_inside))
        text.insert(text.size() / 2, random_bytes(static_cast<size_t>(fault->number), 0, random));
    if (const Fault *fault = find(FaultKind::eight_bit))
        spread(text, random_bytes(static_cast<size_t>(fault->number), 0x80, random));
    if (const Fault *fault = find(FaultKind::zero))
        spread(text, std::string(static_cast<size_t>(fault->number), '\0'));
    if (const Fault *fault = find(FaultKind::garbage_before))
        text.insert(0, random_bytes(static_cast<size_t>(fault->number), 0, random));
    if (const Fault *fault = find(FaultKind::garbage_after))
        text += random_bytes(static_cast<size_t>(fault->number), 0, random);
    if (find(FaultKind::gone_during) != nullptr)
        text.resize(text.size() / 2);
    return text;
}

} // namespace simulator
