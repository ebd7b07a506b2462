#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// An interface section of the network configuration with the changes applied that are not committed yet.
struct InterfaceSection {
    std::string name;
    std::map<std::string, std::vector<std::string>> options{}; ///< a single value is a list of one
    bool operator==(const InterfaceSection &) const = default;
};

/// What a mobile network, or the modem, requires for a connection.
struct LinkDemand {
    enum class Path { any, qmi, serial };

    std::optional<std::string> apn{};      ///< the configured one; where none is configured, the modem's
    std::optional<std::string> context{};  ///< the modem's APN, whatever is configured
    std::optional<std::string> username{}; ///< the configured one; where none is configured, the modem's
    std::optional<std::string> password{}; ///< likewise
    Path path = Path::any;                 ///< the only way on which this modem connects
    int cid = 1;                           ///< the modem's context that counts
};

/// The values of the interface's modem, empty if not set.
using ModemVariable = std::function<std::string(const std::string &name)>;

bool meets_demand(const InterfaceSection &section, const LinkDemand &demand, const ModemVariable &modem);

} // namespace simulator
