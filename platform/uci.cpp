#include "platform/uci.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <uci.h>

#include "platform/files.h"
#include "platform/uci_folders.h"

namespace {

constexpr int lock_tries = 500;
constexpr useconds_t lock_wait_us = 10'000;
constexpr uint64_t room_margin = 8192; // what a file system may need beside the bytes themselves

struct WriterLock {
    Text<32> package{};
    Fd file{};
};

// libuci takes a path apart in place.
using UciPath = Text<512>;

} // namespace

struct UciContext {
    uci_context *libuci = nullptr;
    UciFolders folders;
    std::array<WriterLock, 4> locks;
    uint64_t unsaved_bytes = 0;

    ~UciContext()
    {
        if (libuci != nullptr)
            uci_free_context(libuci);
    }
};

namespace {

// Control characters but these would be dropped when the saved change is read back, and the old value would stay.
bool is_storable(const char *value)
{
    const std::string_view text = value;
    return std::none_of(text.begin(), text.end(), [](char character) {
        return static_cast<unsigned char>(character) < ' ' && character != '\t' && character != '\n' &&
               character != '\r';
    });
}

std::string_view package_of(const char *path)
{
    const std::string_view text = path;
    return first_characters(text, text.find('.'));
}

bool look_up(const Uci &context, UciPath &path, uci_ptr &found)
{
    return uci_lookup_ptr(context->libuci, &found, path.data(), true) == UCI_OK;
}

bool is_complete(const uci_ptr &found)
{
    return (found.flags & uci_ptr::UCI_LOOKUP_COMPLETE) != 0;
}

void copy_value(const uci_option &option, TextOut out)
{
    if (option.type == UCI_TYPE_STRING) {
        out.assign(option.v.string);
        return;
    }
    uci_element *item = nullptr;
    uci_foreach_element(&option.v.list, item)
    {
        if (!out.empty())
            out.append(" ");
        out.append(item->name);
    }
}

bool make_path(UciPath &path, const char *package, const char *section, const char *option)
{
    if (option == nullptr)
        return path.out().assign_format("%s.%s", package, section);
    return path.out().assign_format("%s.%s.%s", package, section, option);
}

// A package without a file could not be written at all.
void make_package_file(const Uci &context, const char *package)
{
    const auto file = Text<128>::format("%s/%s", context->folders.config.c_str(), package);
    const Fd made{open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)};
}

void forget_loaded(const Uci &context, std::string_view package)
{
    uci_element *element = nullptr;
    uci_foreach_element(&context->libuci->root, element)
    {
        if (package == element->name) {
            uci_unload(context->libuci, uci_to_package(element));
            return;
        }
    }
}

void wait_for_lock(const Fd &file)
{
    for (int i = 0; i < lock_tries && flock(file.get(), LOCK_EX | LOCK_NB) != 0; i++)
        usleep(lock_wait_us);
}

// The first write to a package: nobody else of us changes it until our commit, and what others did before is read.
void start_writing(const Uci &context, std::string_view package)
{
    WriterLock *unused = nullptr;
    for (WriterLock &lock : context->locks) {
        if (lock.package == package)
            return;
        if (unused == nullptr && lock.package.empty())
            unused = &lock;
    }
    if (unused == nullptr)
        return;
    unused->package.assign(package);
    const char *name = unused->package.c_str();
    const auto path = Text<128>::format("%s/modemctl.%s.lock", context->folders.lock.c_str(), name);
    unused->file = Fd{open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)};
    if (unused->file)
        wait_for_lock(unused->file);
    make_package_file(context, name);
    forget_loaded(context, package);
}

void stop_writing(const Uci &context, std::string_view package)
{
    for (WriterLock &lock : context->locks)
        if (lock.package == package)
            lock = {.package = {}, .file = Fd{}};
}

int write(const Uci &context, UciPath &path, const char *value, int (*change)(uci_context *, uci_ptr *))
{
    start_writing(context, package_of(path.c_str()));
    uci_ptr found{};
    if (!look_up(context, path, found))
        return -1;
    found.value = value;
    context->unsaved_bytes += UciPath::capacity() + (value == nullptr ? 0 : strlen(value));
    return change(context->libuci, &found) == UCI_OK ? 0 : -1;
}

int write_to(const Uci &context, const char *path, const char *value, int (*change)(uci_context *, uci_ptr *))
{
    UciPath copy;
    if (context == nullptr || !copy.assign(path) || (value != nullptr && !is_storable(value)))
        return -1;
    return write(context, copy, value, change);
}

uint64_t size_of(const char *file)
{
    struct stat status;
    return stat(file, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

bool has_room(const char *folder, uint64_t bytes)
{
    struct statvfs status;
    if (statvfs(folder, &status) != 0)
        return true;
    return static_cast<uint64_t>(status.f_bavail) * status.f_frsize >= bytes;
}

// libuci does not notice when a write fails, and leaves an empty file where the configuration was.
bool can_commit(const Uci &context, const char *package)
{
    const UciFolders &folders = context->folders;
    const uint64_t config = size_of(Text<128>::format("%s/%s", folders.config.c_str(), package).c_str());
    const uint64_t saved = size_of(Text<128>::format("%s/%s", folders.saved.c_str(), package).c_str());
    mkdir(folders.saved.c_str(), 0755);
    return has_room(folders.config.c_str(), config + saved + context->unsaved_bytes + room_margin) &&
           has_room(folders.saved.c_str(), context->unsaved_bytes + room_margin);
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
    return open_uci({.config = "/etc/config", .saved = "/tmp/.uci", .lock = "/var/lock"});
}

void kuci2_free(Uci context)
{
    context.reset();
}

int kuci2_get(const Uci &context, const char *path, TextOut out)
{
    out.clear();
    UciPath copy;
    uci_ptr found{};
    if (context == nullptr || !copy.assign(path) || !look_up(context, copy, found) || !is_complete(found))
        return -1;
    if (found.o != nullptr)
        copy_value(*found.o, out);
    else if (found.s != nullptr)
        out.assign(found.s->type);
    return found.o != nullptr || found.s != nullptr ? 0 : -1;
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
    UciPath copy;
    uci_ptr found{};
    if (context == nullptr || index < 0 || !copy.assign(path) || !look_up(context, copy, found) ||
        !is_complete(found) || found.o == nullptr)
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
    if (context == nullptr)
        return -1;
    start_writing(context, package);
    int result = -1;
    UciPath name;
    uci_ptr found{};
    if (name.assign(package) && look_up(context, name, found) && can_commit(context, package))
        result = uci_commit(context->libuci, &found.p, false) == UCI_OK ? 0 : -1;
    stop_writing(context, package);
    return result;
}
