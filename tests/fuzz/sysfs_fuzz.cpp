// USB devices of any shape: the folders and files of a device, as the kernel would show them, through every search for
// its ids, ports and network devices. Each line of the input is a folder below the device, or a file with its text
// behind "=". Runs in the simulated router.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "discovery/usb/ports.h"
#include "discovery/usb/usb_ids.h"
#include "platform/text.h"
#include "tests/fuzz/sandbox.h"

namespace {

namespace fs = std::filesystem;
const fs::path platform = "/sys/devices/platform";
const fs::path device = platform / "soc/usb1/1-1/1-1.2";

/// Whether it can be a path below the device; the kernel's names have no odd characters, ours may have all others.
bool is_inside(std::string_view path)
{
    return !path.empty() && path.front() != '/' && path.find("..") == std::string_view::npos &&
           path.find('\0') == std::string_view::npos;
}

/// The input's device is the only one.
void build_tree(std::string_view input)
{
    std::error_code error;
    fs::remove_all(platform / "soc", error);
    fs::create_directories(device, error);
    for (int lines = 0; !input.empty() && lines < 60; lines++) {
        const std::string_view line = first_characters(input, input.find('\n'));
        input = without_first(input, line.size() + 1);
        const std::string_view path = first_characters(line, line.find('='));
        if (!is_inside(path))
            continue;
        const fs::path place = device / path;
        if (path.size() == line.size()) {
            fs::create_directories(place, error);
        } else {
            fs::create_directories(place.parent_path(), error);
            std::ofstream(place, std::ios::binary) << without_first(line, path.size() + 1);
        }
    }
}

bool is_name_in_tree(std::string_view name)
{
    std::error_code error;
    for (const auto &entry : fs::recursive_directory_iterator(platform, error))
        if (entry.is_directory(error) && entry.path().filename().native().starts_with(name))
            return true;
    return false;
}

/// What a search gives is "/dev/" and the name of a folder that is there, cut at the text's room.
void check_device(int matches, std::string_view found)
{
    check(matches > 0 || found.empty(), "without a match nothing is written");
    if (matches > 0)
        check(found.starts_with("/dev/") && is_name_in_tree(without_first(found, 5)), "a port is a folder's name");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    require_simulated_router();
    build_tree({reinterpret_cast<const char *>(bytes), size});

    uint32_t vid = 0x10000;
    uint32_t pid = 0x10000;
    if (read_usb_ids("1-1.2", vid, pid) == 0)
        check(fs::exists(device / "idVendor") && fs::exists(device / "idProduct"), "ids come from the id files");
    read_usb_ids(nullptr, vid, pid);

    for (int interface = 0; interface < 8; interface++) {
        Text<30> port;
        const int matches = at_port_path("1-1.2", interface, port);
        check_device(matches, port.view());
    }
    Text<30> first;
    const int matches = bus_first_port("1-1.2", first);
    check_device(matches, first.view());

    const Json ports{json_object_new_array()};
    bus_list_ports("1-1.2", ports.get());
    check(is_document(ports.get()), "a list of ports is JSON");
    for (const char *kind : {"eth", "wwan"}) {
        Text<20> name;
        if (bus_netdev("1-1.2", kind, name) > 0)
            check(name.view().size() == 19 || name.view().find(kind) != std::string_view::npos,
                  "a device of that kind");
        else
            check(name.empty(), "without a match nothing is written");
    }
    return 0;
}
