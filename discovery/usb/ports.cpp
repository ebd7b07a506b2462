#include "discovery/usb/ports.h"

#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>

#include "discovery/usb/usb_ids.h"
#include "platform/files.h"

namespace {

constexpr int visit_budget = 1000;
constexpr int most_interfaces = 32; // the USB standard allows no more in a configuration

using WalkPath = Text<1000>;

// An entry of a folder, as the kernel hands it out.
struct Entry {
    uint64_t inode;
    int64_t offset;
    uint16_t size;
    uint8_t type;
    char name[];
};

// The folders in a folder. path names the folder itself before and after, and in between the one that next() gave. A
// command opens about a hundred folders; opendir would ask twice as much of the kernel, and memory for each.
class Folders {
  public:
    explicit Folders(WalkPath &path)
        : path_(path), length_(path.size()),
          folder_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_DIRECTORY | O_CLOEXEC))
    {
    }
    ~Folders() { path_.data()[length_] = '\0'; }
    Folders(const Folders &) = delete;
    Folders &operator=(const Folders &) = delete;

    bool is_open() const { return static_cast<bool>(folder_); }
    std::string_view path() const { return {path_.c_str(), length_}; }

    // The next one's name; null at the end. One whose path is too long is passed over.
    const char *next()
    {
        while (const Entry *entry = next_entry()) {
            const size_t name_size = strlen(entry->name) + 1;
            if (entry_is_dots(entry->name) || length_ + 1 + name_size > WalkPath::capacity())
                continue;
            path_.data()[length_] = '/';
            memcpy(path_.data() + length_ + 1, entry->name, name_size);
            if (entry_is_directory(path_.c_str(), entry->type))
                return entry->name;
        }
        return nullptr;
    }

  private:
    const Entry *next_entry()
    {
        if (at_ >= end_) {
            end_ = syscall(SYS_getdents64, folder_.get(), bytes_, sizeof bytes_);
            at_ = 0;
        }
        if (at_ >= end_)
            return nullptr;
        const auto *entry = reinterpret_cast<const Entry *>(bytes_ + at_);
        at_ += entry->size;
        return entry;
    }

    WalkPath &path_;
    const size_t length_;
    const Fd folder_;
    long at_ = 0;
    long end_ = 0;
    alignas(Entry) char bytes_[2048];
};

// What a search does with a folder: go into it, take it and leave this level, take it and go into it, or take it and go
// on behind it.
enum class Verdict { descend, take, take_and_descend, take_and_pass };

struct Search {
    Verdict (*judge)(void *wanted, std::string_view directory, const char *name);
    void *wanted;
    int &visits;
    bool spent = false;
};

// A directory that cannot be opened, or whose path is too long, has no matches. A spent budget ends the search.
int walk(Search &search, WalkPath &path)
{
    if (search.visits >= visit_budget) {
        search.spent = true;
        return -1;
    }
    search.visits++;
    Folders folders{path};
    if (!folders.is_open())
        return -1;
    int matches = 0;
    while (const char *name = folders.next()) {
        const Verdict verdict = search.judge(search.wanted, folders.path(), name);
        if (verdict != Verdict::descend)
            matches++;
        if (verdict == Verdict::take)
            break;
        if (verdict == Verdict::take_and_pass)
            continue;
        const int inside = walk(search, path);
        if (search.spent)
            return -1;
        if (inside > 0)
            matches += inside;
    }
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
    bool has_interface_elsewhere = false;

    void take(std::string_view directory) const
    {
        out.assign(directory);
        out.append("/");
        out.append(name);
    }
};

Verdict judge_directory(void *context, std::string_view directory, const char *name)
{
    const auto &wanted = *static_cast<WantedDirectory *>(context);
    if (strcmp(name, wanted.name) != 0)
        return Verdict::descend;
    wanted.take(directory);
    return Verdict::take;
}

// The folder of a device and all that is not in it.
Verdict judge_device(void *context, std::string_view directory, const char *name)
{
    auto &wanted = *static_cast<WantedDirectory *>(context);
    const size_t length = strlen(wanted.name);
    if (strncmp(name, wanted.name, length) != 0)
        return Verdict::descend;
    wanted.has_interface_elsewhere |= name[length] == ':';
    if (name[length] != '\0')
        return Verdict::descend;
    wanted.take(directory);
    return Verdict::take_and_pass;
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
    const bool is_acm = strstr(name, "ttyACM") != nullptr;
    const bool is_other = strstr(name, "ttyUSB") != nullptr || strstr(name, "cdc-wdm") != nullptr;
    if ((!is_acm && !is_other) || !(str_contains(directory, "/tty") ? is_acm : is_other))
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

using InterfaceName = Text<20>;

InterfaceName interface_name_of(const char *bus, int ifnum)
{
    return InterfaceName::format("%s:1.%d", bus, ifnum);
}

std::string_view base_name(std::string_view path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string_view::npos ? path : without_first(path, slash + 1);
}

// True if name could be a USB bus or interface; an empty name could.
bool looks_like_usb(std::string_view name)
{
    return name.find_first_not_of("0123456789:-.") == std::string_view::npos;
}

// Replaces a folder's name in out ("usbmisc") by the nearest folder above it, along path, whose name looks like USB.
bool climb(std::string_view path, TextOut out)
{
    while (!looks_like_usb(out.view())) {
        const size_t length = out.view().size();
        if (path.size() <= length)
            return false;
        path.remove_suffix(length + 1);
        out.assign(base_name(path));
    }
    return true;
}

// Unlike walk, it goes on when its budget is spent, and a folder that it cannot enter takes one from its matches: a
// network section has always got or not got its node so.
int search_node(WalkPath &path, const char *name, TextOut out, int &visits)
{
    if (++visits > visit_budget)
        return -1;
    Folders folders{path};
    if (!folders.is_open())
        return -1;
    int matches = 0;
    while (const char *folder = folders.next()) {
        if (strcmp(folder, name) == 0) {
            matches++;
            out.assign(base_name(folders.path()));
            break;
        }
        matches += search_node(path, name, out, visits);
    }
    return climb(folders.path(), out) ? matches : 0;
}

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
    return interface_port_path(interface_name_of(bus, ifnum).c_str(), out);
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
            if (!entry_is_dots(entry->d_name))
                return out.assign(entry->d_name);
    }
    return false;
}

int find_usb_node(const char *directory, const char *name, TextOut out, int &visits)
{
    WalkPath path;
    return path.assign(directory) ? search_node(path, name, out, visits) : -1;
}

UsbDevice::UsbDevice(const char *bus, const char *root) : bus_(bus), root_(root)
{
    if (bus == nullptr)
        return;
    WantedDirectory wanted{bus, path_};
    const int found = search_below(root, {.judge = judge_device, .wanted = &wanted, .visits = visits_});
    is_there_ = !path_.empty();
    // Two of them, or a tree that is too large: then each search has to find what it finds.
    if (found == 1 && !wanted.has_interface_elsewhere && path_.size() + 1 < path_.capacity())
        return;
    path_.clear();
    visits_ = 0;
}

int UsbDevice::find_folder(TextOut out) const
{
    if (!is_there_)
        return -1;
    int visits = 0;
    if (path_.empty())
        return find_sysfs_dir(root_, bus_, out, visits);
    out.assign(path_.view());
    return 1;
}

int UsbDevice::read_ids(uint32_t &vid, uint32_t &pid) const
{
    SysfsPath folder;
    return find_folder(folder) > 0 ? read_ids_in(folder.c_str(), vid, pid) : -1;
}

int UsbDevice::list_ports(json_object *array) const
{
    SysfsPath folder;
    int visits = 0;
    const int found = find_folder(folder);
    return found > 0 ? list_ports_in(folder.c_str(), array, visits) : found;
}

int UsbDevice::port_path(int ifnum, TextOut out) const
{
    if (bus_ == nullptr)
        return -1;
    SysfsPath path;
    int visits = visits_;
    const char *from = path_.empty() ? root_ : path_.c_str();
    const int found = find_sysfs_dir(from, interface_name_of(bus_, ifnum).c_str(), path, visits);
    visits = 0;
    return found > 0 ? find_tty_in(path.c_str(), out, visits) : found;
}
