#pragma once

namespace simulator {

// simrouter's own exit statuses; every other one is the command's.
inline constexpr int status_usage = 64;           ///< wrong option or profile
inline constexpr int status_internal = 70;        ///< the router could not be set up
inline constexpr int status_not_allowed = 77;     ///< no namespaces for us here
inline constexpr int status_missing_command = 79; ///< --strict: the modem was asked what its profile lacks
inline constexpr int status_not_executable = 126;
inline constexpr int status_not_found = 127;

} // namespace simulator
