#include "platform/uci_commit.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "platform/uci_room.h"
#include "platform/uci_writing.h"

namespace {

constexpr int most_joins = 100; // of others' writes in a commit: somebody writes without end then

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
    const uint64_t others = size_of(path_in(context->folders.saved, writing.package).c_str());
    return has_room(config, written_size(package) + others + size_of(package.path) + room_margin) &&
           has_room(saved, writing.unsaved_bytes + room_margin);
}

// Locks the files of a package, as everybody who writes them does. False if somebody has written them since we read
// them. saved stays empty if there is no file of saved changes.
bool lock_unchanged(const Uci &context, const Writing &writing, const char *config, Fd &saved)
{
    if (!writing.config || flock(writing.config.get(), LOCK_EX) != 0)
        return false;
    const auto saved_path = path_in(context->folders.saved, writing.package);
    saved = Fd{open(saved_path.c_str(), O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC)};
    if (saved)
        flock(saved.get(), LOCK_EX);
    if (are_as_remembered(context, writing, config))
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

bool replace_config(const Uci &context, Writing &writing, uci_package &package)
{
    char *text = nullptr;
    size_t size = 0;
    File stream{open_memstream(&text, &size)};
    const bool is_exported = stream != nullptr && uci_export(context->libuci, stream.get(), &package, false) == UCI_OK;
    const bool is_whole = is_exported && ferror(stream.get()) == 0 && fclose(stream.release()) == 0;
    stream.reset();
    const HeapText content{text};
    const HeapText target{realpath(package.path, nullptr)}; // a link stays one
    struct stat written {};
    if (!is_whole || target == nullptr || write_file(target.get(), {text, size}, 0600, &written) != 0)
        return false;
    writing.known.config = version_of(written);
    return true;
}

// What is in the file is not to be saved any more. libuci frees both lists.
void forget_changes(uci_package &package)
{
    uci_list &changes = package.delta;
    uci_list &saved = package.saved_delta;
    if (changes.next == &changes)
        return;
    changes.next->prev = saved.prev;
    saved.prev->next = changes.next;
    changes.prev->next = &saved;
    saved.prev = changes.prev;
    changes.next = changes.prev = &changes;
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
    const bool has_changes = package->delta.next != &package->delta || writing.known.saved.size > 0;
    if (has_changes && !replace_config(context, writing, *package))
        return false;
    // Where this fails, the next commit writes them once more.
    [[maybe_unused]] const int result = has_changes && saved ? ftruncate(saved.get(), 0) : 0;
    writing.known.saved = version_of(saved);
    forget_changes(*package);
    return true;
}

} // namespace

bool commit_package(const Uci &context, Writing &writing, uci_package *package)
{
    if (!can_commit(context, writing, *package))
        return false;
    if (write_package(context, writing, package)) {
        writing.lock = Fd{};
        writing.config = Fd{};
        writing.unsaved_bytes = 0;
        writing.is_committed = true;
        return true;
    }
    if (writing.config)
        flock(writing.config.get(), LOCK_UN);
    return false;
}
