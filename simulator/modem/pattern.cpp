#include "simulator/modem/pattern.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <stdexcept>

namespace simulator {

namespace {

bool same_character(char a, char b)
{
    return tolower(static_cast<unsigned char>(a)) == tolower(static_cast<unsigned char>(b));
}

bool same_text(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same_character);
}

std::optional<long> whole_number(std::string_view text)
{
    long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.starts_with('-') || error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

bool fits_choice(std::string_view choice, std::string_view text)
{
    if (same_text(choice, text))
        return true;
    const size_t dash = choice.find('-');
    if (dash == std::string_view::npos)
        return false;
    const auto first = whole_number(choice.substr(0, dash));
    const auto last = whole_number(choice.substr(dash + 1));
    const auto number = whole_number(text);
    return first && last && number && *first <= *number && *number <= *last;
}

} // namespace

std::vector<std::string> split(std::string_view text, char separator)
{
    std::vector<std::string> pieces;
    for (;;) {
        const size_t end = text.find(separator);
        pieces.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return pieces;
        text.remove_prefix(end + 1);
    }
}

bool is_variable_name(std::string_view text)
{
    return !text.empty() && islower(static_cast<unsigned char>(text[0])) &&
           std::all_of(text.begin(), text.end(), [](unsigned char c) { return isalnum(c) || c == '_'; });
}

Pattern::Pattern(std::string_view text) : text_(text)
{
    std::string literal;
    while (!text.empty()) {
        if (text[0] != '<') {
            literal += text[0];
            text.remove_prefix(1);
            continue;
        }
        const size_t end = text.find('>');
        if (end == std::string_view::npos)
            throw std::invalid_argument("'<' without '>'");
        Part part;
        part.quoted = !literal.empty() && literal.back() == '"';
        std::string_view place = text.substr(1, end - 1);
        if (const size_t colon = place.find(':'); colon != std::string_view::npos) {
            part.choices = split(place.substr(colon + 1), '|');
            place = place.substr(0, colon);
        } else if (place.ends_with('*')) {
            part.rest = true;
            place.remove_suffix(1);
        }
        if (!is_variable_name(place))
            throw std::invalid_argument("bad name in '" + std::string(text.substr(0, end + 1)) + "'");
        part.name = place;
        text.remove_prefix(end + 1);
        if (part.rest && !text.empty())
            throw std::invalid_argument("text after '<" + part.name + "*>', which takes all the rest");
        if (!literal.empty())
            parts_.push_back({.literal = std::move(literal)});
        literal.clear();
        parts_.push_back(std::move(part));
    }
    if (!literal.empty())
        parts_.push_back({.literal = std::move(literal)});
}

bool Pattern::takes(const Part &part, std::string_view text)
{
    if (part.rest)
        return true;
    if (!part.choices.empty())
        return std::any_of(part.choices.begin(), part.choices.end(),
                           [&](const std::string &choice) { return fits_choice(choice, text); });
    if (part.quoted)
        return text.find('"') == std::string_view::npos;
    return !text.empty() && text.find_first_of(",\"") == std::string_view::npos;
}

bool Pattern::match_from(size_t part, std::string_view command, Values &taken) const
{
    if (part == parts_.size())
        return command.empty();
    const Part &wanted = parts_[part];
    if (wanted.name.empty()) {
        const size_t length = wanted.literal.size();
        return command.size() >= length && same_text(command.substr(0, length), wanted.literal) &&
               match_from(part + 1, command.substr(length), taken);
    }
    // A place ends where the next literal starts, so only a few lengths are really tried.
    const char next = part + 1 < parts_.size() && parts_[part + 1].name.empty() ? parts_[part + 1].literal[0] : '\0';
    for (size_t length = command.size() + 1; length-- > 0;) {
        if (next != '\0' && (length == command.size() || !same_character(command[length], next)))
            continue;
        if (!takes(wanted, command.substr(0, length)) || !match_from(part + 1, command.substr(length), taken))
            continue;
        taken[wanted.name] = command.substr(0, length);
        return true;
    }
    return false;
}

std::optional<Values> Pattern::match(std::string_view command) const
{
    Values taken;
    if (!match_from(0, command, taken))
        return std::nullopt;
    return taken;
}

std::vector<std::string> Pattern::names() const
{
    std::vector<std::string> names;
    for (const Part &part : parts_)
        if (!part.name.empty())
            names.push_back(part.name);
    return names;
}

} // namespace simulator
