#include "simulator/router/option_text.h"

#include <charconv>

namespace simulator {

uint64_t parse_number(std::string_view option, std::string_view text, uint64_t most)
{
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || number > most)
        throw OptionError(std::string(option) + ": \"" + std::string(text) + "\" is not a number from 0 to " +
                          std::to_string(most));
    return number;
}

std::string take_until(char separator, std::string_view &rest)
{
    const size_t end = rest.find(separator);
    const std::string part(rest.substr(0, end));
    rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
    return part;
}

} // namespace simulator
