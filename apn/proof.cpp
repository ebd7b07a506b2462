#include "apn/proof.h"

#include <array>
#include <unistd.h>

#include "apn/shell_lines.h"
#include "platform/interface_state.h"
#include "platform/shell.h"

namespace {

constexpr int status_timeout_s = 2;
constexpr int rounds = 3;
// Public name servers, for a network that gives none.
constexpr const char *public_servers[] = {"9.9.9.9", "1.1.1.1"};

// Devices and name servers come with the interface itself, or with one of the two that its handler makes for its
// addresses.
struct Link {
    Text<46> device;
    std::array<Text<46>, 3> servers{};
    size_t count = 0;
};

void add_status(Link &link, const char *iface)
{
    const Json status = interface_status(iface, status_timeout_s);
    if (const char *device = kjson_get_string(status.get(), "l3_device"); device != nullptr)
        link.device.assign(device);
    json_object *servers = kjson_get_object(status.get(), "dns-server");
    if (!json_object_is_type(servers, json_type_array))
        return;
    for (size_t i = 0; i < json_object_array_length(servers) && link.count < link.servers.size(); i++)
        if (const char *server = json_object_get_string(json_object_array_get_idx(servers, i)); server != nullptr)
            link.servers[link.count++].assign(server);
}

bool answers(const Link &link, const char *server)
{
    const auto command = compose_echo(link.device.c_str(), server);
    return !command.empty() && execCommand(command) == 0;
}

bool has_answer(const Link &link)
{
    for (size_t i = 0; i < link.count; i++)
        if (answers(link, link.servers[i].c_str()))
            return true;
    for (const char *server : public_servers)
        if (answers(link, server))
            return true;
    return false;
}

} // namespace

bool carries_traffic(const char *iface)
{
    for (int round = 0; round < rounds; round++) {
        if (round > 0)
            sleep(1); // the address may still be on its way
        Link link;
        for (const char *end : {"", "_4", "_6"})
            add_status(link, Text<longest_interface_name + 1>::format("%s%s", iface, end).c_str());
        if (!link.device.empty() && has_answer(link))
            return true;
    }
    return false;
}
