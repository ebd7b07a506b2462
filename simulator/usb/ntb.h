#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace simulator {

/// Several frames or packets in one transfer: the 16 bit transfer blocks (NTB) of the Network Control Model, which MBIM
/// uses too.
enum class NtbContent : uint8_t {
    ethernet, ///< NCM
    packets   ///< MBIM, the stream of session 0
};

inline constexpr uint32_t most_ntb_bytes = 16384; ///< both ways

std::string ntb_of(std::span<const std::string_view> datagrams, NtbContent content, uint16_t sequence);

/// The datagrams of that content, parts of ntb. What is wrong ends the reading; what came before it counts.
std::vector<std::string_view> datagrams_of(std::string_view ntb, NtbContent content);

/// The answer to GET_NTB_PARAMETERS.
std::string ntb_parameters();

} // namespace simulator
