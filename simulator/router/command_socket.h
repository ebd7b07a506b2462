#pragma once

#include <cstddef>
#include <sys/socket.h>
#include <sys/un.h>

namespace simulator {

/// The abstract socket between simcommand and the simulated router: it belongs to the router's network namespace and no
/// "rm" can hurt it.
inline constexpr char command_socket_name[] = "\0simrouter-commands";

inline sockaddr_un command_socket_address()
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    for (size_t i = 0; i < sizeof command_socket_name; i++)
        address.sun_path[i] = command_socket_name[i];
    return address;
}

} // namespace simulator
