#pragma once

#include <cstdint>
#include <string>

namespace simulator {

/// The name servers that an interface reaches: the network's own ones, and all others.
struct NameServers {
    enum class Way { none, answer, failure, silent };
    struct Behaviour {
        Way way = Way::none; ///< none: not even its hardware address can be found out
        int questions = -1;  ///< answered after each setup, then it is silent; negative: all
        bool operator==(const Behaviour &) const = default;
    };
    Behaviour own{};
    Behaviour others{};
    std::string own_address{}; ///< of the network's own one
    bool operator==(const NameServers &) const = default;
};

/// The Ethernet frame with which the far side answers this one: to a search for a hardware address (ARP), to a question
/// to a name server and to an echo request by IPv4. Empty if it does not answer.
std::string answer_frame(const std::string &frame, NameServers &servers);

} // namespace simulator
