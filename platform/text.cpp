#include "platform/text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

bool TextOut::assign(char *bytes, size_t capacity, std::string_view text)
{
    if (capacity == 0)
        return text.empty();
    const std::string_view kept = first_characters(text, capacity - 1);
    if (!kept.empty())
        memmove(bytes, kept.data(), kept.size());
    memset(bytes + kept.size(), 0, capacity - kept.size());
    return kept.size() == text.size();
}

bool TextOut::append(char *bytes, size_t capacity, std::string_view text)
{
    const size_t used = TextOut{bytes, capacity}.view().size();
    if (used >= capacity)
        return text.empty();
    const std::string_view kept = first_characters(text, capacity - used - 1);
    if (!kept.empty())
        memmove(bytes + used, kept.data(), kept.size());
    bytes[used + kept.size()] = '\0';
    return kept.size() == text.size();
}

bool TextOut::assign_format(const char *format, ...) const
{
    va_list arguments;
    va_start(arguments, format);
    const bool whole = assign_format(format, arguments);
    va_end(arguments);
    return whole;
}

bool TextOut::assign_format(char *bytes, size_t capacity, const char *format, va_list arguments)
{
    TextOut{bytes, capacity}.clear();
    const int length = vsnprintf(bytes, capacity, format, arguments);
    return length >= 0 && static_cast<size_t>(length) < capacity;
}

bool is_text(const char *bytes, size_t capacity, std::string_view text)
{
    return std::string_view{bytes, strnlen(bytes, capacity)} == text;
}

size_t find_text(std::string_view text, std::string_view needle)
{
    return text.find(needle);
}

bool str_contains(std::string_view text, std::string_view needle)
{
    return !text.empty() && find_text(text, needle) != std::string_view::npos;
}

size_t drop_zero_bytes(char *bytes, size_t count)
{
    size_t kept = 0;
    for (size_t i = 0; i < count; i++)
        if (bytes[i] != '\0')
            bytes[kept++] = bytes[i];
    return kept;
}

bool is_made_of(std::string_view text, std::string_view others)
{
    for (const char character : text) {
        const bool is_letter = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
        if (!is_letter && !is_digit(character) && others.find(character) == std::string_view::npos)
            return false;
    }
    return true;
}

bool starts_with_digits(std::string_view text, size_t count)
{
    if (text.size() < count)
        return false;
    for (size_t i = 0; i < count; i++)
        if (!is_digit(text[i]))
            return false;
    return true;
}

int32_t text_to_int(const char *text)
{
    return static_cast<int32_t>(std::clamp<long long>(strtoll(text, nullptr, 10), INT32_MIN, INT32_MAX));
}
