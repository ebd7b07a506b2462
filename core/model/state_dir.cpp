#include "core/model/state_dir.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

#include "core/model/printable.h"
#include "platform/files.h"
#include "platform/shell.h"

namespace {

bool is_writable_by_others(const struct stat &status)
{
    return (status.st_mode & S_IWOTH) != 0 || ((status.st_mode & S_IWGRP) != 0 && status.st_gid != getegid());
}

// The folder; none if it is missing (errno is then ENOENT) or not ours.
Fd open_state_dir(const char *bus)
{
    Fd folder{open(state_dir(bus).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat status;
    if (!folder)
        return folder;
    if (fstat(folder.get(), &status) != 0 || status.st_uid != geteuid() || is_writable_by_others(status)) {
        errno = EACCES;
        return Fd{};
    }
    return folder;
}

// Puts an empty folder of ours where another user has put something.
void replace_state_dir(const char *bus)
{
    auto own = Text<120>::format("%s.XXXXXX", state_dir(bus).c_str());
    if (mkdtemp(own.data()) == nullptr)
        return;
    chmod(own.c_str(), 0755);
    take_name(own.c_str(), state_dir(bus).c_str());
}

} // namespace

Text<100> state_dir(const char *bus)
{
    return Text<100>::format("/tmp/modem.%s", bus);
}

bool ensure_state_dir(const char *bus)
{
    mkdir(state_dir(bus).c_str(), 0755);
    return static_cast<bool>(open_state_dir(bus));
}

bool has_state(const char *bus, const char *file)
{
    const Fd folder = open_state_dir(bus);
    return folder && faccessat(folder.get(), file, F_OK, 0) == 0;
}

int read_state(const char *bus, const char *file, size_t max_length, TextOut out)
{
    return read_file_in(open_state_dir(bus), file, max_length, out);
}

void remove_state(const char *bus, const char *file)
{
    if (const Fd folder = open_state_dir(bus); folder)
        unlinkat(folder.get(), file, 0);
}

int write_state(const char *bus, const char *file, std::string_view content, mode_t new_mode)
{
    mkdir(state_dir(bus).c_str(), 0755);
    const Fd folder = open_state_dir(bus);
    return !folder || write_file_in(folder, file, content, new_mode) == -1 ? -1 : 0;
}

void run_removal(const char *bus, ShellCommand removal)
{
    const bool is_new = mkdir(state_dir(bus).c_str(), 0755) == 0;
    if (!ensure_state_dir(bus))
        replace_state_dir(bus);
    if (ensure_state_dir(bus))
        execCommand(removal);
    if (is_new)
        rmdir(state_dir(bus).c_str());
}

bool can_print_state(ShellCommand command, const char *bus, const char *file)
{
    const Fd folder = open_state_dir(bus);
    if (!folder && errno != ENOENT)
        return false;
    return can_print_in(command, folder, file);
}
