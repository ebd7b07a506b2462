#include "sms/ucs2.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "sms/message.h"

// Written out here, because the C libraries do not agree on the byte order of what they call "UCS2", and because the
// one of small routers brings 140 kB of other alphabets' tables into a program that is linked statically.

namespace {

constexpr int bytes_per_character = 3; // for both sides of the conversion, whatever the text needs

// Takes a unit of two bytes, the high one first, off the front.
std::optional<uint32_t> take_unit(std::span<const char> &body)
{
    if (body.size() < 2)
        return std::nullopt;
    const auto high = static_cast<uint8_t>(body[0]);
    const auto low = static_cast<uint8_t>(body[1]);
    body = body.last(body.size() - 2);
    return uint32_t{high} << 8 | low;
}

bool is_surrogate(uint32_t unit)
{
    return unit >= 0xd800 && unit < 0xe000;
}

// Nothing at the end and for a surrogate that has no partner behind it.
std::optional<uint32_t> take_character(std::span<const char> &body)
{
    constexpr uint32_t first_low_surrogate = 0xdc00;
    const auto unit = take_unit(body);
    if (!unit || !is_surrogate(*unit))
        return unit;
    const auto second = take_unit(body);
    if (*unit >= first_low_surrogate || !second || !is_surrogate(*second) || *second < first_low_surrogate)
        return std::nullopt;
    return 0x10000 + ((*unit & 0x3ff) << 10 | (*second & 0x3ff));
}

Text<5> encode_utf8(uint32_t character)
{
    Text<5> encoded;
    char *out = encoded.data();
    const auto continuation = [&](int shift) { return static_cast<char>(0x80 | (character >> shift & 0x3f)); };
    if (character < 0x80) {
        *out = static_cast<char>(character);
    } else if (character < 0x800) {
        *out++ = static_cast<char>(0xc0 | character >> 6);
        *out = continuation(0);
    } else if (character < 0x10000) {
        *out++ = static_cast<char>(0xe0 | character >> 12);
        *out++ = continuation(6);
        *out = continuation(0);
    } else {
        *out++ = static_cast<char>(0xf0 | character >> 18);
        *out++ = continuation(12);
        *out++ = continuation(6);
        *out = continuation(0);
    }
    return encoded;
}

} // namespace

Text<2048> convert_ucs2(std::span<const char> body, int characters)
{
    Text<2048> text;
    const auto wanted = static_cast<size_t>(std::max<int64_t>(int64_t{characters} * bytes_per_character, 0));
    const size_t limit = std::min(wanted, text.capacity() - 1);
    body = body.first(std::min(wanted, body.size()));
    size_t size = 0;
    for (auto character = take_character(body); character.value_or(0) != 0; character = take_character(body)) {
        const auto encoded = encode_utf8(*character);
        size += encoded.size();
        if (size > limit)
            break;
        text.append(encoded.view());
    }
    return text;
}
