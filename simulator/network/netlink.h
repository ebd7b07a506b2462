#pragma once

#include <cstdint>
#include <string>

#include "platform/files.h"

namespace simulator {

/// An attribute of rtnetlink as bytes, padded; those that lie in another one are its data.
std::string netlink_attribute(uint16_t type, const std::string &data);
/// What the kernel's headers call a number of that type.
template <typename Number> std::string netlink_bytes(const Number &number)
{
    return {reinterpret_cast<const char *>(&number), sizeof number};
}

/// A message of rtnetlink that grows attribute by attribute.
class NetlinkRequest {
  public:
    template <typename Header> NetlinkRequest(uint16_t type, uint16_t flags, const Header &header)
    {
        start(type, flags, netlink_bytes(header));
    }
    void add(uint16_t type, const std::string &data) { bytes_ += netlink_attribute(type, data); }
    void add_number(uint16_t type, uint32_t number) { add(type, netlink_bytes(number)); }
    void add_text(uint16_t type, const std::string &text) { add(type, {text.c_str(), text.size() + 1}); }

    /// The message with its length filled in.
    std::string bytes() const;

  private:
    void start(uint16_t type, uint16_t flags, const std::string &header);
    std::string bytes_;
};

/// Talks to the kernel about the network namespace in which it was made.
class NetlinkSocket {
  public:
    /// Throws std::system_error.
    NetlinkSocket();
    /// @return whether the kernel did it
    bool send(const NetlinkRequest &request);

  private:
    Fd socket_;
};

} // namespace simulator
