#include "platform/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace {

bool is_regular(const Fd &fd)
{
    struct stat status;
    return fd && fstat(fd.get(), &status) == 0 && S_ISREG(status.st_mode);
}

// A link is followed, except in a folder that is given by its descriptor.
int link_rule(int folder)
{
    return folder == AT_FDCWD ? 0 : O_NOFOLLOW;
}

// Empty if path is not a regular file or cannot be opened.
Fd open_regular(int folder, const char *path)
{
    // Non-blocking, because path may be a FIFO without a writer.
    Fd fd{openat(folder, path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | link_rule(folder))};
    return is_regular(fd) ? std::move(fd) : Fd{};
}

int read_whole(const Fd &fd, size_t max_length, TextOut out)
{
    out.clear();
    if (!fd)
        return -1;
    const size_t room = out.capacity() == 0 ? 0 : out.capacity() - 1;
    const size_t wanted = std::min(max_length, room);
    size_t total = 0;
    while (total < wanted) {
        const ssize_t got = read(fd.get(), out.data() + total, wanted - total);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            out.clear();
            return -1;
        }
        if (got == 0)
            break;
        total += static_cast<size_t>(got);
    }
    return static_cast<int>(total);
}

bool write_all(const Fd &fd, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t written = write(fd.get(), content.data(), content.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        content.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

int write_at(int folder, const char *path, std::string_view content, mode_t new_mode, struct stat *written)
{
    struct stat old;
    const bool is_there = fstatat(folder, path, &old, AT_SYMLINK_NOFOLLOW) == 0;
    if (is_there && !S_ISREG(old.st_mode)) {
        // Non-blocking, so that a FIFO without a reader fails at once.
        const Fd fd{openat(folder, path, O_WRONLY | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | link_rule(folder))};
        return !fd ? -1 : write_all(fd, content) ? 0 : -2;
    }
    // Its name begins with a dot, so that programs which read a whole folder pass it over.
    const char *slash = strrchr(path, '/');
    const char *name = slash == nullptr ? path : slash + 1;
    Text<256> draft;
    if (*name == '\0' ||
        !draft.out().assign_format("%.*s.%s.%d", static_cast<int>(name - path), path, name, static_cast<int>(getpid())))
        return -1;
    // A draft that a killed process of this number left may be open elsewhere, so a new one is made.
    unlinkat(folder, draft.c_str(), 0);
    // Who opens the draft early can read what is written later, so it is ours alone until it is whole.
    const mode_t draft_mode = is_there ? 0600 : new_mode;
    Fd fd{openat(folder, draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, draft_mode)};
    if (!fd)
        return -1;
    const bool is_whole = write_all(fd, content);
    const bool is_like_old =
        !is_there || (fchown(fd.get(), old.st_uid, old.st_gid) == 0 && fchmod(fd.get(), old.st_mode & 07777) == 0);
    if (written != nullptr)
        fstat(fd.get(), written);
    // The flash may report an error as late as that.
    const bool is_kept = is_whole && is_like_old && fsync(fd.get()) == 0 && close(fd.release()) == 0;
    if (is_kept && renameat(folder, draft.c_str(), folder, path) == 0)
        return 0;
    unlinkat(folder, draft.c_str(), 0);
    return -2;
}

} // namespace

bool entry_is_dots(const char *name)
{
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

bool entry_is_directory(const char *path, uint8_t type)
{
    if (type != DT_UNKNOWN)
        return type == DT_DIR;
    struct stat status;
    return lstat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

File open_regular_file(const char *path)
{
    Fd fd = open_regular(AT_FDCWD, path);
    File file{fd ? fdopen(fd.get(), "r") : nullptr};
    if (file != nullptr)
        fd.release();
    return file;
}

int read_file(const char *path, size_t max_length, TextOut out)
{
    return read_whole(open_regular(AT_FDCWD, path), max_length, out);
}

int read_file_in(const Fd &folder, const char *name, size_t max_length, TextOut out)
{
    return read_whole(open_regular(folder.get(), name), max_length, out);
}

int write_file(const char *path, std::string_view content, mode_t new_mode, struct stat *written)
{
    return write_at(AT_FDCWD, path, content, new_mode, written);
}

void take_name(const char *own, const char *path)
{
    // If it fails, own is removed.
    syscall(SYS_renameat2, AT_FDCWD, own, AT_FDCWD, path, RENAME_EXCHANGE);
    if (unlink(own) != 0)
        rmdir(own);
}

void take_folder_name(const char *path, mode_t mode)
{
    auto own = Text<120>::format("%s.XXXXXX", path);
    if (mkdtemp(own.data()) == nullptr)
        return;
    chmod(own.c_str(), mode);
    take_name(own.c_str(), path);
}

int write_file_in(const Fd &folder, const char *name, std::string_view content, mode_t new_mode)
{
    return write_at(folder.get(), name, content, new_mode, nullptr);
}
