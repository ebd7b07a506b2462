#include "core/model/printable.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

#include "platform/shell.h"

namespace {

// Of which lstat has told.
bool is_ours(const struct stat &status)
{
    // A second name of a file of root's could have been given to it by anybody.
    return S_ISREG(status.st_mode) && status.st_nlink == 1 && (status.st_uid == geteuid() || status.st_uid == 0);
}

bool can_print_at(ShellCommand command, int folder, const char *path)
{
    struct stat status;
    if (fstatat(folder, path, &status, AT_SYMLINK_NOFOLLOW) == 0)
        return is_ours(status);
    if (errno == ENOENT || errno == EBADF)
        run_for_message(command);
    return false;
}

} // namespace

bool can_print(ShellCommand command, const char *path)
{
    return can_print_at(command, AT_FDCWD, path);
}

bool can_print_in(ShellCommand command, const Fd &folder, const char *file)
{
    return can_print_at(command, folder.get(), file);
}
