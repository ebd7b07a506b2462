#pragma once

#include <optional>

#include "platform/files.h"
#include "simulator/network/net_devices.h"

namespace simulator {

/// What is behind the modems: a network namespace with a line to each modem, and two servers.
///
/// The web server's /N is a text of N bytes: the numbers 1, 2, 3 ..., a line each, as "seq" prints them. The name
/// servers know one address for every name, the web server's.
class OperatorNetwork {
  public:
    static constexpr const char *server = "10.99.0.1";
    static constexpr const char *name_server = "10.99.0.53";
    static constexpr const char *second_name_server = "10.99.0.54";
    static constexpr const char *server6 = "fd99::1";
    static constexpr const char *name_server6 = "fd99::53";

    /// This process is in that network from now on, and the servers run until it ends. Throws std::system_error.
    explicit OperatorNetwork(EventLoop &loop);

    /// A line to the modem with that number, from 1. To be made before any modem is plugged in: while the kernel waits
    /// for a modem's answer it changes no network device. Throws std::system_error.
    Fd line(int number);

  private:
    std::optional<NetDevices> devices_;
};

} // namespace simulator
