#include "sms/spool.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "platform/board.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "sms/message.h"
#include "sms/shell_lines.h"

namespace {

constexpr char incoming[] = "/etc/spool/sms/incoming/";
constexpr char storage[] = "/etc/spool/sms/storage/";

// The devices' names in the SMS daemon's configuration, with the point that ends them in a file name.
constexpr char first_device[] = "GMS99.";
constexpr char second_device[] = "GMS98.";
constexpr char second_bus[] = "1-1.3";

using SpoolPath = Text<100>;

bool is_message_name(const char *name)
{
    return *name != '\0' && strchr(name, '/') == nullptr;
}

// @return true if path holds the whole path
bool make_path(SpoolPath &path, const char *folder, const char *name)
{
    return path.out().assign_format("%s%s", folder, name);
}

// Calls visit with every name in folder that contains part. @return false when folder cannot be opened
template <typename Visit> bool for_each_name(const char *folder, const char *part, Visit visit)
{
    const Directory directory{opendir(folder)};
    if (!directory)
        return false;
    while (const dirent *entry = readdir(directory.get()))
        if (!entry_is_dots(entry->d_name) && strstr(entry->d_name, part) != nullptr)
            visit(entry->d_name);
    return true;
}

bool remove_from(const char *folder, const char *name)
{
    SpoolPath path;
    return make_path(path, folder, name) && unlink(path.c_str()) == 0;
}

} // namespace

bool sms_list_folder(const char *folder, const char *status, json_object *array)
{
    return for_each_name(folder, first_device, [&](const char *name) {
        SpoolPath path;
        Json message = make_path(path, folder, name) ? read_message(path.c_str()) : nullptr;
        if (message == nullptr)
            return;
        kjson_add_string(message.get(), "status", status);
        kjson_add_string(message.get(), "name", name);
        kjson_array_add(array, std::move(message));
    });
}

void sms_list_spool(json_object *array)
{
    if (sms_list_folder(incoming, "unread", array))
        sms_list_folder(storage, "read", array);
}

int sms_count_folder(const char *folder, const char *bus)
{
    int count = 0;
    for_each_name(folder, strcmp(bus, second_bus) == 0 ? second_device : first_device, [&](const char *) { count++; });
    return count;
}

int sms_count_unread(const char *bus)
{
    return sms_count_folder(incoming, bus);
}

int sms_mark_read(const char *name)
{
    SpoolPath from;
    SpoolPath to;
    if (is_message_name(name) && make_path(from, incoming, name) && make_path(to, storage, name))
        rename(from.c_str(), to.c_str());
    return 0;
}

int sms_remove(const char *name)
{
    if (!is_message_name(name))
        return -1;
    return remove_from(incoming, name) || remove_from(storage, name) ? 0 : -1;
}

int sms_remove_all(const ModemDriver &)
{
    if (!cmm_check_file_is_exist(incoming) || !cmm_check_file_is_exist(storage))
        return -1;
    execCommand(remove_incoming);
    execCommand(remove_stored);
    return 0;
}
