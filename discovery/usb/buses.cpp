#include "discovery/usb/buses.h"

#include <cstring>

#include "platform/files.h"

namespace {

int compare_names(const void *left, const void *right)
{
    const auto name = [](const void *entry) {
        return json_object_get_string(*static_cast<json_object *const *>(entry));
    };
    return strcmp(name(left), name(right));
}

} // namespace

ModemBuses read_modem_buses(const Uci &uci)
{
    ModemBuses buses;
    for (int place = 0; place < modem_places; place++)
        kuci2_get_list_index(uci, "devconf.modem.bus", place, buses[static_cast<size_t>(place)]);
    return buses;
}

Json list_usb_buses()
{
    Json names{json_object_new_array()};
    const Directory directory{opendir("/sys/bus/usb/devices")};
    if (!directory)
        return names;
    // Beside "1-1.2" there are the root hub "usb1" and the device's interfaces, "1-1.2:1.0".
    while (const dirent *entry = readdir(directory.get()))
        if (is_digit(entry->d_name[0]) && strchr(entry->d_name, ':') == nullptr)
            kjson_array_add_string(names.get(), entry->d_name);
    json_object_array_sort(names.get(), compare_names);
    return names;
}
