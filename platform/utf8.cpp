#include "platform/utf8.h"

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
