#include "platform/uci.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <uci.h>

#include "platform/files.h"
#include "platform/uci_folders.h"

namespace {

constexpr int lock_tries = 500;
constexpr useconds_t lock_wait_us = 10'000;
constexpr int most_joins = 100;        // of others' writes in a commit: somebody writes without end then
constexpr uint64_t room_margin = 8192; // what a file system may need beside the bytes themselves

// Another one than before: somebody else wrote the file meanwhile.
struct Version {
    ino_t inode = 0;
    off_t size = 0;
    time_t seconds = 0;
    long nanoseconds = 0;
    bool operator==(const Version &) const = default;
};

struct Writing {
    Text<64> package{};
    Fd lock{};
    Fd config{}; // the package's file, open so that no other one gets its inode number
    Version config_read{};
    Version saved_read{};
    uint64_t unsaved_bytes = 0; // of the changes, as saving them will write them
};

using FilePath = Text<160>;

// libuci takes a path apart in place.
using UciPath = Text<512>;

} // namespace

struct UciContext {
    uci_context *libuci = nullptr;
    UciFolders folders;
    std::array<Writing, max_written_packages> writings;

    ~UciContext()
    {
        if (libuci != nullptr)
            uci_free_context(libuci);
    }
};

namespace {

// libuci drops other control characters when it reads the saved change back, and the old value would stay.
bool is_storable(std::string_view text)
{
    return std::none_of(text.begin(), text.end(), [](char character) {
        return static_cast<unsigned char>(character) < ' ' && character != '\t' && character != '\n' &&
               character != '\r';
    });
}

// It becomes part of file names.
bool is_package_name(std::string_view text)
{
    return !text.empty() && text.size() < decltype(Writing::package)::capacity() && is_made_of(text, "_-");
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
bool make_package_file(const Uci &context, const char *package)
{
    const auto file = Text<160>::format("%s/%s", context->folders.config.c_str(), package);
    return Fd{open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)}.get() >= 0;
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

bool is_our_lock(const Fd &lock)
{
    struct stat status;
    return lock && fstat(lock.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

// Any user can make files in the folder of locks, and keep the lock of a file of theirs for ever. Such a file is
// replaced by one of ours, which only we can open; and as the folder is sticky, nobody else can replace that one.
Fd open_lock(const char *path)
{
    constexpr int attempts = 2;
    for (int attempt = 0; attempt < attempts; attempt++) {
        Fd lock{open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600)};
        if (is_our_lock(lock))
            return lock;
        struct stat theirs;
        if (lstat(path, &theirs) != 0 || theirs.st_uid == geteuid())
            break;
        auto own = Text<170>::format("%s.XXXXXX", path);
        if (const Fd made{mkostemp(own.data(), O_CLOEXEC)}; made)
            take_name(own.c_str(), path);
    }
    return Fd{};
}

Fd take_lock(const char *folder, const char *package)
{
    const auto path = Text<160>::format("%s/modemctl.%s.lock", folder, package);
    Fd lock = open_lock(path.c_str());
    for (int i = 0; lock && i < lock_tries && flock(lock.get(), LOCK_EX | LOCK_NB) != 0; i++)
        usleep(lock_wait_us);
    return lock;
}

Version version_of(const struct stat &status)
{
    return {.inode = status.st_ino,
            .size = status.st_size,
            .seconds = status.st_mtim.tv_sec,
            .nanoseconds = status.st_mtim.tv_nsec};
}

Version version_of(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 ? version_of(status) : Version{};
}

FilePath path_in(const Text<64> &folder, const Text<64> &file)
{
    return FilePath::format("%s/%s", folder.c_str(), file.c_str());
}

// Before libuci reads them, so that a change which it may have missed shows.
void remember_files(const Uci &context, Writing &writing, const FilePath &config)
{
    writing.config = Fd{open(config.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    struct stat status;
    writing.config_read = fstat(writing.config.get(), &status) == 0 ? version_of(status) : Version{};
    writing.saved_read = version_of(path_in(context->folders.saved, writing.package).c_str());
}

// The first write to a package: no other call of the program changes it until the commit, and earlier changes are read.
// @return null if the name cannot be a package, or if too many are being written
Writing *start_writing(const Uci &context, std::string_view package)
{
    if (!is_package_name(package))
        return nullptr;
    Writing *unused = nullptr;
    for (Writing &writing : context->writings) {
        if (writing.package == package)
            return &writing;
        if (unused == nullptr && writing.package.empty())
            unused = &writing;
    }
    if (unused == nullptr)
        return nullptr;
    unused->package.assign(package);
    unused->lock = take_lock(context->folders.lock.c_str(), unused->package.c_str());
    remember_files(context, *unused, path_in(context->folders.config, unused->package));
    forget_loaded(context, package);
    return unused;
}

void stop_writing(Writing &writing)
{
    writing = Writing{};
}

// A quote takes four characters between quotes: '\''.
uint64_t quoted_size(std::string_view text)
{
    return text.size() + 2 + 3 * static_cast<uint64_t>(std::count(text.begin(), text.end(), '\''));
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
        if (!sets_something || !make_package_file(context, writing->package.c_str()))
            return -1;
        remember_files(context, *writing, path_in(context->folders.config, writing->package));
        if (!look_up(context, path, pieces, found))
            return -1;
    }
    found.value = value;
    writing->unsaved_bytes += UciPath::capacity() + (value == nullptr ? 0 : quoted_size(value));
    return change(context->libuci, &found) == UCI_OK ? 0 : -1;
}

uint64_t size_of(const char *file)
{
    struct stat status;
    return stat(file, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

// At least as many bytes as the file of package will have.
uint64_t written_size(const uci_package &package)
{
    constexpr uint64_t words_around = 16; // "\n\tconfig " and the like
    uint64_t size = words_around;
    uci_element *section = nullptr;
    uci_foreach_element(&package.sections, section)
    {
        size += words_around + quoted_size(uci_to_section(section)->type) + quoted_size(section->name);
        uci_element *element = nullptr;
        uci_foreach_element(&uci_to_section(section)->options, element)
        {
            const uci_option &option = *uci_to_option(element);
            const uint64_t name_size = words_around + quoted_size(option.e.name);
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

// If the file system does not answer, there is room.
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

// Where there is no room, it is better not to begin. Without a folder for saved changes nobody's could be taken along.
bool can_commit(const Uci &context, const Writing &writing, const uci_package &package)
{
    const char *saved = context->folders.saved.c_str();
    const char *config = access(package.path, F_OK) == 0 ? package.path : context->folders.config.c_str();
    struct stat config_folder;
    if (stat(context->folders.config.c_str(), &config_folder) == 0)
        mkdir(saved, config_folder.st_mode & 0777);
    struct stat saved_folder;
    if (stat(saved, &saved_folder) == 0 && !S_ISDIR(saved_folder.st_mode))
        return false;
    const uint64_t others = size_of(Text<160>::format("%s/%s", saved, package.e.name).c_str());
    return has_room(config, written_size(package) + others + size_of(package.path) + room_margin) &&
           has_room(saved, writing.unsaved_bytes + room_margin);
}

// Locks the files of a package, as everybody who writes them does. Nothing when somebody wrote them since we read them;
// saved stays empty when there is no file of saved changes.
bool lock_unchanged(const Uci &context, const Writing &writing, const char *config, Fd &saved)
{
    if (!writing.config || flock(writing.config.get(), LOCK_EX) != 0)
        return false;
    const auto saved_path = path_in(context->folders.saved, writing.package);
    saved = Fd{open(saved_path.c_str(), O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC)};
    if (saved)
        flock(saved.get(), LOCK_EX);
    if (version_of(config) == writing.config_read && version_of(saved_path.c_str()) == writing.saved_read)
        return true;
    saved = Fd{};
    flock(writing.config.get(), LOCK_UN);
    return false;
}

// Our changes become saved ones, and what others did is read.
uci_package *join_others(const Uci &context, Writing &writing, uci_package &package)
{
    const FilePath config = package.path;
    if (uci_save(context->libuci, &package) != UCI_OK)
        return nullptr;
    remember_files(context, writing, config);
    uci_unload(context->libuci, &package);
    uci_package *joined = nullptr;
    return uci_load(context->libuci, writing.package.c_str(), &joined) == UCI_OK ? joined : nullptr;
}

bool replace_config(const Uci &context, uci_package &package)
{
    char *text = nullptr;
    size_t size = 0;
    File stream{open_memstream(&text, &size)};
    const bool is_exported = stream != nullptr && uci_export(context->libuci, stream.get(), &package, false) == UCI_OK;
    const bool is_whole = is_exported && ferror(stream.get()) == 0 && fclose(stream.release()) == 0;
    stream.reset();
    const HeapText content{text};
    const HeapText target{realpath(package.path, nullptr)}; // a link stays one
    return is_whole && target != nullptr && write_file(target.get(), {text, size}, 0600) == 0;
}

// uci_commit does not see when a write fails, and puts a cut or empty file in place of the configuration. So the file
// is written here, and the saved changes go when it is in its place.
bool write_package(const Uci &context, Writing &writing, uci_package *package)
{
    Fd saved;
    for (int i = 0; !lock_unchanged(context, writing, package->path, saved); i++) {
        package = i == most_joins ? nullptr : join_others(context, writing, *package);
        if (package == nullptr)
            return false;
    }
    const bool has_changes = package->delta.next != &package->delta || writing.saved_read.size > 0;
    if (has_changes && !replace_config(context, *package))
        return false;
    // Where this fails, the next commit writes them once more.
    [[maybe_unused]] const int result = has_changes && saved ? ftruncate(saved.get(), 0) : 0;
    return true;
}

// Makes the folder, and takes its name if it is another user's.
void own_folder(const char *path)
{
    struct stat status;
    mkdir(path, 0700);
    if (lstat(path, &status) == 0 && status.st_uid != geteuid())
        take_folder_name(path, 0700);
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
    own_folder(saved);
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
    const bool is_there = look_up(context, package, pieces, found);
    if (is_there && !can_commit(context, *writing, *found.p))
        return -1;
    if (is_there && !write_package(context, *writing, found.p)) {
        if (writing->config)
            flock(writing->config.get(), LOCK_UN);
        return -1;
    }
    forget_loaded(context, package);
    stop_writing(*writing);
    return is_there ? 0 : -1;
}

bool kuci_has_room(const char *package)
{
    const auto file = Text<160>::format("/etc/config/%s", package);
    return has_room("/etc/config", 2 * size_of(file.c_str()) + room_margin) && has_room("/tmp", room_margin);
}
