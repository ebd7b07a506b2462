#pragma once

#include <string>
#include <vector>

#include "platform/files.h"

namespace simulator {

struct NetAddress {
    std::string address; ///< IPv4 or IPv6
    int mask = 0;
};

/// Network devices of the router's namespace: real ones of the kernel that lead nowhere, so that counters, addresses
/// and routes are the kernel's own. What the kernel refuses is left as it is and told by the result.
class NetDevices {
  public:
    /// Throws std::system_error.
    NetDevices();

    static bool exists(const std::string &name);
    /// Of the first kind that this kernel has: dummy, ifb, bridge.
    bool create(const std::string &name);
    bool remove(const std::string &name);
    bool set_up(const std::string &name, bool up);
    bool add_address(const std::string &name, const NetAddress &address);
    /// All its addresses and routes go.
    bool clear_addresses(const std::string &name);
    bool add_default_route(const std::string &name, const std::string &gateway, int metric);

  private:
    class Request;
    bool send(const Request &request);

    Fd socket_;
};

} // namespace simulator
