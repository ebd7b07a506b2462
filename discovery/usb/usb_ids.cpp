#include "discovery/usb/usb_ids.h"

#include <array>
#include <cstdlib>

#include "discovery/usb/ports.h"
#include "platform/files.h"

namespace {

constexpr size_t longest_id = 14;

// @return false when the file cannot be read
bool read_id(const char *path, uint32_t &out)
{
    Text<longest_id + 1> digits;
    const int length = read_file(path, longest_id, digits);
    if (length < 0)
        return false;
    if (length > 0)
        out = static_cast<uint32_t>(strtoull(Text<20>::format("0x%s", digits.c_str()).c_str(), nullptr, 16));
    return true;
}

// The bus of the modem on boards with one place for it.
constexpr std::array usual_places = {"/sys/bus/usb/devices/1-1.2", "/sys/bus/usb/devices/1-1.3",
                                     "/sys/bus/usb/devices/1-1"};

bool read_id_at_usual_place(const char *file, uint32_t &out)
{
    for (const char *place : usual_places)
        if (read_id(Text<64>::format("%s/%s", place, file).c_str(), out))
            return true;
    return false;
}

} // namespace

int read_usb_ids(const char *bus, uint32_t &vid, uint32_t &pid)
{
    if (bus == nullptr)
        return read_id_at_usual_place("idProduct", pid) && read_id_at_usual_place("idVendor", vid) ? 0 : -1;
    Text<512> directory;
    int visits = 0;
    if (find_sysfs_dir(platform_devices, bus, directory, visits) <= 0)
        return -1;
    return read_ids_in(directory.c_str(), vid, pid);
}

int read_ids_in(const char *directory, uint32_t &vid, uint32_t &pid)
{
    const auto read = [&](const char *file, uint32_t &out) {
        return read_id(Text<530>::format("%s/%s", directory, file).c_str(), out);
    };
    return read("idProduct", pid) && read("idVendor", vid) ? 0 : -1;
}
