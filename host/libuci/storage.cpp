#include "storage.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "config_text.h"
#include "delta.h"

namespace host_uci {

namespace {

constexpr char volatile_confdir[] = "/var/run/uci";

struct CloseFile {
    void operator()(FILE *file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

Owned<char> join(const char *folder, const char *name)
{
    char *path = nullptr;
    return Owned<char>{asprintf(&path, "%s/%s", folder, name) < 0 ? nullptr : path};
}

enum class Opening { done, again, failed };

Opening lock_opened(int fd, const char *path, int lock)
{
    struct stat opened;
    if (fd < 0 || fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode) || flock(fd, lock) != 0)
        return Opening::failed;
    // Who had the lock may have put another file in place: the one that we have is the past then, and so is its lock.
    struct stat current;
    const bool is_current =
        stat(path, &current) != 0 || (current.st_ino == opened.st_ino && current.st_dev == opened.st_dev);
    return is_current ? Opening::done : Opening::again;
}

// The lock lasts until the file is closed. Waits without limit, as every user of these files does.
File open_locked(const char *path, int flags, mode_t mode, int lock)
{
    int fd = -1;
    Opening result = Opening::again;
    while (result == Opening::again) {
        fd = open(path, flags | O_NONBLOCK | O_CLOEXEC, mode);
        result = lock_opened(fd, path, lock);
        if (result != Opening::done && fd >= 0) {
            const int reason = errno;
            close(fd);
            errno = reason;
        }
    }
    if (result == Opening::failed)
        return nullptr;
    File file{fdopen(fd, (flags & O_ACCMODE) == O_RDONLY ? "r" : (flags & O_APPEND) ? "a" : "r+")};
    if (file == nullptr)
        close(fd);
    return file;
}

// The rest of the file, zero-terminated.
struct Content {
    Owned<char> bytes;
    size_t size = 0;
    std::string_view view() const { return {bytes.get(), size}; }
};

bool read_all(FILE *file, Content &content)
{
    size_t room = 0;
    while (true) {
        if (content.size + 1 >= room) {
            room = room == 0 ? 4096 : room * 2;
            auto *grown = static_cast<char *>(realloc(content.bytes.get(), room));
            if (grown == nullptr)
                return false;
            (void)content.bytes.release();
            content.bytes.reset(grown);
        }
        const size_t got = fread(content.bytes.get() + content.size, 1, room - content.size - 1, file);
        content.size += got;
        content.bytes.get()[content.size] = '\0';
        if (got == 0)
            return ferror(file) == 0;
    }
}

int read_package(uci_package &package, FILE *file)
{
    Content content;
    return read_all(file, content) ? read_config(package, content.view()) : UCI_ERR_IO;
}

int apply_saved_changes(uci_package &package, FILE *delta)
{
    Content content;
    return delta != nullptr && read_all(delta, content) ? apply_delta(package, content.view()) : 0;
}

mode_t mode_of(const char *path, mode_t otherwise)
{
    struct stat status;
    return stat(path, &status) == 0 ? status.st_mode & 07777 : otherwise;
}

// Replaces the file, which the caller has locked: who waits for it has to find the new one. As everywhere on these
// routers a write error goes unseen: a full file system leaves an empty file.
int replace_config(const uci_package &package)
{
    char target[PATH_MAX];
    if (realpath(package.path, target) == nullptr)
        return UCI_ERR_IO;
    char *slash = strrchr(target, '/');
    char *temporary = nullptr; // mkstemp(3) replaces the six X by other letters
    if (asprintf(&temporary, "%.*s/.%s.uci-XXXXXX", static_cast<int>(slash - target), target, slash + 1) < 0)
        return UCI_ERR_MEM;
    const Owned<char> name{temporary};
    const int fd = mkstemp(temporary);
    File file{fd < 0 ? nullptr : fdopen(fd, "w")};
    if (file == nullptr)
        return UCI_ERR_IO;
    write_config(file.get(), package);
    fflush(file.get());
    fsync(fileno(file.get()));
    file.reset();
    chmod(temporary, mode_of(target, 0600));
    if (rename(temporary, target) == 0)
        return UCI_OK;
    unlink(temporary);
    return UCI_ERR_IO;
}

bool has_saved_changes(const uci_context &ctx, const char *name)
{
    struct stat status;
    const Owned<char> path = delta_path(ctx, name);
    return path != nullptr && stat(path.get(), &status) == 0 && status.st_size > 0;
}

} // namespace

Owned<char> delta_path(const uci_context &ctx, const char *name)
{
    return join(ctx.savedir, name);
}

Owned<char> config_path(const uci_context &ctx, const char *name)
{
    Owned<char> volatile_path = join(volatile_confdir, name);
    if (volatile_path != nullptr && access(volatile_path.get(), F_OK) == 0)
        return volatile_path;
    return join(ctx.confdir, name);
}

} // namespace host_uci

using namespace host_uci;

int uci_load(uci_context *ctx, const char *name, uci_package **package)
{
    if (package != nullptr)
        *package = nullptr;
    ctx->reason = nullptr;
    if (!is_package_name(name))
        return ctx->err = UCI_ERR_INVAL;
    if (find_element(ctx->root, name) != nullptr)
        return ctx->err = UCI_ERR_DUPLICATE;
    const Owned<char> path = config_path(*ctx, name);
    if (path == nullptr)
        return ctx->err = UCI_ERR_MEM;
    const File file = open_locked(path.get(), O_RDONLY, 0, LOCK_SH);
    if (file == nullptr)
        return ctx->err = errno == EACCES ? UCI_ERR_IO : UCI_ERR_NOTFOUND;
    uci_package *loaded = new_package(*ctx, name, path.get());
    if (loaded == nullptr)
        return ctx->err = UCI_ERR_MEM;
    ctx->err = read_package(*loaded, file.get());
    if (ctx->err != UCI_OK) {
        free_package(*loaded);
        return ctx->err;
    }
    const Owned<char> saved = delta_path(*ctx, name);
    const File delta = saved == nullptr ? nullptr : open_locked(saved.get(), O_RDONLY, 0, LOCK_SH);
    apply_saved_changes(*loaded, delta.get());
    list_append(ctx->root, loaded->e);
    if (package != nullptr)
        *package = loaded;
    return UCI_OK;
}

int uci_unload(uci_context *ctx, uci_package *p)
{
    free_package(*p);
    return ctx->err = UCI_OK;
}

int uci_save(uci_context *ctx, uci_package *p)
{
    if (list_is_empty(p->delta))
        return ctx->err = UCI_OK;
    mkdir(ctx->savedir, mode_of(ctx->confdir, 0700));
    const Owned<char> path = delta_path(*ctx, p->e.name);
    const File file = path == nullptr
                          ? nullptr
                          : open_locked(path.get(), O_WRONLY | O_CREAT | O_APPEND, mode_of(p->path, 0600), LOCK_EX);
    if (file == nullptr)
        return ctx->err = UCI_ERR_IO;
    write_changes(file.get(), *p);
    free_changes(p->delta);
    return ctx->err = UCI_OK;
}

int uci_commit(uci_context *ctx, uci_package **package, bool overwrite)
{
    uci_package *p = *package;
    if (!overwrite && uci_save(ctx, p) != UCI_OK)
        return ctx->err;
    if (!overwrite && !has_saved_changes(*ctx, p->e.name))
        return ctx->err = UCI_OK;
    File file = open_locked(p->path, O_RDWR | O_CREAT, 0600, LOCK_EX);
    if (file == nullptr)
        return ctx->err = UCI_ERR_IO;
    const Owned<char> saved = delta_path(*ctx, p->e.name);
    const File delta = saved == nullptr ? nullptr : open_locked(saved.get(), O_RDWR, 0, LOCK_EX);
    int applied = 0;
    if (!overwrite) {
        uci_package *fresh = new_package(*ctx, p->e.name, p->path);
        if (fresh == nullptr)
            return ctx->err = UCI_ERR_MEM;
        ctx->err = read_package(*fresh, file.get());
        if (ctx->err != UCI_OK) {
            free_package(*fresh);
            return ctx->err;
        }
        applied = apply_saved_changes(*fresh, delta.get());
        free_package(*p);
        list_append(ctx->root, fresh->e);
        *package = p = fresh;
        // Changes of which not one can be applied wait for the section that they are about.
        if (applied == 0)
            return ctx->err = UCI_OK;
    }
    if (delta != nullptr && ftruncate(fileno(delta.get()), 0) != 0)
        return ctx->err = UCI_ERR_IO;
    free_changes(p->delta);
    return ctx->err = replace_config(*p);
}

int uci_export(uci_context *ctx, FILE *stream, uci_package *package, bool header)
{
    if (header)
        fprintf(stream, "package %s\n", package->e.name);
    write_config(stream, *package);
    return ctx->err = UCI_OK;
}

int uci_revert(uci_context *ctx, uci_ptr *ptr)
{
    if (ptr->package == nullptr)
        return ctx->err = UCI_ERR_INVAL;
    const Owned<char> path = delta_path(*ctx, ptr->package);
    const File file = path == nullptr ? nullptr : open_locked(path.get(), O_RDWR, 0, LOCK_EX);
    if (file == nullptr)
        return ctx->err = UCI_OK;
    Content content;
    if (!read_all(file.get(), content) || fseek(file.get(), 0, SEEK_SET) != 0 || ftruncate(fileno(file.get()), 0) != 0)
        return ctx->err = UCI_ERR_IO;
    write_delta_without(file.get(), ptr->package, content.view(), ptr->section, ptr->option);
    return ctx->err = UCI_OK;
}
