#include "at/reply.h"

#include <algorithm>

namespace {

constexpr size_t longest_value = 100;
constexpr auto not_found = std::string_view::npos;

// text without the white space at its start.
std::string_view without_white_space(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || (text.front() >= '\t' && text.front() <= '\r')))
        text.remove_prefix(1);
    return text;
}

std::string_view trim_blanks(std::string_view value)
{
    while (value.size() > 1 && value.back() == ' ')
        value.remove_suffix(1);
    while (value.size() > 1 && value.front() == ' ')
        value.remove_prefix(1);
    return value;
}

} // namespace

std::optional<std::string_view> from_first(std::string_view text, std::string_view needle)
{
    const size_t position = find_text(text, needle);
    if (position == not_found)
        return std::nullopt;
    return without_first(text, position);
}

std::optional<std::string_view> after_first(std::string_view text, std::string_view label)
{
    auto found = from_first(text, label);
    if (found)
        found->remove_prefix(label.size());
    return found;
}

bool consume(std::string_view &text, std::string_view label)
{
    if (!text.starts_with(label))
        return false;
    text.remove_prefix(label.size());
    return true;
}

std::optional<int32_t> leading_int(std::string_view text)
{
    text = without_white_space(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    if (text.empty() || !is_digit(text.front()))
        return std::nullopt;
    int64_t number = 0;
    for (; !text.empty() && is_digit(text.front()); text.remove_prefix(1))
        number = std::min<int64_t>(number * 10 + (text.front() - '0'), int64_t{INT32_MAX} + 1);
    return static_cast<int32_t>(negative ? -number : std::min<int64_t>(number, INT32_MAX));
}

bool reply_has_ok(std::string_view text)
{
    for (size_t i = 0; i + 2 < text.size(); i++)
        if (text[i] == 'O' && text[i + 1] == 'K' && (text[i + 2] == '\r' || text[i + 2] == '\n'))
            return true;
    return false;
}

int int_after_label(std::string_view text, std::string_view label, int32_t &out)
{
    const auto found = after_first(text, label);
    if (!found)
        return -1;
    const std::string_view rest = without_white_space(*found);
    if (rest.empty())
        return -2;
    const auto number = leading_int(rest);
    if (!number)
        return -1;
    out = *number;
    return 0;
}

int field_after_label(std::string_view text, std::string_view label, int skip, TextOut out)
{
    auto rest = after_first(text, label);
    for (; rest && skip > 0; skip--)
        rest = after_first(*rest, label);
    if (!rest)
        return -1;
    if (rest->empty())
        return -2;
    const std::string_view value = first_characters(*rest, std::min(rest->find_first_of("\r\n\t"), longest_value));
    if (value.empty())
        return -1;
    out.assign(trim_blanks(value));
    return 0;
}

int csv_field(std::string_view line, int index, TextOut out)
{
    if (line.data() == nullptr)
        return -1;
    size_t start = !line.empty() && line.front() == '"' ? 1 : 0;
    int field = 0;
    size_t i = 0;
    const auto copy_field = [&] {
        std::string_view value = without_first(first_characters(line, i), start);
        if (!value.empty() && value.back() == '"')
            value.remove_suffix(1);
        out.assign(value);
        return 0;
    };
    for (; i < line.size() && line[i] != '\0' && line[i] != '\r'; i++) {
        if (line[i] == '\n')
            return -1;
        if (line[i] != ',')
            continue;
        if (field == index)
            return copy_field();
        field++;
        start = i + 1;
        if (start < line.size() && line[start] == '"')
            start++;
    }
    const bool ended_by_return = i < line.size() && line[i] == '\r';
    if (!ended_by_return || field != index || start == 0)
        return -1;
    return copy_field();
}

int fibocom_field(std::string_view text, int index, TextOut out)
{
    for (; index > 0; index--) {
        const size_t comma = text.find(',');
        if (comma == std::string_view::npos)
            return -1;
        text.remove_prefix(comma + 1);
    }
    const std::string_view field = first_characters(text, text.find_first_of(",\r"));
    if (field.empty())
        return -1;
    out.assign(field);
    return 0;
}
