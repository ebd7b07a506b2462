#pragma once

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

/// Whether entry is "." or "..".
bool entry_is_dots(const dirent &entry);

/// Whether entry, whose whole path is path, is a directory; asked of the file system where the entry does not tell. A
/// symbolic link is none.
bool entry_is_directory(const char *path, const dirent &entry);

/// Opens a regular file for reading, and never waits for one that is none (a FIFO). Null when path is none or cannot be
/// opened.
File open_regular_file(const char *path);

/// Reads the first max_length bytes of a regular file into out, as far as they fit; the rest of out becomes zero. Never
/// waits: what is not a regular file is not read.
/// @return bytes read, 0 for an empty file; -1 when path is no regular file or cannot be read, out is then all zero
int read_file(const char *path, size_t max_length, TextOut out);

/// True if reading path cannot block: it is a regular file or does not exist.
bool can_be_read_to_its_end(const char *path);

/// Replaces the content of path (new_mode less the umask where it is new; mode and owner stay where it is not). A
/// regular file has the old content or the new one at every moment, and keeps the old one when the new cannot be
/// written whole; what is no regular file is written in place.
/// @return 0; -1 when the file cannot be opened; -2 when it could not be written whole
int write_file(const char *path, std::string_view content, mode_t new_mode = 0644);
