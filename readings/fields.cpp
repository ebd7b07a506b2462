#include "readings/fields.h"

namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr size_t most_digits = 18; // what always fits 64 bits

int digit_value(char character)
{
    if (is_digit(character))
        return character - '0';
    const int letter = character | 0x20;
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : 16;
}

std::optional<int64_t> digits_of(std::string_view text, int base)
{
    if (text.empty() || text.size() > most_digits)
        return std::nullopt;
    int64_t number = 0;
    for (const char character : text) {
        const int digit = digit_value(character);
        if (digit >= base)
            return std::nullopt;
        number = number * base + digit;
    }
    return number;
}

bool take_sign(std::string_view &text)
{
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    return negative;
}

} // namespace

std::string_view trim(std::string_view text)
{
    text = without_first(text, text.find_first_not_of(blanks));
    return first_characters(text, text.find_last_not_of(blanks) + 1);
}

std::string_view unquote(std::string_view text)
{
    text = trim(text);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        return trim(first_characters(without_first(text, 1), text.size() - 2));
    return text;
}

bool starts_with_word(std::string_view text, std::string_view word)
{
    if (text.size() < word.size())
        return false;
    for (size_t i = 0; i < word.size(); i++) {
        const char character = text[i];
        const bool is_small = character >= 'a' && character <= 'z';
        if ((is_small ? character - 0x20 : character) != word[i])
            return false;
    }
    return true;
}

size_t find_word(std::string_view text, std::string_view word)
{
    for (size_t i = 0; i + word.size() <= text.size(); i++)
        if (starts_with_word(without_first(text, i), word))
            return i;
    return std::string_view::npos;
}

std::optional<int64_t> decimal(std::string_view text)
{
    const bool negative = take_sign(text);
    const auto number = digits_of(text, 10);
    if (!number)
        return std::nullopt;
    return negative ? -*number : *number;
}

std::optional<int64_t> hexadecimal(std::string_view text)
{
    if (starts_with_word(text, "0X"))
        text.remove_prefix(2);
    while (text.size() > 1 && text.front() == '0')
        text.remove_prefix(1);
    return text.size() > 15 ? std::nullopt : digits_of(text, 16);
}

std::optional<int64_t> hundredths(std::string_view text)
{
    const bool negative = take_sign(text);
    const std::string_view whole = first_characters(text, text.find('.'));
    const std::string_view fraction = without_first(text, whole.size() + 1);
    const bool has_point = whole.size() < text.size();
    const auto units = digits_of(whole, 10);
    if (!units || *units > INT32_MAX ||
        (has_point && !starts_with_digits(fraction, fraction.empty() ? 1 : fraction.size())))
        return std::nullopt;
    const auto digit = [&](size_t place) { return place < fraction.size() ? fraction[place] - '0' : 0; };
    const int hundredths = digit(0) * 10 + digit(1);
    const int64_t number = *units * 100 + hundredths;
    return negative ? -number : number;
}

std::optional<int64_t> leading_hundredths(std::string_view text)
{
    constexpr std::string_view first_of_unit = " \tdMC"; // dBm, dB, MHz, C
    text = trim(text);
    const size_t end = text.find_first_not_of("+-.0123456789");
    if (end != std::string_view::npos && first_of_unit.find(text[end]) == std::string_view::npos)
        return std::nullopt;
    return hundredths(first_characters(text, end));
}

std::string_view take_until(std::string_view &rest, std::string_view ends)
{
    const std::string_view taken = first_characters(rest, rest.find_first_of(ends));
    rest = without_first(rest, taken.size() + 1);
    return taken;
}

Fields::Fields(std::string_view record)
{
    bool in_quotes = false;
    size_t start = 0;
    for (size_t i = 0; i <= record.size() && size_ < fields_.size(); i++) {
        if (i < record.size() && record[i] == '"')
            in_quotes = !in_quotes;
        if (i < record.size() && (record[i] != ',' || in_quotes))
            continue;
        fields_[size_++] = unquote(first_characters(without_first(record, start), i - start));
        start = i + 1;
    }
}

bool next_record(std::string_view &rest, std::string_view tag, std::string_view &record)
{
    const size_t position = find_word(rest, tag);
    if (position == std::string_view::npos)
        return false;
    rest.remove_prefix(position + tag.size());
    record = first_characters(rest, rest.find_first_of("\r\n"));
    record = first_characters(record, find_word(record, tag));
    rest.remove_prefix(record.size());
    record = trim(record);
    return true;
}

std::string_view record_of(std::string_view reply, std::string_view tag)
{
    std::string_view record;
    return next_record(reply, tag, record) ? record : std::string_view{};
}

bool next_line(std::string_view &rest, std::string_view &line)
{
    do {
        if (rest.empty())
            return false;
        line = trim(take_until(rest, "\r\n"));
    } while (line.empty());
    return true;
}
