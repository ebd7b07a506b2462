#include "simulator/modem/reply_text.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <stdexcept>

namespace simulator {

namespace {

constexpr std::string_view name_characters = "abcdefghijklmnopqrstuvwxyz0123456789_";

bool starts_name(char character)
{
    return islower(static_cast<unsigned char>(character));
}

// Takes the name at the front of text off it.
std::string_view take_name(std::string_view &text)
{
    const size_t length = std::min(text.find_first_not_of(name_characters), text.size());
    const std::string_view name = text.substr(0, length);
    text.remove_prefix(length);
    return name;
}

// The text between the braces after a '$'; "name:default" in two parts.
struct Braces {
    std::string_view name;
    std::string_view otherwise;
};

// Takes the braces, which may hold further ones, off text.
Braces take_braces(std::string_view &text)
{
    size_t end = 0;
    size_t colon = std::string_view::npos;
    for (int depth = 0; end < text.size(); end++) {
        depth += text[end] == '{' ? 1 : text[end] == '}' ? -1 : 0;
        if (depth == 0)
            break;
        if (depth == 1 && text[end] == ':' && colon == std::string_view::npos)
            colon = end;
    }
    if (end == text.size())
        throw std::invalid_argument("'${' without '}'");
    const size_t name_end = std::min(colon, end);
    const Braces braces{text.substr(1, name_end - 1),
                        text.substr(std::min(name_end + 1, end), end - std::min(name_end + 1, end))};
    text.remove_prefix(end + 1);
    return braces;
}

std::string value_of(const Braces &braces, const Scope &scope)
{
    const std::string value = scope.value(expand(braces.name, scope));
    return value.empty() ? expand(braces.otherwise, scope) : value;
}

// Removes the escape after a backslash from text and returns its bytes.
std::string take_escape(std::string_view &text)
{
    const char mark = text.empty() ? '\0' : text[0];
    if (mark == 'x') {
        if (text.size() < 3 || !isxdigit(static_cast<unsigned char>(text[1])) ||
            !isxdigit(static_cast<unsigned char>(text[2])))
            throw std::invalid_argument("\\x needs two hexadecimal digits");
        const char byte = static_cast<char>(std::stoi(std::string(text.substr(1, 2)), nullptr, 16));
        text.remove_prefix(3);
        return {byte};
    }
    constexpr std::string_view letters = "rnt0";
    constexpr std::string_view bytes{"\r\n\t\0", 4};
    if (const size_t index = letters.find(mark); mark != '\0' && index != std::string_view::npos) {
        text.remove_prefix(1);
        return {bytes[index]};
    }
    if (mark != 'c' && !ispunct(static_cast<unsigned char>(mark)))
        throw std::invalid_argument(mark == '\0' ? "'\\' at the end of a line"
                                                 : std::string("unknown escape '\\") + mark + "'");
    text.remove_prefix(1);
    return mark == 'c' ? std::string() : std::string{mark};
}

long to_number(const std::string &text)
{
    return std::strtol(text.c_str(), nullptr, 10);
}

std::string print_line(const Step &line, const std::string &text, const Scope &scope)
{
    if (line.cme_error < 0)
        return line.text.ends_with("\\c") ? text : text + "\r\n";
    const std::string mode = scope.value("cmee");
    if (mode == "1")
        return "+CME ERROR: " + std::to_string(line.cme_error) + "\r\n";
    return mode == "2" ? "+CME ERROR: " + text + "\r\n" : "ERROR\r\n";
}

void take_step(const Step &step, Values &variables, const Scope &scope, std::vector<std::string> &out)
{
    if (!hold(step.conditions, scope))
        return;
    const std::string text = expand(step.text, scope);
    if (step.variable.empty()) {
        out.push_back(print_line(step, text, scope));
        return;
    }
    std::string &variable = variables[expand(step.variable, scope)];
    variable = step.add ? std::to_string(to_number(variable) + to_number(text)) : text;
}

} // namespace

std::string Scope::value(std::string_view name) const
{
    if (const auto found = taken.find(name); found != taken.end())
        return found->second;
    const auto found = variables.find(name);
    return found == variables.end() ? std::string() : found->second;
}

std::string expand(std::string_view text, const Scope &scope)
{
    std::string out;
    while (!text.empty()) {
        const char character = text[0];
        text.remove_prefix(1);
        if (character == '\\')
            out += take_escape(text);
        else if (character == '$' && text.starts_with('{'))
            out += value_of(take_braces(text), scope);
        else if (character == '$' && !text.empty() && starts_name(text[0]))
            out += scope.value(take_name(text));
        else
            out += character;
    }
    return out;
}

std::vector<std::string> names_in(std::string_view text)
{
    std::vector<std::string> names;
    while (!text.empty()) {
        const char character = text[0];
        text.remove_prefix(1);
        if (character == '\\') {
            take_escape(text);
        } else if (character == '$' && text.starts_with('{')) {
            const Braces braces = take_braces(text);
            // A name that is put together cannot be looked up beforehand; its parts can.
            if (braces.name.find('$') == std::string_view::npos)
                names.emplace_back(braces.name);
            for (const std::string_view part : {braces.name, braces.otherwise})
                for (const std::string &name : names_in(part))
                    names.push_back(name);
        } else if (character == '$' && !text.empty() && starts_name(text[0])) {
            names.emplace_back(take_name(text));
        }
    }
    return names;
}

bool holds(const Condition &condition, const Scope &scope)
{
    const std::string value = scope.value(expand(condition.name, scope));
    const bool fits = condition.values.empty()
                          ? !value.empty()
                          : std::any_of(condition.values.begin(), condition.values.end(),
                                        [&](const std::string &wanted) { return value == expand(wanted, scope); });
    return fits != condition.negated;
}

bool hold(const std::vector<Condition> &conditions, const Scope &scope)
{
    return std::all_of(conditions.begin(), conditions.end(),
                       [&](const Condition &condition) { return holds(condition, scope); });
}

std::vector<std::string> take_steps(const std::vector<Step> &steps, Values &variables, const Scope &scope)
{
    std::vector<std::string> out;
    for (const Step &step : steps) {
        if (step.each.empty()) {
            take_step(step, variables, scope, out);
            continue;
        }
        Scope inner = scope;
        const long last = std::min<long>(to_number(expand(step.last, scope)), highest_each);
        for (long number = step.first; number <= last; number++) {
            inner.taken[step.each] = std::to_string(number);
            take_step(step, variables, inner, out);
        }
    }
    return out;
}

bool succeeded(const std::vector<std::string> &lines)
{
    return !lines.empty() && lines.back() == "OK\r\n";
}

std::string frame_unsolicited(std::string_view written, const std::string &text, bool at_port)
{
    if (written.ends_with("\\c"))
        return text;
    return (at_port ? "\r\n" : "") + text + "\r\n";
}

} // namespace simulator
