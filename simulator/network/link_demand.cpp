#include "simulator/network/link_demand.h"

#include "simulator/network/network_status.h"

namespace simulator {

namespace {

using Path = LinkDemand::Path;

Path path_of(const InterfaceSection &section)
{
    const std::string protocol = option_of(section, "proto");
    return protocol == "qmi" || protocol == "qcm" ? Path::qmi : Path::serial;
}

} // namespace

bool meets_demand(const InterfaceSection &section, const LinkDemand &demand, const ModemVariable &modem)
{
    const std::string cid = std::to_string(demand.cid);
    const auto configured_or = [&](const char *option, const std::string &variable) {
        const std::string configured = option_of(section, option);
        return configured.empty() ? modem(variable + cid) : configured;
    };
    const auto is = [](const std::optional<std::string> &demanded, const std::string &value) {
        return !demanded || *demanded == value;
    };
    return is(demand.apn, configured_or("apn", "apn_")) && is(demand.context, modem("apn_" + cid)) &&
           is(demand.username, configured_or("username", "user_")) &&
           is(demand.password, configured_or("password", "password_")) &&
           (demand.path == Path::any || demand.path == path_of(section));
}

} // namespace simulator
