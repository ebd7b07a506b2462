#include "discovery/usb/port_holder.h"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

#include "platform/files.h"

namespace {

// What the protocol handlers and the message daemon run.
constexpr std::string_view helpers[] = {"modemctl", "uqmi",  "umbim", "pppd",     "chat",
                                        "gcom",     "comgt", "smsd",  "smstools3"};

bool is_port(std::string_view path, json_object *ports)
{
    for (size_t i = 0; i < json_object_array_length(ports); i++)
        if (path == json_object_get_string(json_object_array_get_idx(ports, i)))
            return true;
    return false;
}

bool has_open(const char *process, json_object *ports)
{
    const Directory descriptors{opendir(Text<32>::format("/proc/%s/fd", process).c_str())};
    while (const dirent *entry = descriptors ? readdir(descriptors.get()) : nullptr) {
        Text<64> path;
        if (readlinkat(dirfd(descriptors.get()), entry->d_name, path.data(), path.capacity() - 1) > 0 &&
            is_port(path.view(), ports))
            return true;
    }
    return false;
}

std::string_view first_line(const Text<17> &name)
{
    return first_characters(name.view(), name.view().find('\n'));
}

} // namespace

Text<16> other_manager_of(json_object *ports)
{
    const Directory processes{opendir("/proc")};
    while (const dirent *entry = processes ? readdir(processes.get()) : nullptr) {
        if (entry->d_name[0] < '0' || entry->d_name[0] > '9' || !has_open(entry->d_name, ports))
            continue;
        Text<17> name;
        read_file(Text<32>::format("/proc/%s/comm", entry->d_name).c_str(), name.capacity() - 1, name);
        const std::string_view program = first_line(name);
        if (!name.empty() && std::ranges::none_of(helpers, [&](auto helper) { return helper == program; }))
            return Text<16>{program};
    }
    return {};
}
