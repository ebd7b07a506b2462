#include "platform/text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

void TextOut::clear() const
{
    if (capacity_ > 0)
        memset(bytes_, 0, capacity_);
}

bool TextOut::assign(std::string_view text) const
{
    if (capacity_ == 0)
        return text.empty();
    const std::string_view kept = first_characters(text, capacity_ - 1);
    if (!kept.empty())
        memmove(bytes_, kept.data(), kept.size());
    memset(bytes_ + kept.size(), 0, capacity_ - kept.size());
    return kept.size() == text.size();
}

bool TextOut::append(std::string_view text) const
{
    const size_t used = view().size();
    if (used >= capacity_)
        return text.empty();
    const std::string_view kept = first_characters(text, capacity_ - used - 1);
    if (!kept.empty())
        memmove(bytes_ + used, kept.data(), kept.size());
    bytes_[used + kept.size()] = '\0';
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

bool TextOut::assign_format(const char *format, va_list arguments) const
{
    clear();
    const int length = vsnprintf(bytes_, capacity_, format, arguments);
    return length >= 0 && static_cast<size_t>(length) < capacity_;
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
