#include "platform/uci.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

#include "platform/uci_commit.h"
#include "platform/uci_room.h"
#include "platform/uci_writing.h"

namespace {

// libuci takes a path apart in place.
using UciPath = Text<512>;

// libuci drops other control characters when it reads the saved change back, and the old value would stay.
bool is_storable(std::string_view text)
{
    return std::ranges::none_of(text, [](char character) {
        return static_cast<unsigned char>(character) < ' ' && character != '\t' && character != '\n' &&
               character != '\r';
    });
}

std::string_view package_of(const char *path)
{
    const std::string_view text = path;
    return first_characters(text, text.find('.'));
}

// A path that contains a value is refused.
bool look_up(const Uci &context, const char *path, UciPath &pieces, uci_ptr &found)
{
    found = {};
    return pieces.assign(path) && strchr(path, '=') == nullptr &&
           uci_lookup_ptr(context->libuci, &found, pieces.data(), true) == UCI_OK;
}

bool look_up_complete(const Uci &context, const char *path, UciPath &pieces, uci_ptr &found)
{
    return context != nullptr && path != nullptr && look_up(context, path, pieces, found) &&
           (found.flags & uci_ptr::UCI_LOOKUP_COMPLETE) != 0;
}

void copy_value(const uci_option &option, TextOut out)
{
    if (option.type == UCI_TYPE_STRING) {
        out.assign(option.v.string);
        return;
    }
    const char *between = "";
    uci_element *item = nullptr;
    uci_foreach_element(&option.v.list, item)
    {
        out.append(between);
        out.append(item->name);
        between = " ";
    }
}

bool make_path(UciPath &path, const char *package, const char *section, const char *option)
{
    if (package == nullptr || section == nullptr)
        return false;
    if (option == nullptr)
        return path.out().assign_format("%s.%s", package, section);
    return path.out().assign_format("%s.%s.%s", package, section, option);
}

// A package without a file could not be written at all.
bool make_file(const FilePath &path)
{
    return static_cast<bool>(Fd{open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)});
}

int write_to(const Uci &context, const char *path, const char *value, int (*change)(uci_context *, uci_ptr *))
{
    if (context == nullptr || path == nullptr || (value != nullptr && !is_storable(value)))
        return -1;
    Writing *writing = start_writing(context, package_of(path));
    if (writing == nullptr)
        return -1;
    UciPath pieces;
    uci_ptr found{};
    if (!look_up(context, path, pieces, found)) {
        const bool sets_something = value != nullptr && *value != '\0';
        const FilePath file = path_in(context->folders.config, writing->package);
        if (!sets_something || !make_file(file))
            return -1;
        remember_files(context, *writing, file);
        if (!look_up(context, path, pieces, found))
            return -1;
    }
    found.value = value;
    writing->unsaved_bytes += UciPath::capacity() + (value == nullptr ? 0 : quoted_size(value));
    return change(context->libuci, &found) == UCI_OK ? 0 : -1;
}

// Makes the folder, and takes its name if it is another user's, who may remove it and make it again meanwhile.
// @return false if it stays another user's
bool own_folder(const char *path)
{
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; attempt++) {
        struct stat status;
        if (mkdir(path, 0700) == 0 || errno != EEXIST)
            return true;
        if (lstat(path, &status) == 0 && (status.st_uid == geteuid() || status.st_uid == 0))
            return true;
        take_folder_name(path, 0700);
    }
    return false;
}

} // namespace

void UciFree::operator()(UciContext *context) const
{
    context->~UciContext();
    free(context);
}

Uci open_uci(const UciFolders &folders)
{
    void *memory = calloc(1, sizeof(UciContext));
    if (memory == nullptr)
        return nullptr;
    Uci context{new (memory) UciContext};
    context->folders = folders;
    context->libuci = uci_alloc_context();
    if (context->libuci == nullptr)
        return nullptr;
    uci_set_confdir(context->libuci, folders.config.c_str());
    uci_set_savedir(context->libuci, folders.saved.c_str());
    return context;
}

Uci kuci2_init()
{
    static constexpr char saved[] = "/tmp/.uci";
    // libuci takes every change in there for root's. Who made the folder first could have anything committed.
    if (!own_folder(saved))
        return nullptr;
    return open_uci({.config = "/etc/config", .saved = saved, .lock = "/var/lock"});
}

void kuci2_free(Uci context)
{
    context.reset();
}

int kuci2_get(const Uci &context, const char *path, TextOut out)
{
    out.clear();
    UciPath pieces;
    uci_ptr found{};
    if (!look_up_complete(context, path, pieces, found) || found.s == nullptr)
        return -1;
    if (found.o != nullptr)
        copy_value(*found.o, out);
    else
        out.assign(found.s->type);
    return 0;
}

int kuci2_get_name(const Uci &context, const char *package, const char *section, const char *option, TextOut out)
{
    out.clear();
    UciPath path;
    return make_path(path, package, section, option) ? kuci2_get(context, path.c_str(), out) : -1;
}

int kuci2_get_list_index(const Uci &context, const char *path, int index, TextOut out)
{
    out.clear();
    UciPath pieces;
    uci_ptr found{};
    if (index < 0 || !look_up_complete(context, path, pieces, found) || found.o == nullptr)
        return -1;
    if (found.o->type == UCI_TYPE_STRING) {
        if (index > 0)
            return -1;
        out.assign(found.o->v.string);
        return 0;
    }
    uci_element *item = nullptr;
    uci_foreach_element(&found.o->v.list, item)
    {
        if (index-- > 0)
            continue;
        out.assign(item->name);
        return 0;
    }
    return -1;
}

void kuci2_begin(const Uci &context, const char *package)
{
    if (context != nullptr)
        start_writing(context, package);
}

int kuci2_set(const Uci &context, const char *path, const char *value)
{
    return write_to(context, path, value == nullptr ? "" : value, uci_set);
}

int kuci2_set_name(const Uci &context, const char *package, const char *section, const char *option, const char *value)
{
    UciPath path;
    return make_path(path, package, section, option) ? kuci2_set(context, path.c_str(), value) : -1;
}

int kuci2_add_list(const Uci &context, const char *path, const char *value)
{
    return write_to(context, path, value == nullptr ? "" : value, uci_add_list);
}

int kuci2_delete(const Uci &context, const char *path)
{
    return write_to(context, path, nullptr, uci_delete);
}

int kuci2_commit(const Uci &context, const char *package)
{
    Writing *writing = context == nullptr || package == nullptr ? nullptr : start_writing(context, package);
    if (writing == nullptr)
        return -1;
    UciPath pieces;
    uci_ptr found{};
    if (look_up(context, package, pieces, found))
        return commit_package(context, *writing, found.p) ? 0 : -1;
    *writing = Writing{};
    return -1;
}
