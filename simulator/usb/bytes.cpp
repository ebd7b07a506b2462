#include "simulator/usb/bytes.h"

#include <arpa/inet.h>
#include <cstdlib>

namespace simulator {

std::string little_endian(uint32_t number, size_t bytes)
{
    std::string text;
    for (; bytes > 0; bytes--, number >>= 8)
        text += static_cast<char>(number);
    return text;
}

uint32_t little_endian_at(std::string_view message, size_t at, size_t bytes)
{
    uint32_t number = 0;
    for (size_t i = bytes; i > 0; i--)
        number = number << 8 | static_cast<uint8_t>(message[at + i - 1]);
    return number;
}

std::string bytes_of_hex(std::string_view digits)
{
    std::string bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(strtol(std::string(digits.substr(i, 2)).c_str(), nullptr, 16));
    return bytes;
}

std::string address_bytes(const std::string &text)
{
    const int family = text.find(':') == std::string::npos ? AF_INET : AF_INET6;
    std::string bytes(family == AF_INET ? 4 : 16, '\0');
    inet_pton(family, text.c_str(), bytes.data());
    return bytes;
}

} // namespace simulator
