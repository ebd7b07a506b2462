#include "platform/uci_writing.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace {

constexpr int lock_tries = 500;
constexpr useconds_t lock_wait_us = 10'000;

// It becomes part of file names.
bool is_package_name(std::string_view text)
{
    return !text.empty() && text.size() < decltype(Writing::package)::capacity() && is_made_of(text, "_-");
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

Version version_of(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 ? version_of(status) : Version{};
}

// Where package is, or can be; null if there are too many.
Writing *find_place(const Uci &context, std::string_view package)
{
    Writing *place = nullptr;
    for (Writing &writing : context->writings) {
        if (writing.package == package)
            return &writing;
        if (writing.package.empty() || (place == nullptr && writing.is_committed))
            place = &writing;
    }
    return place;
}

} // namespace

Version version_of(const struct stat &status)
{
    return {.inode = status.st_ino,
            .size = status.st_size,
            .seconds = status.st_mtim.tv_sec,
            .nanoseconds = status.st_mtim.tv_nsec};
}

Version version_of(const Fd &file)
{
    struct stat status;
    return fstat(file.get(), &status) == 0 ? version_of(status) : Version{};
}

FilePath path_in(const Text<64> &folder, const Text<64> &file)
{
    return FilePath::format("%s/%s", folder.c_str(), file.c_str());
}

Writing *start_writing(const Uci &context, std::string_view package)
{
    if (!is_package_name(package))
        return nullptr;
    Writing *writing = find_place(context, package);
    const bool is_found = writing != nullptr && writing->package == package;
    if (writing == nullptr || (is_found && !writing->is_committed))
        return writing;
    const Versions committed = writing->known;
    writing->package.assign(package);
    writing->is_committed = false;
    writing->lock = take_lock(context->folders.lock.c_str(), writing->package.c_str());
    remember_files(context, *writing, path_in(context->folders.config, writing->package));
    if (!is_found || writing->known != committed)
        forget_loaded(context, package);
    return writing;
}

void remember_files(const Uci &context, Writing &writing, const FilePath &config)
{
    writing.config = Fd{open(config.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    writing.known = {.config = version_of(writing.config),
                     .saved = version_of(path_in(context->folders.saved, writing.package).c_str())};
}

bool are_as_remembered(const Uci &context, const Writing &writing, const char *config)
{
    return version_of(config) == writing.known.config &&
           version_of(path_in(context->folders.saved, writing.package).c_str()) == writing.known.saved;
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
