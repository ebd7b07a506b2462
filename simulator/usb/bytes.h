#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Numbers, digits and addresses as they stand in USB's messages.

namespace simulator {

/// The lowest byte first.
std::string little_endian(uint32_t number, size_t bytes);
/// The number of that many bytes, 4 at most, at that place; message must be long enough.
uint32_t little_endian_at(std::string_view message, size_t at, size_t bytes);
/// Two hexadecimal digits are a byte; a last single digit is left out.
std::string bytes_of_hex(std::string_view digits);
/// An IPv4 or IPv6 address in the network's order; zeroes for anything else.
std::string address_bytes(const std::string &text);

} // namespace simulator
