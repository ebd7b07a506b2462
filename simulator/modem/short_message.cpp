#include "simulator/modem/short_message.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <optional>
#include <stdexcept>

namespace simulator {

namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t deliver = 0x04;    // SMS-DELIVER, no more messages wait
constexpr uint8_t has_header = 0x40; // the user data begins with a header
constexpr uint8_t class_0 = 0x10;
constexpr uint8_t ucs2 = 0x08;
constexpr uint8_t international = 0x91;
constexpr uint8_t national = 0xa1;
constexpr uint8_t unknown = 0x81;
constexpr uint8_t alphanumeric = 0xd0;
constexpr uint8_t escape = 0x1b;
constexpr uint8_t reference = 0x5a; // of the parts of a message
constexpr size_t header_octets = 6;
constexpr size_t header_septets = 7; // with the fill bit
constexpr size_t most_parts = 255;
constexpr size_t longest_name = 11;
constexpr size_t most_digits = 20;
constexpr size_t longest_pdu = 176; // octets: service centre's address, longest TPDU

constexpr std::string_view service_centre = "447700900000";
// 31 January 2026, 12:34:56, one hour before UTC
constexpr uint8_t time_stamp[] = {0x62, 0x10, 0x13, 0x21, 0x43, 0x65, 0x40};
constexpr std::string_view time_text = "26/01/31,12:34:56+04";

// GSM 7 bit default alphabet, in the order of its codes.
constexpr std::u32string_view gsm_alphabet =
    U"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞ\x1bÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§"
    U"¿abcdefghijklmnopqrstuvwxyzäöñüà";
static_assert(gsm_alphabet.size() == 128);
constexpr std::u32string_view extension_characters = U"\f^{}\\[~]|€";
constexpr uint8_t extension_codes[] = {0x0a, 0x14, 0x28, 0x29, 0x2f, 0x3c, 0x3d, 0x3e, 0x40, 0x65};

// Takes one character off UTF-8.
char32_t take_character(std::string_view &text)
{
    const auto first = static_cast<uint8_t>(text[0]);
    const size_t length = first < 0x80 ? 1 : first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    char32_t character = length == 1 ? first : first & (0xffU >> (length + 1));
    if (length > text.size() || (first >= 0x80 && first < 0xc2) || first > 0xf4)
        throw std::invalid_argument("the message is not UTF-8");
    for (size_t i = 1; i < length; i++) {
        const auto next = static_cast<uint8_t>(text[i]);
        if ((next & 0xc0) != 0x80)
            throw std::invalid_argument("the message is not UTF-8");
        character = character << 6 | (next & 0x3fU);
    }
    text.remove_prefix(length);
    return character;
}

// A character in an alphabet: one or two septets, or UCS-2 units in two or four octets. It is never parted.
std::optional<Bytes> to_gsm(char32_t character)
{
    if (const size_t code = gsm_alphabet.find(character); code != gsm_alphabet.npos && character != escape)
        return Bytes{static_cast<uint8_t>(code)};
    if (const size_t index = extension_characters.find(character); index != extension_characters.npos)
        return Bytes{escape, extension_codes[index]};
    return std::nullopt;
}

Bytes to_ucs2(char32_t character)
{
    const auto unit = [](char32_t value) {
        return Bytes{static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
    };
    if (character < 0x10000)
        return unit(character);
    Bytes pair = unit(0xd800 + ((character - 0x10000) >> 10));
    const Bytes low = unit(0xdc00 + ((character - 0x10000) & 0x3ff));
    pair.insert(pair.end(), low.begin(), low.end());
    return pair;
}

// Septets side by side, from bit first on.
Bytes pack(const Bytes &septets, size_t first = 0)
{
    Bytes octets((first + septets.size() * 7 + 7) / 8);
    for (size_t i = 0; i < septets.size() * 7; i++)
        if ((septets[i / 7] >> (i % 7) & 1) != 0)
            octets[(first + i) / 8] |= static_cast<uint8_t>(1U << ((first + i) % 8));
    return octets;
}

void append(Bytes &bytes, const Bytes &more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

// Two digits an octet, the first in its lower half.
Bytes swap_digits(std::string_view digits)
{
    Bytes octets;
    for (size_t i = 0; i < digits.size(); i += 2) {
        const int high = i + 1 < digits.size() ? digits[i + 1] - '0' : 0xf;
        octets.push_back(static_cast<uint8_t>(high << 4 | (digits[i] - '0')));
    }
    return octets;
}

bool all_digits(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return isdigit(c); });
}

// TP-Originating-Address
Bytes sender_address(const std::string &from)
{
    const bool has_plus = from.starts_with('+');
    const std::string digits = from.substr(has_plus ? 1 : 0);
    if (all_digits(digits)) {
        if (digits.size() > most_digits)
            throw std::invalid_argument("a number has at most 20 digits");
        Bytes address{static_cast<uint8_t>(digits.size()), has_plus           ? international
                                                           : digits[0] == '0' ? national
                                                                              : unknown};
        append(address, swap_digits(digits));
        return address;
    }
    Bytes septets;
    for (std::string_view rest = from; !rest.empty();) {
        const auto code = to_gsm(take_character(rest));
        if (!code)
            throw std::invalid_argument("a sender is written in the GSM alphabet");
        append(septets, *code);
    }
    if (septets.empty() || septets.size() > longest_name)
        throw std::invalid_argument("a sender is a number or a name of 1 to 11 characters");
    const Bytes octets = pack(septets);
    Bytes address{static_cast<uint8_t>((septets.size() * 7 + 3) / 4), alphanumeric};
    append(address, octets);
    return address;
}

std::string to_hex(const Bytes &bytes)
{
    std::string text;
    for (const uint8_t byte : bytes) {
        text += "0123456789ABCDEF"[byte >> 4];
        text += "0123456789ABCDEF"[byte & 0xf];
    }
    return text;
}

struct Text {
    bool is_gsm = true;
    std::vector<Bytes> characters;

    size_t size() const
    {
        size_t sum = 0;
        for (const Bytes &character : characters)
            sum += character.size();
        return sum;
    }
};

Text encode(std::string_view utf8)
{
    std::u32string characters;
    while (!utf8.empty())
        characters += take_character(utf8);
    Text text;
    text.is_gsm = std::all_of(characters.begin(), characters.end(), [](char32_t c) { return to_gsm(c).has_value(); });
    for (const char32_t character : characters)
        text.characters.push_back(text.is_gsm ? *to_gsm(character) : to_ucs2(character));
    return text;
}

// In pieces that fit a PDU; at least one.
std::vector<Bytes> part(const Text &text)
{
    const bool one = text.size() <= (text.is_gsm ? 160U : 140U);
    const size_t most = one ? 160 : text.is_gsm ? 160 - header_septets : 140 - header_octets;
    std::vector<Bytes> parts(1);
    for (const Bytes &character : text.characters) {
        if (parts.back().size() + character.size() > most)
            parts.emplace_back();
        append(parts.back(), character);
    }
    if (parts.size() > most_parts)
        throw std::invalid_argument("the message is too long");
    return parts;
}

// TP-UDL and TP-UD
Bytes user_data(const Bytes &part, bool is_gsm, const Bytes &header)
{
    const bool parted = !header.empty();
    Bytes data{static_cast<uint8_t>(part.size() + (!parted ? 0 : is_gsm ? header_septets : header_octets))};
    append(data, header);
    if (!is_gsm) {
        append(data, part);
        return data;
    }
    Bytes packed = pack(part, parted ? header_septets * 7 : 0);
    packed.erase(packed.begin(), packed.begin() + static_cast<ptrdiff_t>(header.size()));
    append(data, packed);
    return data;
}

std::string happening(size_t length, const std::string &pdu, const std::string &from, std::string_view time,
                      const std::string &text)
{
    return "message " + std::to_string(length) + " " + pdu + " \"" + from + "\" \"" + std::string(time) + "\" " + text;
}

Bytes centre_address()
{
    Bytes address{static_cast<uint8_t>(1 + service_centre.size() / 2), international};
    append(address, swap_digits(service_centre));
    return address;
}

} // namespace

std::vector<std::string> message_happenings(const ShortMessage &message)
{
    const Text text = encode(message.text);
    const std::vector<Bytes> parts = part(text);
    std::vector<std::string> happenings;
    for (size_t i = 0; i < parts.size(); i++) {
        Bytes header;
        if (parts.size() > 1)
            header = {5, 0, 3, reference, static_cast<uint8_t>(parts.size()), static_cast<uint8_t>(i + 1)};
        Bytes pdu{static_cast<uint8_t>(header.empty() ? deliver : deliver | has_header)};
        append(pdu, sender_address(message.from));
        append(pdu, {0, static_cast<uint8_t>((text.is_gsm ? 0 : ucs2) | (message.flash ? class_0 : 0))});
        append(pdu, Bytes(std::begin(time_stamp), std::end(time_stamp)));
        append(pdu, user_data(parts[i], text.is_gsm, header));
        const std::string shown = text.is_gsm ? std::string(parts[i].begin(), parts[i].end()) : to_hex(parts[i]);
        happenings.push_back(
            happening(pdu.size(), to_hex(centre_address()) + to_hex(pdu), message.from, time_text, shown));
    }
    return happenings;
}

std::string pdu_happening(std::string_view pdu)
{
    const bool is_hex = std::all_of(pdu.begin(), pdu.end(), [](unsigned char c) { return isxdigit(c); });
    if (pdu.size() < 4 || pdu.size() % 2 != 0 || pdu.size() > longest_pdu * 2 || !is_hex)
        throw std::invalid_argument("a PDU is 2 to 176 octets in hexadecimal digits");
    const size_t centre = std::stoul(std::string(pdu.substr(0, 2)), nullptr, 16);
    if (pdu.size() / 2 < centre + 2)
        throw std::invalid_argument("the PDU ends within the service centre's address");
    return happening(pdu.size() / 2 - centre - 1, std::string(pdu), "", "", "");
}

} // namespace simulator
