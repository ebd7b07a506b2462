#pragma once

#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <memory>
#include <sys/types.h>
#include <unistd.h>
#include <utility>

#include "platform/text.h"

/// An open descriptor, closed at the end of its scope. -1 holds nothing.
class Fd {
  public:
    explicit Fd(int descriptor = -1) : descriptor_(descriptor) {}
    Fd(Fd &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Fd &operator=(Fd &&other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~Fd()
    {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    int get() const { return descriptor_; }
    /// Gives the descriptor away.
    int release() { return std::exchange(descriptor_, -1); }
    explicit operator bool() const { return descriptor_ >= 0; }

  private:
    int descriptor_;
};

struct FileClose {
    void operator()(FILE *file) const { fclose(file); }
};
using File = std::unique_ptr<FILE, FileClose>;

struct DirectoryClose {
    void operator()(DIR *directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirectoryClose>;

/// True if an entry's name is "." or "..".
bool entry_is_dots(const char *name);

/// True if the entry of that type (DT_DIR), whose whole path is path, is a directory. If the entry has no type, the
/// file system is asked. A symbolic link is not a directory.
bool entry_is_directory(const char *path, uint8_t type);

/// Opens a regular file for reading, and never blocks on a FIFO. Null if path is not a regular file or cannot be
/// opened.
File open_regular_file(const char *path);

/// Reads up to max_length bytes of a regular file into out, cut at its capacity; the rest of out becomes zero. Never
/// blocks: a file that is not regular is not read.
/// @return bytes read, 0 for an empty file; -1 if path is not a regular file or cannot be read, out is then all zero
int read_file(const char *path, size_t max_length, TextOut out);

/// The same for a file of an open folder; a symbolic link is not followed.
int read_file_in(const Fd &folder, const char *name, size_t max_length, TextOut out);

/// Replaces the content of path. A new file gets new_mode less the umask; an existing file keeps its mode and owner. A
/// regular file has either the old content or the new content at every moment, and keeps the old content if the new
/// content cannot be written whole; an error that the flash reports only at the close counts too. A file that is not
/// regular is written in place.
/// Nobody who may not read the file can read its draft.
/// @param written  the regular file that has the new content, as it was left
/// @return 0; -1 when the file cannot be opened; -2 when it could not be written whole
int write_file(const char *path, std::string_view content, mode_t new_mode = 0644, struct stat *written = nullptr);

/// Gives own, a file or folder of ours, the name path in one step, so that nobody can take the name in between. What
/// was there is removed; a folder with something in it stays, under own's name.
void take_name(const char *own, const char *path);

/// Puts an empty folder of ours in place of what another user has at path. What they had is removed, or keeps a name of
/// its own.
void take_folder_name(const char *path, mode_t mode);

/// write_file for a file of an open folder; a symbolic link is not followed but fails.
int write_file_in(const Fd &folder, const char *name, std::string_view content, mode_t new_mode = 0644);
