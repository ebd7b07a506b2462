#pragma once

#include <functional>
#include <stdexcept>

namespace simulator {

/// This machine or this user's rights do not allow the namespaces that a router of its own needs.
struct NotAllowed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Rights {
    root,          ///< the machine's own root
    user_namespace ///< root only inside, as an ordinary user's process outside
};

enum class Network {
    own,    ///< a namespace
    machine ///< the machine's, where the machine is a virtual one and its drivers' devices are the router's
};

/// Runs body as the first process of namespaces of its own (pid, mount, ipc, host name; user where there are no root
/// rights) and waits for its end, whereby the kernel ends everything that was started in there. The first
/// process dies with this one. Ends this process with the status that body returns. Throws NotAllowed,
/// std::system_error.
[[noreturn]] void run_isolated(Network network, const std::function<int(Rights)> &body);

/// Gives up what would let root inside harm the machine outside: modules, the clock, raw devices.
void drop_dangerous_rights();

} // namespace simulator
