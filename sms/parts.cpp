#include "sms/parts.h"

#include <cstdint>

namespace {

// Characters of the GSM alphabet that are not ASCII, and before them those that need an escape.
constexpr char16_t letters[] = u"\f^{}\\[~]|€£¥èéùìòÇØøÅåΔΦΓΛΩΠΨΣΘΞÆæßÉ¤¡ÄÖÑÜ§¿äöñüà";
constexpr int escaped = 10;
constexpr int foreign = 1 << 16; ///< units of a character that is not in it: more than a message has

int gsm_units(uint32_t character)
{
    for (int i = 0; letters[i] != 0; i++)
        if (letters[i] == character)
            return i < escaped ? 2 : 1;
    const bool is_plain =
        (character >= ' ' && character < 0x7f && character != '`') || character == '\n' || character == '\r';
    return is_plain ? 1 : foreign;
}

// Units that are filled into parts.
struct Parts {
    int alone;
    int each;
    int total = 0;
    int count = 1;
    int used = 0;

    void add(int units)
    {
        total += units;
        used += units;
        if (used > each) {
            count++;
            used = units;
        }
    }
};

} // namespace

int count_sms_parts(std::string_view text)
{
    Parts gsm{.alone = 160, .each = 153};
    Parts ucs2{.alone = 70, .each = 67};
    uint32_t character = 0;
    for (size_t i = 0; i < text.size(); i++) {
        const auto byte = static_cast<uint8_t>(text[i]);
        const bool is_first = (byte & 0xc0) != 0x80;
        character = is_first ? byte & (byte < 0x80 ? 0x7f : byte < 0xe0 ? 0x1f : 0x0f) : character << 6 | (byte & 0x3f);
        const bool is_last = i + 1 == text.size() || (text[i + 1] & 0xc0) != 0x80;
        if (is_last) {
            gsm.add(gsm_units(character));
            ucs2.add(character > 0xffff ? 2 : 1);
        }
    }
    const Parts &counted = gsm.total < foreign ? gsm : ucs2;
    return counted.total <= counted.alone ? 1 : counted.count;
}
