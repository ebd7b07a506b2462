#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "simulator/usb/uplink.h"

namespace simulator {

/// The Ethernet that a modem speaks to its host, with nothing on it but the two: it answers for every address but the
/// host's own (ARP, neighbour solicitations), and gives the host its address (DHCP, router advertisements).
class EthernetPort {
  public:
    /// A modem's end has that hardware address.
    static constexpr std::string_view hardware_address{"\2\0\0\0\0\1", 6};

    /// Without a session nobody answers.
    void set_session(std::optional<Session> session) { session_ = std::move(session); }

    struct Taken {
        std::string answer{};      ///< a frame for the host, empty if there is none
        std::string_view packet{}; ///< a part of the frame: an IP packet for the network, empty if it is none
    };
    /// A frame of the host.
    Taken take(std::string_view frame);
    /// The frame that brings the host an IP packet of the network.
    std::string frame_of(std::string_view packet) const;

  private:
    std::string frame(uint16_t kind, std::string_view content) const;
    std::string answer_arp(std::string_view search) const;
    std::string answer_dhcp(std::string_view packet) const;
    std::string answer_ipv6(std::string_view packet) const;

    std::optional<Session> session_;
    std::string host_ = std::string(6, '\xff'); ///< its hardware address: everybody's, until it has sent something
};

} // namespace simulator
