#pragma once

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

// How a profile's lines are split, and the limits of their content.

namespace simulator {

inline constexpr int64_t longest_time_ms = 24 * 3600 * 1000;
inline constexpr int highest_interface = 31;

/// Removes the first word and the space after it from text.
inline std::string_view take_word(std::string_view &text)
{
    const size_t end = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return word;
}

inline std::string_view without_trailing_blanks(std::string_view text)
{
    while (text.ends_with(' '))
        text.remove_suffix(1);
    return text;
}

/// The number that text is, all of it.
template <typename Number> std::optional<Number> to_number(std::string_view text, int base = 10)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc{} || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

} // namespace simulator
