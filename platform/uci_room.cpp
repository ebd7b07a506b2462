#include "platform/uci_room.h"

#include <algorithm>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <uci.h>

#include "platform/text.h"

size_t quoted_size(std::string_view text)
{
    // A quote takes four characters between quotes: '\''.
    return text.size() + 2 + 3 * static_cast<size_t>(std::count(text.begin(), text.end(), '\''));
}

uint64_t size_of(const char *file)
{
    struct stat status;
    return stat(file, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

size_t written_size(const uci_package &package)
{
    constexpr size_t words_around = 16; // "\n\tconfig " and the like
    size_t size = words_around;
    uci_element *section = nullptr;
    uci_foreach_element(&package.sections, section)
    {
        size += words_around + quoted_size(uci_to_section(section)->type) + quoted_size(section->name);
        uci_element *element = nullptr;
        uci_foreach_element(&uci_to_section(section)->options, element)
        {
            const uci_option &option = *uci_to_option(element);
            const size_t name_size = words_around + quoted_size(option.e.name);
            if (option.type == UCI_TYPE_STRING) {
                size += name_size + quoted_size(option.v.string);
                continue;
            }
            uci_element *item = nullptr;
            uci_foreach_element(&option.v.list, item) size += name_size + quoted_size(item->name);
        }
    }
    return size;
}

bool has_room(const char *path, uint64_t bytes)
{
    // The system commands that we run have our limit too, and the uci command does not see that it cuts a file.
    rlimit largest_file;
    if (getrlimit(RLIMIT_FSIZE, &largest_file) == 0 && largest_file.rlim_cur < bytes)
        return false;
    struct statvfs status;
    if (statvfs(path, &status) != 0)
        return true;
    const bool has_file = status.f_files == 0 || status.f_favail > 0;
    return has_file && static_cast<uint64_t>(status.f_bavail) * status.f_frsize >= bytes;
}

bool kuci_has_room(const char *package)
{
    const auto file = Text<160>::format("/etc/config/%s", package);
    return has_room("/etc/config", 2 * size_of(file.c_str()) + room_margin) && has_room("/tmp", room_margin);
}
