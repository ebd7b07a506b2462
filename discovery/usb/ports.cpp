#include "discovery/usb/ports.h"

#include <cstring>

#include "platform/files.h"

namespace {

constexpr int visit_budget = 1000;
constexpr int most_interfaces = 32; // the USB standard allows no more in a configuration

// What a search does with an entry: go into it, take it and leave this level, or take it and go into it.
enum class Verdict { descend, take, take_and_descend };

struct Search {
    Verdict (*judge)(void *wanted, std::string_view directory, const char *name);
    void *wanted;
    int &visits;
    bool spent = false;
};

using WalkPath = Text<1000>;

// A directory that cannot be opened, or whose path is too long, has no matches. A spent budget ends the search.
int walk(Search &search, WalkPath &path)
{
    if (search.visits >= visit_budget) {
        search.spent = true;
        return -1;
    }
    search.visits++;
    const Directory directory{opendir(path.c_str())};
    if (!directory)
        return -1;
    const size_t length = path.size();
    const auto step_back = [&] { path.data()[length] = '\0'; };
    int matches = 0;
    while (const dirent *entry = readdir(directory.get())) {
        if (entry_is_dots(*entry))
            continue;
        step_back();
        if (!path.append("/") || !path.append(entry->d_name) || !entry_is_directory(path.c_str(), *entry))
            continue;
        const Verdict verdict = search.judge(search.wanted, first_characters(path.view(), length), entry->d_name);
        if (verdict != Verdict::descend)
            matches++;
        if (verdict == Verdict::take)
            break;
        const int inside = walk(search, path);
        if (search.spent)
            return -1;
        if (inside > 0)
            matches += inside;
    }
    step_back();
    return matches;
}

int search_below(const char *directory, Search search)
{
    WalkPath path;
    return path.assign(directory) ? walk(search, path) : -1;
}

struct WantedDirectory {
    const char *name;
    TextOut out;
};

Verdict judge_directory(void *context, std::string_view directory, const char *name)
{
    const auto &wanted = *static_cast<WantedDirectory *>(context);
    if (strcmp(name, wanted.name) != 0)
        return Verdict::descend;
    wanted.out.assign(directory);
    wanted.out.append("/");
    wanted.out.append(name);
    return Verdict::take;
}

using DevicePath = Text<50>;

Verdict judge_tty(void *context, std::string_view, const char *name)
{
    if (!strstr(name, "ttyUSB") && !strstr(name, "cdc-wdm") && !strstr(name, "ttyACM"))
        return Verdict::descend;
    static_cast<TextOut *>(context)->assign(DevicePath::format("/dev/%s", name).view());
    return Verdict::take;
}

struct WantedNetdev {
    const char *kind;
    TextOut out;
};

Verdict judge_netdev(void *context, std::string_view, const char *name)
{
    const auto &wanted = *static_cast<WantedNetdev *>(context);
    if (!strstr(name, wanted.kind))
        return Verdict::descend;
    wanted.out.assign(name);
    return Verdict::take;
}

// A ttyUSB port has its name twice, the second time inside its own "tty" folder; a ttyACM port only there.
Verdict judge_port(void *context, std::string_view directory, const char *name)
{
    const bool in_tty_folder = directory.find("/tty") != std::string_view::npos;
    const bool is_port = in_tty_folder ? strstr(name, "ttyACM") != nullptr
                                       : strstr(name, "ttyUSB") != nullptr || strstr(name, "cdc-wdm") != nullptr;
    if (!is_port)
        return Verdict::descend;
    kjson_array_add_string(static_cast<json_object *>(context), DevicePath::format("/dev/%s", name).view());
    return Verdict::take_and_descend;
}

int find_bus_dir(const char *bus, TextOut out)
{
    int visits = 0;
    return bus == nullptr ? -1 : find_sysfs_dir(platform_devices, bus, out, visits);
}

using SysfsPath = Text<512>;

} // namespace

int find_sysfs_dir(const char *root, const char *name, TextOut out, int &visits)
{
    WantedDirectory wanted{name, out};
    return search_below(root, {.judge = judge_directory, .wanted = &wanted, .visits = visits});
}

int find_tty_in(const char *directory, TextOut out, int &visits)
{
    return search_below(directory, {.judge = judge_tty, .wanted = &out, .visits = visits});
}

int find_netdev_in(const char *directory, const char *kind, TextOut out, int &visits)
{
    WantedNetdev wanted{kind, out};
    return search_below(directory, {.judge = judge_netdev, .wanted = &wanted, .visits = visits});
}

int list_ports_in(const char *directory, json_object *array, int &visits)
{
    return search_below(directory, {.judge = judge_port, .wanted = array, .visits = visits});
}

int at_port_path(const char *bus, int ifnum, TextOut out)
{
    if (bus == nullptr)
        return -1;
    return interface_port_path(Text<20>::format("%s:1.%d", bus, ifnum).c_str(), out);
}

int interface_port_path(const char *interface_name, TextOut out)
{
    SysfsPath path;
    const int found = find_bus_dir(interface_name, path);
    int visits = 0;
    return found > 0 ? find_tty_in(path.c_str(), out, visits) : found;
}

int bus_first_port(const char *bus, TextOut out)
{
    return interface_port_path(bus, out);
}

int bus_list_ports(const char *bus, json_object *array)
{
    SysfsPath path;
    const int found = find_bus_dir(bus, path);
    int visits = 0;
    return found > 0 ? list_ports_in(path.c_str(), array, visits) : found;
}

int bus_netdev(const char *bus, const char *kind, TextOut out)
{
    SysfsPath path;
    const int found = find_bus_dir(bus, path);
    int visits = 0;
    return found > 0 ? find_netdev_in(path.c_str(), kind, out, visits) : found;
}

int bus_own_ports(const char *bus, json_object *array)
{
    int matches = 0;
    for (int i = 0; i < most_interfaces; i++) {
        int visits = 0;
        const auto path = SysfsPath::format("/sys/bus/usb/devices/%s:1.%d", bus, i);
        if (const int found = list_ports_in(path.c_str(), array, visits); found > 0)
            matches += found;
    }
    return matches;
}

bool bus_own_netdev(const char *bus, TextOut out)
{
    for (int i = 0; i < most_interfaces; i++) {
        const Directory devices{opendir(SysfsPath::format("/sys/bus/usb/devices/%s:1.%d/net", bus, i).c_str())};
        while (const dirent *entry = devices == nullptr ? nullptr : readdir(devices.get()))
            if (!entry_is_dots(*entry))
                return out.assign(entry->d_name);
    }
    return false;
}
