#include "sms/ucs2.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "platform/utf8.h"

// Written out here for two reasons: C libraries differ in the byte order of "UCS2", and musl's iconv adds 140 kB of
// tables to a static program.

namespace {

constexpr int bytes_per_character = 3; // for both sides of the conversion, whatever the text needs

struct Body {
    std::span<const char> bytes;
    bool has_zeros_behind; // the converter reads on after the text
    bool is_little_endian = false;
};

// Takes a unit of two bytes off the front.
std::optional<uint32_t> take_unit(Body &body)
{
    const size_t size = body.bytes.size();
    if (size == 0 || (size == 1 && !body.has_zeros_behind))
        return std::nullopt;
    const auto first = static_cast<uint8_t>(body.bytes[0]);
    const auto second = size == 1 ? uint8_t{0} : static_cast<uint8_t>(body.bytes[1]);
    body.bytes = body.bytes.last(size == 1 ? 0 : size - 2);
    return body.is_little_endian ? uint32_t{second} << 8 | first : uint32_t{first} << 8 | second;
}

// Takes a byte order mark off the front; without one the high byte comes first.
void take_byte_order_mark(Body &body)
{
    constexpr uint32_t mark = 0xfeff;
    constexpr uint32_t swapped_mark = 0xfffe;
    Body rest = body;
    const uint32_t first = take_unit(rest).value_or(0);
    rest.is_little_endian = first == swapped_mark;
    if (first == mark || rest.is_little_endian)
        body = rest;
}

bool is_surrogate(uint32_t unit)
{
    return unit >= 0xd800 && unit < 0xe000;
}

// Nothing at the end, and for a surrogate without a partner after it.
std::optional<uint32_t> take_character(Body &body)
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

} // namespace

Text<2048> convert_ucs2(std::span<const char> bytes, int characters)
{
    Text<2048> text;
    const auto wanted = static_cast<size_t>(std::max<int64_t>(int64_t{characters} * bytes_per_character, 0));
    const size_t limit = std::min(wanted, text.capacity() - 1);
    Body body = {.bytes = bytes.first(std::min(wanted, bytes.size())), .has_zeros_behind = wanted > bytes.size()};
    take_byte_order_mark(body);
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
