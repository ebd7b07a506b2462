#include "core/model/state_dir.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "core/model/printable.h"
#include "platform/files.h"
#include "platform/shell.h"

namespace {

bool is_writable_by_others(const struct stat &status)
{
    return (status.st_mode & S_IWOTH) != 0 || ((status.st_mode & S_IWGRP) != 0 && status.st_gid != getegid());
}

// False if somebody keeps it for longer than any line takes. Only root can make files there; without that folder there
// is no lock.
bool take_lock(Fd &lock)
{
    constexpr int tries = 500;
    constexpr useconds_t wait_us = 10'000;
    lock = Fd{open("/var/run/modem_state.lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)};
    for (int i = 0; lock && flock(lock.get(), LOCK_EX | LOCK_NB) != 0; i++) {
        if (i == tries)
            return false;
        usleep(wait_us);
    }
    return true;
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

Fd open_state(const char *bus, const char *file, int flags)
{
    if ((flags & O_CREAT) != 0)
        mkdir(state_dir(bus).c_str(), 0755);
    const Fd folder = open_state_dir(bus);
    struct stat status;
    if (!folder)
        return Fd{};
    Fd opened{openat(folder.get(), file, flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600)};
    return opened && fstat(opened.get(), &status) == 0 && S_ISREG(status.st_mode) ? std::move(opened) : Fd{};
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

void run_writer(const char *bus, ShellCommand writer)
{
    Fd lock;
    if (!writer.empty() && take_lock(lock) && ensure_state_dir(bus))
        execCommand(writer);
}

void run_removal(const char *bus, ShellCommand removal)
{
    Fd lock;
    take_lock(lock);
    const bool is_new = mkdir(state_dir(bus).c_str(), 0755) == 0;
    if (!ensure_state_dir(bus))
        take_folder_name(state_dir(bus).c_str(), 0755);
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
