#include "readings/crsm.h"

#include "platform/utf8.h"
#include "readings/fields.h"

namespace {

constexpr uint8_t filler = 0xff;

// 3GPP TS 23.038, 6.2.1. The escape (1B) does not occur in names.
constexpr char16_t sms_alphabet[] = u"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞ ÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?"
                                    u"¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà";
static_assert(sizeof sms_alphabet == 129 * sizeof(char16_t));

// also_zeros: some cards fill a name with zeros, which would be read as "@".
std::span<const uint8_t> without_filler(std::span<const uint8_t> bytes, bool also_zeros)
{
    while (!bytes.empty() && (bytes.back() == filler || (also_zeros && bytes.back() == 0)))
        bytes = bytes.first(bytes.size() - 1);
    return bytes;
}

// Bytes under 80 are of the SMS alphabet; the others are offsets from base, a half page of Unicode.
void append_characters(TextOut out, std::span<const uint8_t> bytes, uint32_t base)
{
    for (const uint8_t byte : bytes)
        if (byte != filler)
            out.append(encode_utf8(byte < 0x80 ? sms_alphabet[byte] : base + (byte & 0x7fU)).view());
}

void append_ucs2(TextOut out, std::span<const uint8_t> bytes)
{
    for (; bytes.size() >= 2; bytes = bytes.subspan(2))
        if (const uint32_t unit = static_cast<uint32_t>(bytes[0]) << 8 | bytes[1]; unit != 0xffff)
            out.append(encode_utf8(unit).view());
}

// 3GPP TS 31.101, annex A: the first byte of a name in UCS-2 says which of three forms it has.
void append_name(TextOut out, std::span<const uint8_t> name)
{
    if (name.empty())
        return;
    const uint8_t form = name[0];
    if (form == 0x80)
        append_ucs2(out, name.subspan(1));
    else if (form == 0x81 && name.size() > 3)
        append_characters(out, name.subspan(3), static_cast<uint32_t>(name[2]) << 7);
    else if (form == 0x82 && name.size() > 4)
        append_characters(out, name.subspan(4), static_cast<uint32_t>(name[2]) << 8 | name[3]);
    else if (form < 0x80)
        append_characters(out, name, 0);
}

bool is_all(std::span<const uint8_t> bytes, uint8_t value)
{
    for (const uint8_t byte : bytes)
        if (byte != value)
            return false;
    return true;
}

// The value of the data object with that tag in a list of them; empty without it.
std::span<const uint8_t> find_tag(std::span<const uint8_t> list, uint8_t tag)
{
    while (list.size() >= 2 && list.size() - 2 >= list[1]) {
        const auto value = list.subspan(2, list[1]);
        if (list[0] == tag)
            return value;
        list = list.subspan(2 + value.size());
    }
    return {};
}

} // namespace

Text<32> compose_card_command(CardCommand command, uint16_t file, uint8_t length)
{
    return Text<32>::format("AT+CRSM=%d,%d,0,0,%d", static_cast<int>(command), file, length);
}

bool CardReply::is_good() const
{
    return sw1 == 0x90 || sw1 == 0x91 || sw1 == 0x9f || sw1 == 0x61;
}

// +CRSM: 144,0,"0047696666676166662020FFFFFFFFFFFF"   (Quectel)
// +CRSM: 144,0,00000002                               (Telit, Sierra)
// +CRSM: 106,130                                      (no such file)
std::optional<CardReply> parse_card_reply(std::string_view reply)
{
    const Fields fields{record_of(reply, "+CRSM:")};
    const auto sw1 = decimal(fields[0]);
    const auto sw2 = decimal(fields[1]);
    constexpr int64_t largest = UINT8_MAX;
    if (!sw1 || !sw2 || *sw1 < 0 || *sw1 > largest || *sw2 < 0 || *sw2 > largest || fields[2].size() % 2 != 0)
        return std::nullopt;
    CardReply parsed{.sw1 = static_cast<uint8_t>(*sw1), .sw2 = static_cast<uint8_t>(*sw2)};
    for (std::string_view digits = fields[2]; !digits.empty() && parsed.size < parsed.bytes.size();
         digits.remove_prefix(2)) {
        const auto byte =
            is_made_of(first_characters(digits, 2), {}) ? hexadecimal(first_characters(digits, 2)) : std::nullopt;
        if (!byte)
            return std::nullopt;
        parsed.bytes[parsed.size++] = static_cast<uint8_t>(*byte);
    }
    return parsed;
}

uint8_t parse_right_length(const CardReply &reply)
{
    return reply.sw1 == 0x6c ? reply.sw2 : 0;
}

// 62178202412183022FE28A01058B032F06048002000A8801     (USIM: 80 02 000A)
// 0000000A2FE204000FF55501020000                       (SIM: 000A)
uint8_t parse_file_size(const CardReply &reply)
{
    const auto data = reply.data();
    if (!reply.is_good() || data.size() < 4)
        return 0;
    const auto size = data[0] == 0x62 ? find_tag(data.subspan(2), 0x80) : data.subspan(2, 2);
    return size.size() == 2 && size[0] == 0 ? size[1] : 0;
}

Text<50> parse_provider_name(std::span<const uint8_t> file)
{
    Text<50> name;
    if (file.size() > 1)
        append_name(name, without_filler(file.subspan(1), true));
    return Text<50>{trim(name.view())};
}

Text<41> parse_group_id(std::span<const uint8_t> file)
{
    Text<41> digits;
    if (is_all(file, 0))
        return digits;
    for (const uint8_t byte : without_filler(file, false))
        digits.append(Text<3>::format("%02X", byte).view());
    return digits;
}

int parse_mnc_length(std::span<const uint8_t> file)
{
    const int length = file.size() > 3 ? file[3] & 0x0f : 0;
    return length == 2 || length == 3 ? length : 0;
}

// 984303003021436587F9: two digits a byte, the first in its low half, filled with F.
Text<21> parse_card_number(std::span<const uint8_t> file)
{
    constexpr size_t shortest = 18;
    Text<21> number;
    for (const uint8_t byte : file)
        for (const int digit : {byte & 0x0f, byte >> 4})
            if (digit != 0x0f)
                number.append(Text<2>::format("%x", static_cast<unsigned>(digit)).view());
    return starts_with_digits(number.view(), shortest) && starts_with_digits(number.view(), number.size()) ? number
                                                                                                           : Text<21>{};
}
