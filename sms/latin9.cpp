#include "sms/latin9.h"

#include "platform/utf8.h"

namespace {

struct Difference {
    uint8_t byte;
    uint16_t character;
};

// Where ISO 8859-15 differs from ISO 8859-1, whose bytes are Unicode's first 256 characters.
constexpr Difference differences[] = {
    {0xa4, 0x20ac},                                                 // euro
    {0xa6, 0x0160}, {0xa8, 0x0161}, {0xb4, 0x017d}, {0xb8, 0x017e}, // S, s, Z, z with caron
    {0xbc, 0x0152}, {0xbd, 0x0153}, {0xbe, 0x0178},                 // OE, oe, Y with diaeresis
};

uint32_t character_of(uint8_t byte)
{
    for (const Difference &difference : differences)
        if (difference.byte == byte)
            return difference.character;
    return byte;
}

} // namespace

void convert_latin9(std::string_view text, TextOut out)
{
    size_t size = 0;
    for (const char byte : text) {
        const auto encoded = encode_utf8(character_of(static_cast<uint8_t>(byte)));
        if (size + encoded.size() >= out.capacity())
            break;
        memcpy(out.data() + size, encoded.c_str(), encoded.size());
        size += encoded.size();
    }
    memset(out.data() + size, 0, out.capacity() - size);
}
