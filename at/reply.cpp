#include "at/reply.h"

#include <algorithm>

namespace {

constexpr size_t longest_value = 100;
constexpr auto not_found = std::string_view::npos;

bool is_white_space(char character)
{
    return character == ' ' || (character >= '\t' && character <= '\r');
}

// text after the first label; nothing (a null pointer) where there is no label.
std::string_view after_label(std::string_view text, std::string_view label)
{
    const std::string_view found = from_first(text, label);
    return found.data() == nullptr ? found : without_first(found, label.size());
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

std::string_view from_first(std::string_view text, std::string_view needle)
{
    const size_t position = text.find(needle);
    return position == not_found ? std::string_view{} : without_first(text, position);
}

bool reply_has_ok(std::string_view text)
{
    for (size_t i = 0; i + 2 < text.size(); i++)
        if (text[i] == 'O' && text[i + 1] == 'K' && (text[i + 2] == '\r' || text[i + 2] == '\n'))
            return true;
    return false;
}

bool str_contains(std::string_view text, std::string_view needle)
{
    return !text.empty() && text.find(needle) != not_found;
}

int int_after_label(std::string_view text, std::string_view label, int32_t &out)
{
    std::string_view rest = after_label(text, label);
    if (rest.data() == nullptr)
        return -1;
    while (!rest.empty() && is_white_space(rest.front()))
        rest.remove_prefix(1);
    if (rest.empty())
        return -2;
    const bool negative = rest.front() == '-';
    if (negative || rest.front() == '+')
        rest.remove_prefix(1);
    if (rest.empty() || !is_digit(rest.front()))
        return -1;
    int64_t number = 0;
    for (; !rest.empty() && is_digit(rest.front()); rest.remove_prefix(1))
        number = std::min<int64_t>(number * 10 + (rest.front() - '0'), int64_t{INT32_MAX} + 1);
    out = static_cast<int32_t>(negative ? -number : std::min<int64_t>(number, INT32_MAX));
    return 0;
}

int field_after_label(std::string_view text, std::string_view label, int skip, TextOut out)
{
    for (; skip > 0; skip--) {
        text = after_label(text, label);
        if (text.data() == nullptr)
            return -1;
    }
    text = after_label(text, label);
    if (text.data() == nullptr)
        return -1;
    if (text.empty())
        return -2;
    const std::string_view value = first_characters(text, std::min(text.find_first_of("\r\n\t"), longest_value));
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
